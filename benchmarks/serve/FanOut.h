// Thousands of readers of marked events: each has to get each of them, and when it did is kept.
#ifndef BENCHMARKS_SERVE_FANOUT_H
#define BENCHMARKS_SERVE_FANOUT_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

#include "EventLoop.h"
#include "Latencies.h"
#include "Marks.h"
#include "Stream.h"

/// [Threading] For one thread.
class FanOut {
public:
    FanOut(EventLoop& loop, const Marks& marks) : _loop(loop), _marks(marks) {}

    /// Opens readers one after the other. @param request what each asks for.
    void open(std::size_t count, unsigned short port, const std::string& request);

    /// Whether each has been answered.
    bool allBegan() const;

    /// From now on each event that each reader gets is counted and timed, none of those before.
    void begin();

    /// Whether every reader got every event that was sent since.
    bool allHaveAll() const;

    /// Readers that did not, or whose stream ended.
    std::size_t incomplete() const;

    std::size_t count() const { return _readers.size(); }
    std::size_t bytes() const;
    Latencies& latencies() { return _latencies; }

private:
    class Reader : public Stream {
    public:
        Reader(FanOut& crowd, unsigned short port, const std::string& request)
            : Stream(crowd._loop, {port}, request), _crowd(crowd) {}

        std::uint32_t got = 0;

    private:
        void received(std::string_view bytes) override;

        FanOut& _crowd;
        std::string _rest;  // of a line that is still coming in
    };

    std::uint32_t sent() const { return _marks.sent() - _sentBefore; }

    EventLoop& _loop;
    const Marks& _marks;
    std::uint32_t _sentBefore = 0;
    std::deque<Reader> _readers;  // the loop holds addresses of readers
    Latencies _latencies;
};

#endif
