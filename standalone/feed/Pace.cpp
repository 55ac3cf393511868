#include "feed/Pace.h"

#include <algorithm>

namespace pis::feed {

void Pace::waitFor(const std::optional<double>& at, const std::function<void()>& waiting) {
    if (_speed <= 0 || !at) return;
    if (!_firstAt) {
        _firstAt = *at;
        _start = Clock::now();
    }
    constexpr double kFar = 1e9;  // seconds; farther ahead than anybody waits
    constexpr std::chrono::milliseconds kNowAndThen{100};
    const std::chrono::duration<double> ahead(std::clamp((*at - *_firstAt) / _speed, 0.0, kFar));
    const Clock::time_point due = _start + std::chrono::duration_cast<Clock::duration>(ahead);
    while (!_stop.given()) {
        const Clock::time_point now = Clock::now();
        if (now >= due) return;
        if (waiting) waiting();
        _stop.waitUntil(waiting ? std::min(due, now + kNowAndThen) : due);
    }
}

}  // namespace pis::feed
