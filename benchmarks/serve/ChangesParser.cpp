#include "ChangesParser.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace {

constexpr std::string_view kEventEnd = "\n\n";

/// Cuts "name: value" lines off an event; comments begin with a colon and say nothing.
StreamEvent eventOf(std::string_view text) {
    StreamEvent event;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        const std::size_t colon = line.find(": ");
        if (colon == std::string_view::npos) continue;
        const std::string_view name = line.substr(0, colon);
        const std::string_view value = line.substr(colon + 2);
        if (name == "event") event.kind = value;
        if (name == "id") event.id = value;
        if (name == "data") event.data = value;
    }
    return event;
}

}  // namespace

void ChangesParser::accept(std::string_view bytes) {
    forgetWhatWasRead();
    while (!bytes.empty() && _state != ENDED) {
        if (_state != DATA) {
            if (completeLine(bytes)) readLine();
            continue;
        }
        const std::size_t count = std::min(_left, bytes.size());
        _text.append(bytes.substr(0, count));
        bytes.remove_prefix(count);
        _left -= count;
        if (_left == 0) _state = AFTER_DATA;
    }
}

bool ChangesParser::next(StreamEvent& event) {
    const std::size_t end = _text.find(kEventEnd, _seen);
    if (end == std::string::npos) {
        _seen = std::max(_read, _text.empty() ? 0 : _text.size() - 1);  // the end may come in two pieces
        return false;
    }
    event = eventOf(std::string_view(_text).substr(_read, end - _read));
    _read = _seen = end + kEventEnd.size();
    return true;
}

/// True when a line is whole, without its end.
bool ChangesParser::completeLine(std::string_view& bytes) {
    const std::size_t end = bytes.find('\n');
    _line.append(bytes.substr(0, end));
    bytes.remove_prefix(end == std::string_view::npos ? bytes.size() : end + 1);
    if (end == std::string_view::npos) return false;
    if (!_line.empty() && _line.back() == '\r') _line.pop_back();
    return true;
}

void ChangesParser::readLine() {
    const std::string line = std::move(_line);
    _line.clear();
    if (_state == STATUS) {
        if (line.rfind("HTTP/1.1 200", 0) != 0) throw std::runtime_error("a reader was answered: " + line);
        _state = HEADERS;
    } else if (_state == HEADERS) {
        if (line == "Transfer-Encoding: chunked") _chunked = true;
        if (!line.empty()) return;
        if (!_chunked) throw std::runtime_error("a reader's answer is not chunked");
        _state = SIZE;
    } else if (_state == SIZE) {
        constexpr int kHexadecimal = 16;
        const auto [end, code] = std::from_chars(line.data(), line.data() + line.size(), _left, kHexadecimal);
        if (code != std::errc() || end != line.data() + line.size()) {
            throw std::runtime_error("this is no size of a chunk: " + line);
        }
        _state = _left > 0 ? DATA : ENDED;
    } else {
        if (!line.empty()) throw std::runtime_error("a chunk is longer than its size says");
        _state = SIZE;
    }
}

/// A whole picture is large, what changes is not: its memory is given back.
void ChangesParser::forgetWhatWasRead() {
    constexpr std::size_t kKept = 65536;
    _text.erase(0, _read);
    _seen -= _read;
    _read = 0;
    if (_text.empty() && _text.capacity() > kKept) _text.shrink_to_fit();
}
