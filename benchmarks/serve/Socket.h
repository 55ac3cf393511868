// A TCP socket on loopback, closed with its owner.
#ifndef BENCHMARKS_SERVE_SOCKET_H
#define BENCHMARKS_SERVE_SOCKET_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

class Socket {
public:
    explicit Socket(int descriptor) : _descriptor(descriptor) {
        if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "a socket cannot be had");
    }
    ~Socket() { close(); }
    Socket(Socket&& other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) {}
    Socket& operator=(Socket&& other) noexcept {
        std::swap(_descriptor, other._descriptor);
        return *this;
    }

    static Socket none() { return {}; }

    /// @param receiveBuffer bytes that the kernel is to hold for a slow reader; 0 leaves that to the kernel.
    static Socket connectedTo(unsigned short port, int receiveBuffer = 0) {
        Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        if (receiveBuffer > 0) {
            setsockopt(socket._descriptor, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        }
        const sockaddr_in address = loopback(port);
        if (connect(socket._descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot connect to the service");
        }
        return socket;
    }

    static Socket listening() {
        Socket socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const sockaddr_in address = loopback(0);
        if (bind(socket._descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            listen(socket._descriptor, 1) != 0) {
            throw std::system_error(errno, std::generic_category(), "cannot listen");
        }
        return socket;
    }

    unsigned short port() const {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        getsockname(_descriptor, reinterpret_cast<sockaddr*>(&address), &size);
        return ntohs(address.sin_port);
    }

    Socket accept() const {
        Socket socket(accept4(_descriptor, nullptr, nullptr, SOCK_CLOEXEC));
        const int on = 1;
        setsockopt(socket._descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        return socket;
    }

    void send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t count = ::send(_descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) throw std::system_error(errno, std::generic_category(), "the service takes nothing more");
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    /// Wakes whoever waits for something to come.
    void shutDown() const { shutdown(_descriptor, SHUT_RDWR); }

    int descriptor() const { return _descriptor; }
    bool isOpen() const { return _descriptor >= 0; }

    void close() {
        if (_descriptor >= 0) ::close(_descriptor);
        _descriptor = -1;
    }

private:
    Socket() : _descriptor(-1) {}

    static sockaddr_in loopback(unsigned short port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    int _descriptor;
};

#endif
