#include "Stream.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <system_error>

namespace {

/// What the kernel calls the time, by the clock of the run. Both run alike but for what is done to set the former.
Clock::time_point timeOf(const timespec& stamp) {
    using std::chrono::duration_cast;
    using std::chrono::nanoseconds;
    using std::chrono::seconds;
    const auto ago =
        std::chrono::system_clock::now().time_since_epoch() - seconds(stamp.tv_sec) - nanoseconds(stamp.tv_nsec);
    return Clock::now() - duration_cast<Clock::duration>(ago);
}

}  // namespace

std::string requestFor(const std::string& path, const std::string& headers) {
    return "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + headers + "\r\n";
}

std::string knowing(const std::string& revision) {
    return "Last-Event-ID: " + revision + "\r\n";
}

int connectedSocket(const Way& way) {
    constexpr std::uint32_t kFirstAddress = 0x7F010000;  // 127.1.0.0
    const int one = 1;
    const int made = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (way.receiveBuffer > 0) {
        setsockopt(made, SOL_SOCKET, SO_RCVBUF, &way.receiveBuffer, sizeof way.receiveBuffer);
    }
    setsockopt(made, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    bool isMade = made >= 0;
    if (isMade && way.from > 0) {
        address.sin_addr.s_addr = htonl(kFirstAddress + static_cast<std::uint32_t>(way.from));
        setsockopt(made, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &one, sizeof one);
        isMade = bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }
    address.sin_port = htons(way.port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (isMade && connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return made;
    const std::string why = std::generic_category().message(errno);
    if (made >= 0) close(made);
    throw std::runtime_error("cannot connect: " + why);
}

Stream::Stream(EventLoop& loop, const Way& way, const std::string& request) : _socket(connectedSocket(way)) {
    send(request);
    fcntl(_socket, F_SETFL, O_NONBLOCK);
    loop.add(_socket, *this);
}

Stream::~Stream() {
    closeSocket();
}

void Stream::closeSocket() {
    if (_socket >= 0) close(_socket);
    _socket = -1;
}

void Stream::send(std::string_view text) {
    const ssize_t count = ::send(_socket, text.data(), text.size(), MSG_NOSIGNAL);
    if (count != static_cast<ssize_t>(text.size())) closeSocket();
}

void Stream::noteArrivals() {
    const int one = 1;
    _notesArrivals = setsockopt(_socket, SOL_SOCKET, SO_TIMESTAMPNS, &one, sizeof one) == 0;
    if (!_notesArrivals) throw std::runtime_error("this system does not note when bytes come in");
}

ssize_t Stream::receiveInto(char* buffer, std::size_t size) {
    if (!_notesArrivals) return recv(_socket, buffer, size, 0);
    alignas(cmsghdr) std::array<char, 128> control{};
    iovec part{buffer, size};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    const ssize_t count = recvmsg(_socket, &message, 0);
    if (count <= 0) return count;
    _arrivedAt = Clock::now();
    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    if (header != nullptr && header->cmsg_level == SOL_SOCKET && header->cmsg_type == SO_TIMESTAMPNS) {
        timespec stamp{};
        std::memcpy(&stamp, CMSG_DATA(header), sizeof stamp);
        _arrivedAt = timeOf(stamp);
    }
    return count;
}

/// Says so once: thousands may be.
void Stream::refused(std::string_view answer) {
    static bool isSaid = false;
    if (!isSaid) std::fprintf(stderr, "a reader was answered: %.*s\n", static_cast<int>(answer.size()), answer.data());
    isSaid = true;
    closeSocket();
}

void Stream::readable() {
    while (isOpen() && readOnce()) {
    }
}

/// True where more may be left.
bool Stream::readOnce() {
    static constexpr std::string_view kGood = "HTTP/1.1 200";
    static std::array<char, std::size_t{1} << 16U> buffer;  // all streams are one thread's
    const std::size_t passedOver = toBePassedOver();
    const std::size_t wanted = passedOver > 0 ? passedOver : buffer.size();
    const ssize_t count =
        passedOver > 0 ? recv(_socket, buffer.data(), wanted, MSG_TRUNC) : receiveInto(buffer.data(), wanted);
    if (count < 0 && errno == EAGAIN) return false;
    if (count <= 0) {
        closeSocket();
        return false;
    }
    const std::string_view came(buffer.data(), std::min(static_cast<std::size_t>(count), buffer.size()));
    if (_bytes == 0 && came.substr(0, kGood.size()) != kGood) {
        refused(came.substr(0, came.find('\r')));
        return false;
    }
    _bytes += static_cast<std::size_t>(count);
    if (passedOver == 0) received(came);
    return static_cast<std::size_t>(count) == wanted;
}
