// Whether a client takes what it is sent: any byte that leaves this machine counts, not what fits into its buffers.
#ifndef PIS_SERVICE_PROGRESS_H
#define PIS_SERVICE_PROGRESS_H

#include <chrono>
#include <cstdint>

#include "service/HttpLimits.h"

namespace pis::service {

/// Watches one client for as long as there is something for it to take.
class Progress {
public:
    using Clock = std::chrono::steady_clock;

    enum Verdict { TAKES, STANDS_STILL, TOO_SLOW };

    /// From now on there is something to take.
    /// @param left bytes that have left the machine so far.
    void begin(Clock::time_point now, std::uint64_t left) {
        _lastByte = _since = now;
        _left = _leftSince = left;
    }

    /// To be asked every now and then.
    Verdict look(Clock::time_point now, std::uint64_t left, const HttpLimits& limits) {
        if (left > _left) {
            _left = left;
            _lastByte = now;
        }
        if (now - _lastByte >= limits.progress) return STANDS_STILL;
        if (now - _since < limits.rateOver) return TAKES;
        const bool isTooSlow =
            left - _leftSince < limits.lowestRate * static_cast<std::uint64_t>(limits.rateOver.count());
        _since = now;
        _leftSince = left;
        return isTooSlow ? TOO_SLOW : TAKES;
    }

private:
    Clock::time_point _lastByte;
    Clock::time_point _since;  // when the time over which the rate is taken began
    std::uint64_t _left = 0;
    std::uint64_t _leftSince = 0;
};

}  // namespace pis::service

#endif
