#include "picture/ChangeLog.h"

#include <utility>

namespace pis::picture {

void ChangeLog::add(Revision revision, int stationId, std::vector<Change> changes) {
    std::uint32_t number = 0;
    std::vector<Change> part;
    std::size_t bytes = 0;
    const auto closePart = [&] {
        _parts.set({stationId, revision, number++}, std::make_shared<const std::vector<Change>>(std::move(part)));
        part.clear();
        bytes = 0;
    };
    for (Change& change : changes) {
        if (change.row != nullptr) bytes += change.row->json.size();
        part.push_back(std::move(change));
        if (part.size() == kPartChanges || bytes >= kPartBytes) closePart();
    }
    if (!part.empty()) closePart();
}

void ChangeLog::forget(Revision oldest, const std::vector<int>& stations) {
    _reachesBackTo = oldest;
    erase(oldest, kEveryStation);
    for (const int station : stations) erase(oldest, station);
}

void ChangeLog::erase(Revision revision, int stationId) {
    for (std::uint32_t number = 0; _parts.erase({stationId, revision, number}); ++number) continue;
}

}  // namespace pis::picture
