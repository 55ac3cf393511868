// Holds records back until they are due.
#ifndef STANDALONE_REPLAY_PACE_H
#define STANDALONE_REPLAY_PACE_H

#include <chrono>
#include <optional>

/// Replays recorded times at a multiple of their pace. The first time seen is due at once; a time
/// that lies before the one due last is due at once, too.
class Pace {
public:
    /// @param speed times the recorded pace; 0 for as fast as possible.
    explicit Pace(double speed) : _speed(speed) {}

    /// Waits until a record is due, or until the run is interrupted.
    /// @param at the record's time in seconds; a record without one is due at once.
    void waitFor(const std::optional<double>& at);

private:
    using Clock = std::chrono::steady_clock;

    double _speed;
    std::optional<double> _firstAt;
    Clock::time_point _start;
};

#endif
