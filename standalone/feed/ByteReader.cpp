#include "feed/ByteReader.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <stdexcept>
#include <system_error>

#include "base/StopSignal.h"

namespace pis::feed {

namespace {

constexpr std::size_t kReadAtOnce = std::size_t{1} << 16;

/// What the system says of the call that just failed.
std::string systemError() {
    return std::generic_category().message(errno);
}

/// Opens a file for reading, or standard input for "-". Waits for no writer of a named pipe: fill() does.
int opened(const std::string& path) {
    const int descriptor = path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) throw std::runtime_error("cannot open: " + systemError());
    struct stat status {};
    if (fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode)) {
        close(descriptor);
        throw std::runtime_error("is a directory, not a feed");
    }
    return descriptor;
}

}  // namespace

/// The state of decompression. A file may hold several compressed members, one behind the other.
struct ByteReader::Inflater {
    Inflater() {
        constexpr int kGzipOnly = 16;
        if (inflateInit2(&stream, MAX_WBITS + kGzipOnly) != Z_OK) throw std::bad_alloc();
    }
    ~Inflater() { inflateEnd(&stream); }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    z_stream stream{};
    bool betweenMembers = false;
};

ByteReader::ByteReader(const std::string& path, const base::StopSignal* stop)
    : _descriptor(opened(path)), _stop(stop), _input(kReadAtOnce) {}

ByteReader::~ByteReader() {
    close(_descriptor);
}

std::size_t ByteReader::read(char* to, std::size_t room) {
    if (!_recognised) recognise();
    if (_inflater) return inflateInto(to, room);
    if (_left == 0 && !fill()) return 0;

    const std::size_t count = std::min(room, _left);
    std::memcpy(to, _input.data() + _next, count);
    _next += count;
    _left -= count;
    return count;
}

bool ByteReader::interrupted() const {
    return _stop != nullptr && _stop->given();
}

/// Waits until there is something to read, be it the end. False on an interrupt and on failure.
bool ByteReader::waitForBytes() {
    std::array<pollfd, 2> watched{{{_descriptor, POLLIN, 0}, {_stop == nullptr ? -1 : _stop->descriptor(), POLLIN, 0}}};
    while (!interrupted()) {
        const int ready = poll(watched.data(), watched.size(), -1);
        if (ready > 0 && watched[0].revents != 0) return true;
        if (ready >= 0 || errno == EINTR) continue;
        _failure = "cannot read: " + systemError();
        return false;
    }
    return false;
}

/// Reads more of the file behind the bytes that are left. False at its end, on an interrupt and on
/// failure.
bool ByteReader::fill() {
    std::memmove(_input.data(), _input.data() + _next, _left);
    _next = 0;
    while (waitForBytes()) {
        const ssize_t got = ::read(_descriptor, _input.data() + _left, _input.size() - _left);
        if (got > 0) {
            _left += static_cast<std::size_t>(got);
            _taken += static_cast<std::uint64_t>(got);
            return true;
        }
        if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (got < 0) _failure = "cannot read: " + systemError();
        return false;
    }
    return false;
}

/// A compressed file shows by its first two bytes.
void ByteReader::recognise() {
    constexpr char kMagic[] = {'\x1f', '\x8b'};
    _recognised = true;
    while (_left < sizeof kMagic && std::memcmp(_input.data(), kMagic, _left) == 0) {
        if (!fill()) return;
    }
    if (std::memcmp(_input.data(), kMagic, sizeof kMagic) == 0) _inflater = std::make_unique<Inflater>();
}

std::size_t ByteReader::inflateInto(char* to, std::size_t room) {
    z_stream& stream = _inflater->stream;
    stream.next_out = reinterpret_cast<Bytef*>(to);
    stream.avail_out = static_cast<uInt>(room);
    while (stream.avail_out == room && _failure.empty()) {
        if (_left == 0 && !fill()) {
            const bool complete = _inflater->betweenMembers || !_failure.empty() || interrupted();
            if (!complete) _failure = "the compressed file ends too soon: it is cut short";
            break;
        }
        if (_inflater->betweenMembers) {
            // Zeros behind a member fill up the blocks of some media; they are no data.
            while (_left > 0 && _input[_next] == '\0') {
                ++_next;
                --_left;
            }
            if (_left == 0) continue;
            inflateReset(&stream);
            _inflater->betweenMembers = false;
        }
        stream.next_in = reinterpret_cast<Bytef*>(_input.data() + _next);
        stream.avail_in = static_cast<uInt>(_left);
        const int code = inflate(&stream, Z_NO_FLUSH);
        _next += _left - stream.avail_in;
        _left = stream.avail_in;

        if (code == Z_MEM_ERROR) throw std::bad_alloc();
        if (code == Z_STREAM_END) {
            _inflater->betweenMembers = true;
        } else if (code != Z_OK && code != Z_BUF_ERROR) {
            _failure = "the compressed file is damaged: " + std::string(stream.msg == nullptr ? "no data" : stream.msg);
        }
    }
    return room - stream.avail_out;
}

}  // namespace pis::feed
