#include "base/JsonText.h"

#include <cstdint>
#include <cstring>

#include "base/Numbers.h"

namespace pis::base {

namespace {

bool continues(unsigned char byte) {
    return (byte & 0xc0U) == 0x80U;
}

/// Length of the UTF-8 character at the front of the bytes, 0 when there is none.
std::size_t characterLength(std::string_view bytes) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80) return 1;
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4 || bytes.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if (!continues(byte(i))) return 0;
    }
    // Overlong forms, surrogates and numbers beyond the last character.
    const unsigned char second = byte(1);
    if (first == 0xe0 && second < 0xa0) return 0;
    if (first == 0xed && second > 0x9f) return 0;
    if (first == 0xf0 && second < 0x90) return 0;
    if (first == 0xf4 && second > 0x8f) return 0;
    return length;
}

/// The letter that stands behind a backslash for this character, 0 for those without one.
char shortEscape(char character) {
    switch (character) {
        case '"':
        case '\\': return character;
        case '\b': return 'b';
        case '\f': return 'f';
        case '\n': return 'n';
        case '\r': return 'r';
        case '\t': return 't';
        default: return 0;
    }
}

/// Whether eight bytes are all characters of ASCII that stand in a string of JSON as they are. All eight are looked at
/// at once: a difference sets the highest bit of a byte that was less than what it is lessened by.
bool areEightPlain(const char* bytes) {
    constexpr std::uint64_t kEach = 0x0101010101010101U;
    std::uint64_t eight = 0;
    std::memcpy(&eight, bytes, sizeof eight);
    const std::uint64_t quotes = eight ^ (kEach * '"');
    const std::uint64_t backslashes = eight ^ (kEach * '\\');
    const std::uint64_t controls = (eight - kEach * 0x20) & ~eight;
    const std::uint64_t found =
        ((quotes - kEach) & ~quotes) | ((backslashes - kEach) & ~backslashes) | controls | eight;
    return (found & (kEach * 0x80)) == 0;
}

/// How many bytes at the front stand in a string of JSON as they are.
std::size_t plainLength(std::string_view bytes) {
    std::size_t length = 0;
    while (length < bytes.size()) {
        if (bytes.size() - length >= sizeof(std::uint64_t) && areEightPlain(bytes.data() + length)) {
            length += sizeof(std::uint64_t);
            continue;
        }
        const auto byte = static_cast<unsigned char>(bytes[length]);
        if (byte < 0x20 || byte == '"' || byte == '\\') return length;
        const std::size_t character = byte < 0x80 ? 1 : characterLength(bytes.substr(length));
        if (character == 0) return length;
        length += character;
    }
    return length;
}

}  // namespace

JsonText& JsonText::key(std::string_view name) {
    separate();
    appendQuoted(name);
    _text += ':';
    _first = true;
    return *this;
}

JsonText& JsonText::text(std::string_view value) {
    separate();
    appendQuoted(value);
    return *this;
}

JsonText& JsonText::raw(std::string_view value) {
    separate();
    _text += value;
    return *this;
}

void JsonText::clear() {
    _text.clear();
    _first = true;
}

JsonText& JsonText::open(char bracket) {
    separate();
    _text += bracket;
    _first = true;
    return *this;
}

JsonText& JsonText::close(char bracket) {
    _text += bracket;
    _first = false;
    return *this;
}

void JsonText::separate() {
    if (!_first) _text += ',';
    _first = false;
}

void JsonText::appendQuoted(std::string_view value) {
    _text += '"';
    while (!value.empty()) {
        const std::size_t plain = plainLength(value);
        _text.append(value.data(), plain);
        value.remove_prefix(plain);
        if (value.empty()) break;
        const char character = value.front();
        if (static_cast<unsigned char>(character) >= 0x80) {
            _text += "\xef\xbf\xbd";
        } else if (const char letter = shortEscape(character)) {
            _text += '\\';
            _text += letter;
        } else {
            _text += "\\u" + inHex(static_cast<unsigned char>(character), 4);
        }
        value.remove_prefix(1);
    }
    _text += '"';
}

}  // namespace pis::base
