// Moments as programs write them.
#ifndef PIS_BASE_WALLTIME_H
#define PIS_BASE_WALLTIME_H

#include <chrono>
#include <string>

namespace pis::base {

/// A moment by the clock on the wall.
using WallTime = std::chrono::system_clock::time_point;

/// "2026-11-20T13:25:08.123Z": UTC, to the millisecond.
std::string isoTime(WallTime time);

}  // namespace pis::base

#endif
