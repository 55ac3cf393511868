// The host's text services: fields of requests and base64.
#include <openssl/evp.h>

#include <limits>
#include <stdexcept>

#include "hostStrings.h"

namespace {

bool isControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 0x20 || byte == 0x7f;
}

}  // namespace

/// Quotes a field that holds a comma and protects quotes and backslashes, so that splitting the
/// request at its commas gives the text back. Line breaks and other control characters become
/// blanks; leading blanks are lost, since the splitter drops them.
void prepareElemStringFieldForSvr(std::string& field) {
    const bool quoted = field.find(',') != std::string::npos;
    std::string prepared;
    prepared.reserve(field.size() + 2);
    if (quoted) prepared += '"';
    for (const char character : field) {
        if (character == '"' || character == '\\') prepared += '\\';
        prepared += isControl(character) ? ' ' : character;
    }
    if (quoted) prepared += '"';
    field = std::move(prepared);
}

std::string base64_encode(const unsigned char* bytes, unsigned int length) {
    if (length > static_cast<unsigned int>(std::numeric_limits<int>::max() / 2)) {
        throw std::length_error("base64_encode: too long");
    }
    std::string encoded((static_cast<std::size_t>(length) + 2) / 3 * 4 + 1, '\0');  // and the encoder's NUL
    const int written =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(encoded.data()), bytes, static_cast<int>(length));
    encoded.resize(static_cast<std::size_t>(written));
    return encoded;
}
