// How long the host's locks are held, for whoever wants to know.
#ifndef PIS_PLATFORM_LOCKWATCH_H
#define PIS_PLATFORM_LOCKWATCH_H

#include "platform/TimeHistogram.h"

/// One watch over every qxLocalMutex. Off at first: nobody reads a clock then. Any thread may call.
namespace pis::platform::LockWatch {

void switchOn();
void switchOff();
bool isOn();

/// Takes one lock's time from its outermost enter to the leave that gave it free; called by the lock.
void held(std::chrono::nanoseconds time);

/// What was held while the watch was on.
TimeHistogram::Values values();

}  // namespace pis::platform::LockWatch

#endif
