// Events that are told apart when they come out: each bears a number, and when it went in is kept.
#ifndef BENCHMARKS_SERVE_MARKS_H
#define BENCHMARKS_SERVE_MARKS_H

#include <atomic>
#include <cstdint>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "Latencies.h"

/// [Threading] One thread sends, another one may receive.
class Marks {
public:
    /// A mark is the delay of a service stop, larger than any train's: whoever looks for it passes over all else.
    static constexpr std::uint32_t kFirst = 1000000;
    static constexpr std::string_view kBefore = "\"arv_delay\":";

    /// The number for the next event.
    std::uint32_t next() const { return kFirst + _sent; }

    /// That event goes in now.
    void send() {
        if (_sent == _sentAt.size()) throw std::runtime_error("there are more events than can be kept");
        _sentAt[_sent] = Clock::now().time_since_epoch().count();
        ++_sent;
    }

    std::uint32_t sent() const { return _sent; }

    bool isMark(std::uint32_t number) const { return number >= kFirst && number < next(); }

    Clock::time_point sentAt(std::uint32_t mark) const {
        return Clock::time_point(Clock::duration(_sentAt[mark - kFirst]));
    }

private:
    static constexpr std::size_t kMost = 100000;

    std::vector<std::atomic<Clock::rep>> _sentAt = std::vector<std::atomic<Clock::rep>>(kMost);
    std::atomic<std::uint32_t> _sent{0};
};

#endif
