// A signalling side for tests: accepts connections on loopback and does with them what the test says.
#ifndef TESTS_SIGNALLING_LOOPBACKSERVER_H
#define TESTS_SIGNALLING_LOOPBACKSERVER_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <utility>

namespace pis::signalling {

/// One connection. Waits no longer than 60 s for anything.
class Peer {
public:
    explicit Peer(int socket) : _socket(socket) {}
    ~Peer() { close(); }
    Peer(Peer&& other) noexcept : _socket(std::exchange(other._socket, -1)), _read(std::move(other._read)) {}
    Peer& operator=(Peer&&) = delete;

    void send(const std::string& bytes) {
        for (std::size_t sent = 0; sent < bytes.size();) {
            const std::size_t more = sendSome(bytes, sent, 60000);
            if (more == 0) throw std::runtime_error("the other side does not read");
            sent += more;
        }
    }

    /// Sends what goes out without waiting longer than that for room; returns how many bytes.
    std::size_t sendSome(const std::string& bytes, std::size_t from, int patience) {
        if (!ready(POLLOUT, patience)) return 0;
        const ssize_t sent = ::send(_socket, &bytes[from], bytes.size() - from, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0 && errno != EAGAIN) throw std::runtime_error("cannot send");
        return sent < 0 ? 0 : static_cast<std::size_t>(sent);
    }

    /// The next line that comes, without its end; "closed" at the end.
    std::string line() {
        while (_read.find('\n') == std::string::npos) {
            char bytes[4096];
            const ssize_t got = ready(POLLIN, 60000) ? recv(_socket, bytes, sizeof bytes, 0) : -1;
            if (got <= 0) return "closed";
            _read.append(bytes, static_cast<std::size_t>(got));
        }
        const std::size_t end = _read.find('\n');
        const std::string line = _read.substr(0, end);
        _read.erase(0, end + 1);
        return line;
    }

    void close() {
        if (_socket >= 0) ::close(std::exchange(_socket, -1));
    }

    /// Cuts the connection off so that the other side hears of a fault.
    void reset() {
        const linger hard{1, 0};
        setsockopt(_socket, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
        close();
    }

private:
    bool ready(short events, int patience) const {
        pollfd watched{_socket, events, 0};
        return poll(&watched, 1, patience) == 1;
    }

    int _socket;
    std::string _read;
};

class LoopbackServer {
public:
    /// @param backlog connections that are taken before accept() is called.
    explicit LoopbackServer(int backlog = 16, int family = AF_INET)
        : _socket(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_storage address{};
        address.ss_family = static_cast<sa_family_t>(family);
        if (family == AF_INET) {
            reinterpret_cast<sockaddr_in&>(address).sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        } else {
            reinterpret_cast<sockaddr_in6&>(address).sin6_addr = in6addr_loopback;
        }
        const auto size = static_cast<socklen_t>(family == AF_INET ? sizeof(sockaddr_in) : sizeof(sockaddr_in6));
        _works = _socket >= 0 && bind(_socket, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                 listen(_socket, backlog) == 0;
        socklen_t length = sizeof address;
        if (_works) getsockname(_socket, reinterpret_cast<sockaddr*>(&address), &length);
        _port = ntohs(reinterpret_cast<sockaddr_in&>(address).sin_port);  // stands at the same place in both
    }
    ~LoopbackServer() {
        if (_socket >= 0) close(_socket);
    }
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    /// False where the machine has no such address.
    bool works() const { return _works; }

    std::uint16_t port() const { return _port; }

    Peer accept() const {
        pollfd watched{_socket, POLLIN, 0};
        if (poll(&watched, 1, 60000) != 1) throw std::runtime_error("nobody connects");
        return Peer(::accept(_socket, nullptr, nullptr));
    }

    /// Connects from this side, so that the backlog fills.
    Peer fill() const {
        const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(_port);
        const int result = connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address);
        if (result != 0 && errno != EINPROGRESS) throw std::runtime_error("cannot fill the backlog");
        return Peer(client);
    }

private:
    int _socket;
    bool _works = false;
    std::uint16_t _port = 0;
};

}  // namespace pis::signalling

#endif
