#include "feed/FeedStatus.h"

namespace pis::feed {

const char* linkStateName(FeedStatus::Link link) {
    switch (link) {
        case FeedStatus::CONNECTING: return "connecting";
        case FeedStatus::UP: return "up";
        case FeedStatus::DOWN: return "down";
        case FeedStatus::ENDED: break;
    }
    return "ended";
}

const char* serverStatusName(const FeedStatus& feed) {
    if (!feed.serverKnown) return "unknown";
    return feed.serverOnline ? "online" : "offline";
}

}  // namespace pis::feed
