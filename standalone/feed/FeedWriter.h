// Writes feed records as the reader takes them.
#ifndef PIS_FEED_FEEDWRITER_H
#define PIS_FEED_FEEDWRITER_H

#include <string>

#include "feed/FeedRecord.h"

namespace pis::feed {

/// A record as one line of JSON, without the line end.
std::string toJsonLine(const FeedRecord& record);

}  // namespace pis::feed

#endif
