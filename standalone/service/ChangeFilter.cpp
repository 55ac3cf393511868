#include "ChangeFilter.h"

namespace {

template <typename Record>
const Record& recordOf(const Row& row) {
    return static_cast<const RowOf<Record>&>(row).record;
}

}  // namespace

StationRows::StationRows(const Picture& picture, int stationId) : _stationId(stationId) {
    const Ids* platforms = picture.platformsOfStation.find(stationId);
    if (platforms == nullptr) return;
    for (const int platform : **platforms) {
        _platforms.insert(platform);
        const Ids* stops = picture.tripStopsAtPlatform.find(platform);
        if (stops == nullptr) continue;
        for (const int stop : **stops) {
            _tripStops.insert(stop);
            const auto* row = picture.tripStops.find(stop);
            if (row != nullptr) _trips.insert((*row)->record.getTripId());
        }
    }
}

bool StationRows::hold(Table table, const Row& row) const {
    switch (table) {
        case Table::STATIONS: return row.id == _stationId;
        case Table::PLATFORMS: return _platforms.count(row.id) > 0;
        case Table::TRIP_STOPS: return _tripStops.count(row.id) > 0;
        case Table::SERVICE_STOPS: return _tripStops.count(recordOf<ServiceStop>(row).getTripStopId()) > 0;
        case Table::TRIPS: return _trips.count(row.id) > 0;
        case Table::SERVICES: return _trips.count(recordOf<Service>(row).getTripId()) > 0;
        case Table::LINES:
        case Table::VEHICLES: break;
    }
    return false;
}

std::vector<std::shared_ptr<const Row>> StationRows::of(const Picture& picture, Table table) const {
    std::vector<std::shared_ptr<const Row>> rows = picture.rowsOf(table);
    std::vector<std::shared_ptr<const Row>> held;
    for (auto& row : rows) {
        if (hold(table, *row)) held.push_back(std::move(row));
    }
    return held;
}

std::vector<std::shared_ptr<const Row>> rowsOf(const Picture& picture, Table table, const ChangeFilter& filter) {
    if (filter.stationId == 0) return picture.rowsOf(table);
    return StationRows(picture, filter.stationId).of(picture, table);
}
