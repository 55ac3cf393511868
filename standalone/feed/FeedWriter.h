// Writes feed records as the reader takes them.
#ifndef STANDALONE_FEED_FEEDWRITER_H
#define STANDALONE_FEED_FEEDWRITER_H

#include <string>

#include "FeedRecord.h"

/// A record as one line of JSON, without the line end.
std::string toJsonLine(const FeedRecord& record);

#endif
