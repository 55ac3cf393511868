// Departure boards as browsers run them: each follows the changes of its station and asks for the departures, with the
// tag of the answer that it has, whenever the page does.
#ifndef BENCHMARKS_SERVE_BOARDS_H
#define BENCHMARKS_SERVE_BOARDS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <queue>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "EventLoop.h"
#include "Latencies.h"
#include "Stream.h"

class Board;

/// [Threading] For one thread.
class Boards {
public:
    /// What they asked and were answered.
    struct Figures {
        Latencies latencies;
        std::uint64_t answers = 0;
        std::uint64_t notModified = 0;
        std::uint64_t failed = 0;  ///< Answers of other kinds, and connections lost.
    };

    Boards(EventLoop& loop, unsigned short port);
    ~Boards();

    /// Opens boards of these stations in turns, so many a second, each from an address of its own.
    void open(std::size_t count, const std::vector<int>& stations, double perSecond);

    void runUntil(Clock::time_point end);

    /// Boards that were not answered (yet), or whose stream or connection ended.
    std::size_t lost() const;

    std::size_t count() const { return _boards.size(); }

    Figures figures;

private:
    friend class Board;

    void callAt(Clock::time_point due, Board& board) { _due.emplace(due, &board); }
    void callThoseDue();

    EventLoop& _loop;
    const unsigned short _port;
    std::vector<std::unique_ptr<Board>> _boards;
    using Due = std::pair<Clock::time_point, Board*>;
    std::priority_queue<Due, std::vector<Due>, std::greater<>> _due;
};

#endif
