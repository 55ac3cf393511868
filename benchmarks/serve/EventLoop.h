// One thread for thousands of sockets: whoever has something to read is called.
#ifndef BENCHMARKS_SERVE_EVENTLOOP_H
#define BENCHMARKS_SERVE_EVENTLOOP_H

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <functional>
#include <stdexcept>

#include "Latencies.h"

/// Something with a socket.
class Watched {
public:
    Watched() = default;
    virtual ~Watched() = default;
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;

    /// Something has come, or the connection is over. Reads until nothing is left: it is not called twice for the same.
    virtual void readable() = 0;
};

/// [Threading] For one thread.
class EventLoop {
public:
    EventLoop() : _poll(epoll_create1(EPOLL_CLOEXEC)) {
        if (_poll < 0) throw std::runtime_error("sockets cannot be watched");
    }
    ~EventLoop() { close(_poll); }
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    /// Watches a socket until it is closed.
    void add(int socket, Watched& watched) {
        epoll_event interest{};
        interest.events = EPOLLIN | EPOLLET;
        interest.data.ptr = &watched;
        if (epoll_ctl(_poll, EPOLL_CTL_ADD, socket, &interest) != 0) {
            throw std::runtime_error("a socket cannot be watched");
        }
    }

    /// Calls whoever has something to read, once; waits for it no longer than this.
    void turn(Clock::duration wait) {
        std::array<epoll_event, 256> ready{};
        const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
        const int count = epoll_wait(_poll, ready.data(), static_cast<int>(ready.size()),
                                     static_cast<int>(std::clamp<std::int64_t>(milliseconds, 0, 1000)));
        for (int i = 0; i < count; ++i) {
            static_cast<Watched*>(ready.at(static_cast<std::size_t>(i)).data.ptr)->readable();
        }
    }

    void runUntil(Clock::time_point end) {
        for (Clock::time_point now = Clock::now(); now < end; now = Clock::now()) turn(end - now);
    }

    /// False when it is not so within the limit.
    bool runUntil(const std::function<bool()>& isSo, Clock::duration limit) {
        constexpr std::chrono::milliseconds kLook{5};
        const Clock::time_point end = Clock::now() + limit;
        while (!isSo()) {
            if (Clock::now() >= end) return false;
            runUntil(Clock::now() + kLook);
        }
        return true;
    }

private:
    const int _poll;
};

#endif
