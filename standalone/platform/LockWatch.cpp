#include "platform/LockWatch.h"

#include <atomic>

namespace pis::platform {

namespace {

std::atomic<bool> theSwitch{false};
TimeHistogram theTimes;

}  // namespace

void LockWatch::switchOn() {
    theSwitch.store(true, std::memory_order_relaxed);
}

void LockWatch::switchOff() {
    theSwitch.store(false, std::memory_order_relaxed);
}

bool LockWatch::isOn() {
    return theSwitch.load(std::memory_order_relaxed);
}

void LockWatch::held(std::chrono::nanoseconds time) {
    theTimes.observe(time);
}

TimeHistogram::Values LockWatch::values() {
    return theTimes.values();
}

}  // namespace pis::platform
