// A signalling side for the service: a feed's records go out over TCP at a multiple of their pace, and behind
// each burst of them one update that marks it. When each burst went out is kept for the readers.
#ifndef BENCHMARKS_SERVE_SIGNALLINGSIDE_H
#define BENCHMARKS_SERVE_SIGNALLINGSIDE_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "Latencies.h"
#include "Socket.h"

/// What the service gets and when; runs on a thread of its own. A burst is what bears the same time.
class SignallingSide {
public:
    /// @param feed a file of records: first a whole state between snapshot marks, then the day.
    SignallingSide(const std::string& feed, double speed);
    ~SignallingSide();

    unsigned short port() const { return _listener.local_endpoint().port(); }

    /// Waits for the service, sends the whole state, then holds still.
    void start();

    /// Lets the day go on. @param beat time between further updates of the marking vehicle, as a heavier
    /// load than the day; 0 for none.
    void play(std::chrono::milliseconds beat = {});

    /// Holds the day still once the burst under way is out.
    void hold();

    /// Marks that went out so far; they count from 1.
    std::uint32_t marks() const { return _marks; }

    /// When a mark's burst went out.
    Clock::time_point sentAt(std::uint32_t mark) const;

    std::uint64_t records() const { return _records; }

    /// What went wrong on the thread; empty while all is well.
    std::string failure() const;

    SignallingSide(const SignallingSide&) = delete;
    SignallingSide& operator=(const SignallingSide&) = delete;

private:
    /// Lines of one time of the railway.
    struct Burst {
        double at = 0;
        std::string lines;
        std::uint64_t records = 0;
    };
    enum Wish { HOLDING, PLAYING, ENDING };

    void divideFeed(const std::string& path);
    void ask(Wish wish, std::chrono::milliseconds beat);
    void run();
    void send(const Burst& burst);

    static constexpr std::size_t kMostMarks = 100000;

    const double _speed;
    Burst _wholeState;
    std::vector<Burst> _day;
    tcp::acceptor _listener;
    tcp::socket _service;
    std::vector<std::atomic<Clock::rep>> _sentAt;  // by mark
    std::atomic<std::uint32_t> _marks{0};
    std::atomic<std::uint64_t> _records{0};

    mutable std::mutex _mutex;
    std::condition_variable _changed;
    Wish _wish = HOLDING;  // guarded by _mutex, like those below
    std::chrono::milliseconds _beat{0};
    std::uint32_t _asked = 0;  // how often something was
    std::string _failure;
    std::thread _thread;
};

#endif
