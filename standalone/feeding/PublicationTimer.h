// When the picture is due: at once when the feed pauses, and not long after a change while it flows.
#ifndef PIS_FEEDING_PUBLICATIONTIMER_H
#define PIS_FEEDING_PUBLICATIONTIMER_H

#include <algorithm>
#include <chrono>
#include <optional>

namespace pis::feeding {

/// Is told of changes and of publications. For one thread.
class PublicationTimer {
public:
    using Clock = std::chrono::steady_clock;

    /// A change waits no longer, however many follow it.
    static constexpr std::chrono::milliseconds kLongestWait{50};

    /// Silence that counts as a pause: what one cause changes comes in one go.
    static constexpr std::chrono::milliseconds kPause{2};

    void changed(Clock::time_point now) {
        if (!_first) _first = now;
        _latest = now;
    }

    void published() { _first.reset(); }

    /// When the picture is to be published should nothing else change; nothing when no change waits.
    std::optional<Clock::time_point> due() const {
        if (!_first) return std::nullopt;
        return std::min(*_first + kLongestWait, _latest + kPause);
    }

private:
    std::optional<Clock::time_point> _first;  // change that waits
    Clock::time_point _latest;
};

}  // namespace pis::feeding

#endif
