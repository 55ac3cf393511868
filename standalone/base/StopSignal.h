// The one way to tell whatever waits to end: an event that polls readable once it is given. Links are stopped
// through one of their own, the program through the one of Interrupt.
#ifndef PIS_BASE_STOPSIGNAL_H
#define PIS_BASE_STOPSIGNAL_H

#include <atomic>
#include <chrono>

namespace pis::base {

/// [Threading] Any thread may give, ask and wait; a signal handler may give. Once given, it stays given.
class StopSignal {
public:
    using Clock = std::chrono::steady_clock;

    /// @throws std::system_error when the system has no descriptor left.
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    void give();

    bool given() const { return _given.load(std::memory_order_acquire); }

    /// Waits until the signal is given, or until the deadline. True when it is given.
    bool waitUntil(Clock::time_point deadline) const;

    /// For poll() and its kind: readable once the signal is given. Not to be read from.
    int descriptor() const { return _descriptor; }

private:
    std::atomic<bool> _given{false};
    int _descriptor;
};

}  // namespace pis::base

#endif
