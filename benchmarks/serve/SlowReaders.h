// Readers that take what they asked for at a trickle.
#ifndef BENCHMARKS_SERVE_SLOWREADERS_H
#define BENCHMARKS_SERVE_SLOWREADERS_H

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "Latencies.h"
#include "Stream.h"

/// [Threading] For one thread.
class SlowReaders {
public:
    /// @param spread whether each comes from an address of its own.
    SlowReaders(std::size_t count, unsigned short port, bool spread) {
        constexpr int kReceiveBuffer = 4096;
        const std::string request = requestFor("/api/v1/changes");
        for (std::size_t i = 0; i < count; ++i) {
            _sockets.push_back(connectedSocket({port, spread ? i + 1 : 0, kReceiveBuffer}));
            ::send(_sockets.back(), request.data(), request.size(), MSG_NOSIGNAL);
        }
    }
    ~SlowReaders() {
        for (const int socket : _sockets) {
            if (socket >= 0) close(socket);
        }
    }
    SlowReaders(const SlowReaders&) = delete;
    SlowReaders& operator=(const SlowReaders&) = delete;

    /// Each takes 2 KB a second, in turns.
    void runUntil(Clock::time_point end) {
        constexpr std::chrono::milliseconds kTurn{10};
        constexpr std::size_t kTurnsOfSecond = 100;
        for (std::size_t turn = 0; Clock::now() < end; ++turn) {
            for (std::size_t i = turn % kTurnsOfSecond; i < _sockets.size(); i += kTurnsOfSecond) take(i);
            std::this_thread::sleep_for(kTurn);
        }
    }

    /// Those that the service has closed, as far as they have read.
    std::size_t closed() const { return _closed; }

private:
    void take(std::size_t i) {
        constexpr std::size_t kBytes = 2048;
        if (_sockets[i] < 0) return;
        std::array<char, kBytes> bytes{};
        const ssize_t count = recv(_sockets[i], bytes.data(), bytes.size(), MSG_DONTWAIT);
        if (count > 0 || (count < 0 && errno == EAGAIN)) return;
        close(_sockets[i]);
        _sockets[i] = -1;
        ++_closed;
    }

    std::vector<int> _sockets;  // -1 where closed
    std::size_t _closed = 0;
};

#endif
