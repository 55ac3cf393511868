#include "picture/Picture.h"

#include <algorithm>
#include <unordered_set>

namespace pis::picture {

namespace {

/// Calls visit with one of the picture's tables.
template <typename Visit>
auto withTable(const Picture& picture, records::Table table, Visit visit) {
    switch (table) {
        case records::Table::LINES: return visit(picture.lines);
        case records::Table::VEHICLES: return visit(picture.vehicles);
        case records::Table::STATIONS: return visit(picture.stations);
        case records::Table::PLATFORMS: return visit(picture.platforms);
        case records::Table::TRIPS: return visit(picture.trips);
        case records::Table::TRIP_STOPS: return visit(picture.tripStops);
        case records::Table::SERVICES: return visit(picture.services);
        case records::Table::SERVICE_STOPS: break;
    }
    return visit(picture.serviceStops);
}

template <typename Record>
const Record& recordOf(const Row& row) {
    return static_cast<const RowOf<Record>&>(row).record;
}

/// A record among all tables.
std::uint64_t keyOf(const Change& change) {
    return (static_cast<std::uint64_t>(records::indexOf(change.table)) << 32U) | static_cast<std::uint32_t>(change.id);
}

}  // namespace

const std::vector<int>& idsUnder(const PersistentMap<int, Ids>& index, int key) {
    static const std::vector<int> none;
    const Ids* ids = index.find(key);
    return ids != nullptr ? **ids : none;
}

std::size_t Picture::size(records::Table table) const {
    return withTable(*this, table, [](const auto& rows) { return rows.size(); });
}

std::shared_ptr<const Row> Picture::find(records::Table table, int id) const {
    return withTable(*this, table, [id](const auto& rows) -> std::shared_ptr<const Row> {
        const auto* row = rows.find(id);
        return row != nullptr ? *row : nullptr;
    });
}

std::vector<std::shared_ptr<const Row>> Picture::rowsOf(records::Table table) const {
    return withTable(*this, table, [](const auto& rows) {
        std::vector<std::shared_ptr<const Row>> all;
        all.reserve(rows.size());
        rows.forEach([&all](int, const auto& row) { all.push_back(row); });
        return all;
    });
}

std::optional<Changes> Picture::changesSince(Revision since) const {
    if (since < logReachesBackTo || since > revision) return std::nullopt;
    std::vector<const Change*> all;
    log.forEachFrom(since + 1, [&all](Revision, const auto& changes) {
        for (const Change& change : *changes) all.push_back(&change);
    });
    Changes found;
    std::unordered_set<std::uint64_t> seen;
    for (auto change = all.rbegin(); change != all.rend(); ++change) {
        if (seen.insert(keyOf(**change)).second) found.latest.push_back(**change);
    }
    std::reverse(found.latest.begin(), found.latest.end());
    found.coalesced = all.size() - found.latest.size();
    return found;
}

int Picture::stationOf(records::Table table, const Row& row) const {
    const auto ofPlatform = [this](int platformId) {
        const PlatformInfo* platform = recordIn(platforms, platformId);
        return platform != nullptr ? platform->getStationId() : 0;
    };
    switch (table) {
        case records::Table::STATIONS: return row.id;
        case records::Table::PLATFORMS: return recordOf<PlatformInfo>(row).getStationId();
        case records::Table::TRIP_STOPS: return ofPlatform(recordOf<TripStop>(row).getPlatformId());
        case records::Table::SERVICE_STOPS: return ofPlatform(recordOf<ServiceStop>(row).getPlatformId());
        default: return 0;
    }
}

}  // namespace pis::picture
