// Ctrl-C and a polite kill end a run early, but in good order.
#ifndef PIS_BASE_INTERRUPT_H
#define PIS_BASE_INTERRUPT_H

namespace pis::base {

namespace Interrupt {

/// From now on the first SIGINT or SIGTERM is remembered; a second one ends the program at once.
void watch();

/// Number of the signal that came; 0 as long as none did.
int requested();

}  // namespace Interrupt

}  // namespace pis::base

#endif
