// Holds records back until they are due.
#ifndef PIS_FEED_PACE_H
#define PIS_FEED_PACE_H

#include <chrono>
#include <functional>
#include <optional>
#include <utility>

namespace pis::feed {

/// Replays recorded times at a multiple of their pace. The first time seen is due at once; a time
/// that lies before the one due last is due at once, too.
class Pace {
public:
    /// @param speed       times the recorded pace; 0 for as fast as possible.
    /// @param interrupted true when waiting is to end; asked every 50 ms.
    Pace(double speed, std::function<bool()> interrupted) : _speed(speed), _interrupted(std::move(interrupted)) {}

    /// Waits until a record is due, or until the run is interrupted.
    /// @param at the record's time in seconds; a record without one is due at once.
    void waitFor(const std::optional<double>& at);

private:
    using Clock = std::chrono::steady_clock;

    double _speed;
    std::function<bool()> _interrupted;
    std::optional<double> _firstAt;
    Clock::time_point _start;
};

}  // namespace pis::feed

#endif
