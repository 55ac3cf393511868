// One thread tells another to end what it is waiting for: a descriptor that polls readable once the signal
// is given.
#ifndef PIS_BASE_STOPSIGNAL_H
#define PIS_BASE_STOPSIGNAL_H

#include <atomic>

namespace pis::base {

/// [Threading] Any thread may give and ask. Once given, it stays given.
class StopSignal {
public:
    /// @throws std::system_error when the system has no descriptor left.
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    void give();

    bool given() const { return _given.load(std::memory_order_acquire); }

    /// For poll() and its kind: readable once the signal is given. Not to be read from.
    int descriptor() const { return _descriptor; }

private:
    std::atomic<bool> _given{false};
    int _descriptor;
};

}  // namespace pis::base

#endif
