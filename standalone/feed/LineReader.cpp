#include "feed/LineReader.h"

#include <algorithm>
#include <cstring>

namespace pis::feed {

namespace {

constexpr std::size_t kReadAtOnce = std::size_t{1} << 16;
constexpr std::size_t kRoom = LineReader::kMaxLine + kReadAtOnce;  // the padding comes behind it

}  // namespace

LineReader::LineReader(ByteSource& bytes) : _bytes(bytes), _buffer(new char[kRoom + kPadding]) {}

std::uint64_t LineReader::consumed() const {
    if (_delivered == 0) return 0;
    const std::uint64_t handedOut = _delivered - (_end - _begin);
    const double share = static_cast<double>(handedOut) / static_cast<double>(_delivered);
    return static_cast<std::uint64_t>(share * static_cast<double>(_bytes.consumed()));
}

LineReader::Next LineReader::next() {
    ++_number;
    bool tooLong = false;
    std::size_t searched = _begin;
    while (true) {
        const void* lineEnd = std::memchr(&_buffer[searched], '\n', _end - searched);
        const std::size_t stop =
            lineEnd == nullptr ? _end : static_cast<std::size_t>(static_cast<const char*>(lineEnd) - _buffer.get());
        if (stop - _begin > kMaxLine) tooLong = true;

        const bool lastLine = lineEnd == nullptr && _atEnd && (stop > _begin || tooLong);
        if (lineEnd != nullptr || lastLine) {
            _line = std::string_view(&_buffer[_begin], stop - _begin);
            _begin = std::min(stop + 1, _end);
            return tooLong ? Next::TOO_LONG : Next::LINE;
        }
        if (!failure().empty()) return Next::FAILED;
        if (_atEnd) return Next::END;

        if (tooLong) _begin = _end;  // its text is not wanted any more
        const std::size_t alreadySearched = _end - _begin;
        if (!refill()) _atEnd = failure().empty();
        searched = _begin + alreadySearched;
    }
}

/// Moves the bytes left to the front and reads more behind them. False at the end and when the
/// rest cannot be read.
bool LineReader::refill() {
    _end -= _begin;
    std::memmove(_buffer.get(), &_buffer[_begin], _end);
    _begin = 0;

    const std::size_t got = _bytes.read(&_buffer[_end], std::min(kReadAtOnce, kRoom - _end));
    _end += got;
    _delivered += got;
    return got > 0;
}

}  // namespace pis::feed
