// Feed files as days.
#ifndef BENCHMARKS_FEEDFILE_H
#define BENCHMARKS_FEEDFILE_H

#include <string>

#include "Day.h"

/// The day in a feed file, named after it.
/// @throws std::runtime_error "FILE:LINE: what" at the first line that is no record.
Day readDay(const std::string& path);

#endif
