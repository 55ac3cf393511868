// Ctrl-C and a polite kill end a run early, but in good order.
#ifndef PIS_BASE_INTERRUPT_H
#define PIS_BASE_INTERRUPT_H

#include "base/StopSignal.h"

namespace pis::base::Interrupt {

/// From now on the first SIGINT or SIGTERM gives the stop signal; a second one ends the program at once.
void watch();

/// What SIGINT and SIGTERM give; never before watch(). It polls readable, so that whoever waits for anything with
/// poll() wakes up however soon the signal came.
const StopSignal& stopSignal();

/// Number of the signal that came; 0 as long as none did.
int requested();

}  // namespace pis::base::Interrupt

#endif
