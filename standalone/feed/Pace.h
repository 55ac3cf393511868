// Holds records back until they are due.
#ifndef PIS_FEED_PACE_H
#define PIS_FEED_PACE_H

#include <chrono>
#include <functional>
#include <optional>
#include <utility>

#include "base/StopSignal.h"

namespace pis::feed {

/// Replays recorded times at a multiple of their pace. The first time seen is due at once; a time
/// that lies before the one due last is due at once, too.
class Pace {
public:
    using Clock = base::StopSignal::Clock;

    /// @param speed times the recorded pace; 0 for as fast as possible.
    /// @param stop  ends waiting; must outlive this.
    Pace(double speed, const base::StopSignal& stop) : _speed(speed), _stop(stop) {}

    /// Waits until a record is due, or until the stop signal is given.
    /// @param at      the record's time in seconds; a record without one is due at once.
    /// @param waiting called now and then while a record is waited for; may be empty.
    void waitFor(const std::optional<double>& at, const std::function<void()>& waiting = nullptr);

private:
    double _speed;
    const base::StopSignal& _stop;
    std::optional<double> _firstAt;
    Clock::time_point _start;
};

}  // namespace pis::feed

#endif
