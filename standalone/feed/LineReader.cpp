#include "LineReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace {

constexpr std::size_t kReadAtOnce = std::size_t{1} << 16;

/// What the system says of the call that just failed.
std::string systemError() {
    return std::generic_category().message(errno);
}

/// Opens a file for reading, or standard input for "-".
int opened(const std::string& path) {
    const int descriptor = path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) throw std::runtime_error("cannot open: " + systemError());
    struct stat status {};
    if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
        close(descriptor);
        throw std::runtime_error("is a directory, not a feed");
    }
    return descriptor;
}

}  // namespace

LineReader::LineReader(const std::string& path) : _buffer(kMaxLine + kReadAtOnce + kPadding) {
    const int descriptor = opened(path);
    _file.reset(gzdopen(descriptor, "rb"));
    if (!_file) {
        close(descriptor);
        throw std::runtime_error("cannot open: out of memory");
    }
    gzbuffer(_file.get(), kReadAtOnce);
}

LineReader::~LineReader() = default;

void LineReader::Close::operator()(gzFile_s* file) const {
    gzclose_r(file);
}

std::uint64_t LineReader::consumed() const {
    const z_off_t offset = gzoffset(_file.get());
    return offset < 0 ? 0 : static_cast<std::uint64_t>(offset);
}

LineReader::Next LineReader::next() {
    ++_number;
    bool tooLong = false;
    std::size_t searched = _begin;
    while (true) {
        const void* lineEnd = std::memchr(&_buffer[searched], '\n', _end - searched);
        const std::size_t stop =
            lineEnd == nullptr ? _end : static_cast<std::size_t>(static_cast<const char*>(lineEnd) - _buffer.data());
        if (stop - _begin > kMaxLine) tooLong = true;

        const bool lastLine = lineEnd == nullptr && _atEnd && (stop > _begin || tooLong);
        if (lineEnd != nullptr || lastLine) {
            _line = std::string_view(&_buffer[_begin], stop - _begin);
            _begin = std::min(stop + 1, _end);
            return tooLong ? Next::TOO_LONG : Next::LINE;
        }
        if (!_failure.empty()) return Next::FAILED;
        if (_atEnd) return Next::END;

        if (tooLong) _begin = _end;  // its text is not wanted any more
        const std::size_t alreadySearched = _end - _begin;
        if (!refill()) _atEnd = _failure.empty();
        searched = _begin + alreadySearched;
    }
}

/// Moves the bytes left to the front and reads more behind them. False at the end of the file and
/// when it cannot be read.
bool LineReader::refill() {
    std::copy(_buffer.begin() + static_cast<std::ptrdiff_t>(_begin),
              _buffer.begin() + static_cast<std::ptrdiff_t>(_end), _buffer.begin());
    _end -= _begin;
    _begin = 0;

    const std::size_t room = std::min(kReadAtOnce, _buffer.size() - kPadding - _end);
    const int got = gzread(_file.get(), &_buffer[_end], static_cast<unsigned>(room));
    if (got > 0) {
        _end += static_cast<std::size_t>(got);
        return true;
    }
    int code = Z_OK;
    const char* message = gzerror(_file.get(), &code);
    if (code == Z_BUF_ERROR) {
        _failure = "the compressed file ends too soon: it is cut short";
    } else if (code == Z_ERRNO) {
        _failure = "cannot read: " + systemError();
    } else if (code != Z_OK && code != Z_STREAM_END) {
        _failure = "the compressed file is damaged: " + std::string(message);
    }
    return false;
}
