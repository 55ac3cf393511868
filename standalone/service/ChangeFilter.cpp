#include "service/ChangeFilter.h"

namespace pis::service {

namespace {

template <typename Record>
const Record& recordOf(const picture::Row& row) {
    return static_cast<const picture::RowOf<Record>&>(row).record;
}

}  // namespace

StationRows::StationRows(const picture::Picture& picture, int stationId) : _stationId(stationId) {
    const picture::Ids* platforms = picture.platformsOfStation.find(stationId);
    if (platforms == nullptr) return;
    for (const int platform : **platforms) {
        _platforms.insert(platform);
        const picture::Ids* stops = picture.tripStopsAtPlatform.find(platform);
        if (stops == nullptr) continue;
        for (const int stop : **stops) {
            _tripStops.insert(stop);
            const auto* row = picture.table<TripStop>().find(stop);
            if (row != nullptr) _trips.insert((*row)->record.getTripId());
        }
    }
}

bool StationRows::include(records::Table table, const picture::Row& row) const {
    switch (table) {
        case records::Table::STATIONS: return row.id == _stationId;
        case records::Table::PLATFORMS: return _platforms.count(row.id) > 0;
        case records::Table::TRIP_STOPS: return _tripStops.count(row.id) > 0;
        case records::Table::SERVICE_STOPS: return _tripStops.count(recordOf<ServiceStop>(row).getTripStopId()) > 0;
        case records::Table::TRIPS: return _trips.count(row.id) > 0;
        case records::Table::SERVICES: return _trips.count(recordOf<Service>(row).getTripId()) > 0;
        case records::Table::LINES:
        case records::Table::VEHICLES: break;
    }
    return false;
}

std::vector<std::shared_ptr<const picture::Row>> StationRows::of(const picture::Picture& picture,
                                                                 records::Table table) const {
    std::vector<std::shared_ptr<const picture::Row>> rows = picture.rowsOf(table);
    std::vector<std::shared_ptr<const picture::Row>> included;
    for (auto& row : rows) {
        if (include(table, *row)) included.push_back(std::move(row));
    }
    return included;
}

std::vector<std::shared_ptr<const picture::Row>> rowsOf(const picture::Picture& picture, records::Table table,
                                                        const ChangeFilter& filter) {
    if (filter.stationId == 0) return picture.rowsOf(table);
    return StationRows(picture, filter.stationId).of(picture, table);
}

}  // namespace pis::service
