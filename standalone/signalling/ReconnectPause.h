// How long to wait before the next attempt to connect: longer each time, and never in step with others.
#ifndef PIS_SIGNALLING_RECONNECTPAUSE_H
#define PIS_SIGNALLING_RECONNECTPAUSE_H

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>

namespace pis::signalling {

class ReconnectPause {
public:
    using Milliseconds = std::chrono::milliseconds;

    /// @param seed of the jitter; the same one gives the same pauses.
    ReconnectPause(Milliseconds first, Milliseconds longest, std::uint32_t seed)
        : _first(first), _longest(longest), _whole(first), _random(seed) {}

    /// The next pause: between half and all of a time that doubles from `first` to `longest`.
    Milliseconds next() {
        std::uniform_int_distribution<Milliseconds::rep> jitter(_whole.count() / 2, _whole.count());
        const Milliseconds pause(jitter(_random));
        _whole = std::min(2 * _whole, _longest);
        return pause;
    }

    /// The next pause is a first one again.
    void reset() { _whole = _first; }

private:
    Milliseconds _first, _longest, _whole;
    std::mt19937 _random;
};

}  // namespace pis::signalling

#endif
