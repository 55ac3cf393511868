// Moments as programs write them.
#ifndef STANDALONE_ISOTIME_H
#define STANDALONE_ISOTIME_H

#include <chrono>
#include <string>

/// "2026-11-20T13:25:08.123Z": UTC, to the millisecond.
std::string isoTime(std::chrono::system_clock::time_point time);

#endif
