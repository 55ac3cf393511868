// How the feed of the signalling side is: its link, its clock, what it says of its own server. Written by the
// feeding thread, shown by whoever shows the picture.
#ifndef PIS_FEED_FEEDSTATUS_H
#define PIS_FEED_FEEDSTATUS_H

#include <chrono>
#include <optional>
#include <string>

#include "base/WallTime.h"
#include "feed/ElementSums.h"

namespace pis::feed {

/// How the feed is.
struct FeedStatus {
    enum Link { CONNECTING, UP, DOWN, ENDED };

    std::string linkName;  ///< As the operator named it: "sim:samples/harbour-line.json".
    Link link = CONNECTING;
    std::string linkDetail;                    ///< Why it is down, for people; empty when there is nothing to say.
    base::WallTime linkSince;                  ///< When the link came to be so.
    std::optional<base::WallTime> lastRecord;  ///< When the last record of the feed came in, for people.
    /// The same by a clock that nobody sets: silence is measured by this one.
    std::optional<std::chrono::steady_clock::time_point> lastRecordSteady;
    std::optional<double> at;     ///< Time of the feed: "at" of the last record that had one.
    bool ready = false;           ///< A snapshot or a record has been taken: there is something to show.
    bool partOfSnapshot = false;  ///< What is shown is part of a snapshot that is still arriving.
    bool serverOnline = false;
    bool serverKnown = false;  ///< The signalling server has said how it is, or was given up with its link.
    bool automaticMessages = false;
    ElementSums known;  ///< What the intake knows of; a state belongs to its element.
};

/// "connecting", "up", "down", "ended".
const char* linkStateName(FeedStatus::Link link);

/// "online", "offline", "unknown" before anything was heard of the signalling server.
const char* serverStatusName(const FeedStatus& feed);

}  // namespace pis::feed

#endif
