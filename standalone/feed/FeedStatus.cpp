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

}  // namespace pis::feed
