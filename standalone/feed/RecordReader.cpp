#include "feed/RecordReader.h"

#include <string_view>

namespace pis::feed {

namespace {

bool isBlank(std::string_view line) {
    return line.find_first_not_of(" \t\r") == std::string_view::npos;
}

}  // namespace

RecordReader::Next RecordReader::next(FeedRecord& record) {
    while (true) {
        switch (_lines.next()) {
            case LineReader::Next::END: return Next::END;
            case LineReader::Next::FAILED: _fault = _lines.failure(); return Next::UNREADABLE;
            case LineReader::Next::TOO_LONG:
                _fault = LineReader::kTooLong;
                record.type = 0;
                return Next::MALFORMED;
            case LineReader::Next::LINE: break;
        }
        std::string_view line = _lines.line();
        constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
        if (_lines.number() == 1 && line.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
            line.remove_prefix(kByteOrderMark.size());
        }
        if (isBlank(line)) continue;
        if (_parser.parse(line, record)) return Next::RECORD;
        _fault = _parser.fault();
        return Next::MALFORMED;
    }
}

}  // namespace pis::feed
