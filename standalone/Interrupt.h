// Ctrl-C and a polite kill end a run early, but in good order.
#ifndef STANDALONE_INTERRUPT_H
#define STANDALONE_INTERRUPT_H

namespace Interrupt {

/// From now on the first SIGINT or SIGTERM is remembered; a second one ends the program at once.
void watch();

/// Number of the signal that came; 0 as long as none did.
int requested();

}  // namespace Interrupt

#endif
