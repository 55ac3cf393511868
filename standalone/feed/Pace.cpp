#include "feed/Pace.h"

#include <algorithm>
#include <thread>

namespace pis::feed {

void Pace::waitFor(const std::optional<double>& at) {
    if (_speed <= 0 || !at) return;
    if (!_firstAt) {
        _firstAt = *at;
        _start = Clock::now();
    }
    constexpr double kNotice = 0.05;  // seconds until an interrupt is seen
    while (!_interrupted()) {
        const std::chrono::duration<double> passed = Clock::now() - _start;
        const double left = (*at - *_firstAt) / _speed - passed.count();
        if (left <= 0) return;
        std::this_thread::sleep_for(std::chrono::duration<double>(std::min(left, kNotice)));
    }
}

}  // namespace pis::feed
