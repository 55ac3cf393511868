// A thread that does one thing so many times a second.
#ifndef BENCHMARKS_SERVE_PACER_H
#define BENCHMARKS_SERVE_PACER_H

#include <atomic>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>

#include "Latencies.h"

class Pacer {
public:
    /// Begins at once. What comes late is made up for.
    /// @param action is told when it was due.
    Pacer(double perSecond, std::function<void(Clock::time_point due)> action)
        : _pause(std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / perSecond))),
          _action(std::move(action)),
          _thread([this] { run(); }) {}
    ~Pacer() { end(); }
    Pacer(const Pacer&) = delete;
    Pacer& operator=(const Pacer&) = delete;

    /// No more of it. @throws std::runtime_error what went wrong meanwhile.
    void stop() {
        end();
        if (!_failure.empty()) throw std::runtime_error(_failure);
    }

private:
    void end() {
        _ending = true;
        if (_thread.joinable()) _thread.join();
    }

    void run() {
        try {
            for (Clock::time_point due = Clock::now() + _pause; !_ending; due += _pause) {
                std::this_thread::sleep_until(due);
                _action(due);
            }
        } catch (const std::exception& fault) {
            _failure = fault.what();
        }
    }

    const Clock::duration _pause;
    const std::function<void(Clock::time_point)> _action;
    std::string _failure;  // to be read when the thread has ended
    std::atomic<bool> _ending{false};
    std::thread _thread;
};

#endif
