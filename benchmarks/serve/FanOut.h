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

    /// From now on each event that each reader gets is counted and timed, none of those before. An event that was
    /// overtaken by a later one of the same record counts until that one came.
    void begin();

    /// Whether every reader knows of the last event that was sent.
    bool allKnow() const { return behind() == 0; }

    /// Readers that do not, or whose stream ended.
    std::size_t behind() const;

    /// Events that readers did not see since later ones overtook them.
    std::size_t overtaken() const;

    std::size_t count() const { return _readers.size(); }
    std::size_t bytes() const;

    Latencies out;   ///< From when an event went in until it stood in a reader's socket.
    Latencies read;  ///< The same until the reader had it in hand.

private:
    class Reader : public Stream {
    public:
        Reader(FanOut& crowd, unsigned short port, const std::string& request)
            : Stream(crowd._loop, {port}, request), _crowd(crowd) {
            noteArrivals();
        }

        std::uint32_t known = Marks::kFirst - 1;  // the latest mark
        std::size_t overtaken = 0;

    private:
        void received(std::string_view bytes) override;
        void note(std::uint32_t mark);

        FanOut& _crowd;
        std::string _rest;  // of a line that is still coming in
    };

    EventLoop& _loop;
    const Marks& _marks;
    std::deque<Reader> _readers;  // the loop holds addresses of readers
};

#endif
