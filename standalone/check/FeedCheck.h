// `pis check`: looks a feed over without a store.
#ifndef PIS_CHECK_FEEDCHECK_H
#define PIS_CHECK_FEEDCHECK_H

#include <string>
#include <vector>

#include "base/ExitStatus.h"

namespace pis::check {

/// Prints a line on standard output for whatever the store would not take as its sender meant it,
/// then how much was found: malformed lines, unknown codes, records that are ignored, fields that
/// are unusable or more than the store reads, numbers that are none, and, behind the others, ids
/// that name nothing in the feed.
/// @param files read as one feed, in this order; "-" for standard input.
/// @return DONE when nothing was found, FINDINGS, or FAILED when a file cannot be read.
base::ExitStatus checkFeed(const std::vector<std::string>& files);

}  // namespace pis::check

#endif
