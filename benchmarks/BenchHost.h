// The host around the store while it is measured: a lock, a counter, no log. It does as little as a host
// can, so that what is measured is the store.
#ifndef BENCHMARKS_BENCHHOST_H
#define BENCHMARKS_BENCHHOST_H

#include <cstddef>

/// From now on, or no longer, every lock sums up how long it is held, from the outermost enter to the
/// leave that frees it. Off from the start: then a lock reads no clock.
void timeLockHolds(bool on);

/// Nanoseconds for which locks were held since the last call.
double popLockHeldTime();

/// Registers so many observers instead of those of before, eight at most.
void setObservers(std::size_t count);

#endif
