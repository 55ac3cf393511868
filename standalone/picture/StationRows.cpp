#include "picture/StationRows.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace pis::picture {

namespace {

using records::Table;

template <typename Record>
const Record& recordOf(const Row& row) {
    return static_cast<const RowOf<Record>&>(row).record;
}

std::vector<int>& idsOf(RowIds& rows, Table table) {
    return rows[records::indexOf(table)];
}

void append(std::vector<int>& ids, const std::vector<int>& more) {
    ids.insert(ids.end(), more.begin(), more.end());
}

/// Ascending, each once.
template <typename Key>
void sortOut(std::vector<Key>& keys) {
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
}

/// The rows whose stations one publication may change.
class Touched {
public:
    using Key = std::pair<Table, int>;

    Touched(const Picture& before, const Picture& after) : _before(before), _after(after) {}

    std::vector<Key> by(const std::vector<Change>& changes) {
        for (const Change& change : changes) {
            _keys.emplace_back(change.table, change.id);
            if (change.table == Table::PLATFORMS) addBehindPlatform(change.id);
            if (change.table == Table::TRIP_STOPS) addBehindTripStop(change.id);
        }
        sortOut(_keys);
        return std::move(_keys);
    }

private:
    /// What stands at a platform goes along when the platform moves.
    void addBehindPlatform(int id) {
        const auto* before = _before.record<PlatformInfo>(id);
        const auto* after = _after.record<PlatformInfo>(id);
        if (before != nullptr && after != nullptr && before->getStationId() == after->getStationId()) return;
        for (const Picture* picture : {&_before, &_after}) {
            for (const int stop : idsUnder(picture->tripStopsAtPlatform, id)) addTripStop(stop);
        }
    }

    void addBehindTripStop(int id) {
        const auto* before = _before.record<TripStop>(id);
        const auto* after = _after.record<TripStop>(id);
        if (before != nullptr && after != nullptr && before->getPlatformId() == after->getPlatformId() &&
            before->getTripId() == after->getTripId()) {
            return;
        }
        addTripStop(id);
    }

    void addTripStop(int id) {
        _keys.emplace_back(Table::TRIP_STOPS, id);
        for (const Picture* picture : {&_before, &_after}) {
            addAll(Table::SERVICE_STOPS, idsUnder(picture->stopsOfTripStop, id));
            const auto* stop = picture->record<TripStop>(id);
            if (stop != nullptr) addTrip(stop->getTripId());
        }
    }

    void addTrip(int id) {
        if (!_trips.insert(id).second) return;
        _keys.emplace_back(Table::TRIPS, id);
        for (const Picture* picture : {&_before, &_after})
            addAll(Table::SERVICES, idsUnder(picture->servicesOfTrip, id));
    }

    void addAll(Table table, const std::vector<int>& ids) {
        for (const int id : ids) _keys.emplace_back(table, id);
    }

    const Picture& _before;
    const Picture& _after;
    std::vector<Key> _keys;
    std::unordered_set<int> _trips;
};

}  // namespace

RowIds rowsOfStation(const Picture& picture, int stationId) {
    RowIds rows;
    if (picture.record<Station>(stationId) != nullptr) idsOf(rows, Table::STATIONS) = {stationId};
    idsOf(rows, Table::PLATFORMS) = idsUnder(picture.platformsOfStation, stationId);
    std::unordered_set<int> trips;
    for (const int platform : idsOf(rows, Table::PLATFORMS)) {
        append(idsOf(rows, Table::TRIP_STOPS), idsUnder(picture.tripStopsAtPlatform, platform));
    }
    for (const int stop : idsOf(rows, Table::TRIP_STOPS)) {
        append(idsOf(rows, Table::SERVICE_STOPS), idsUnder(picture.stopsOfTripStop, stop));
        trips.insert(picture.record<TripStop>(stop)->getTripId());
    }
    for (const int trip : trips) {
        if (picture.record<Trip>(trip) != nullptr) idsOf(rows, Table::TRIPS).push_back(trip);
        append(idsOf(rows, Table::SERVICES), idsUnder(picture.servicesOfTrip, trip));
    }
    for (std::vector<int>& ids : rows) sortOut(ids);
    return rows;
}

std::vector<int> StationsOfRows::of(Table table, const Row& row) {
    int station = 0;
    switch (table) {
        case Table::TRIPS: return stationsOfTrip(row.id);
        case Table::SERVICES: return stationsOfTrip(recordOf<Service>(row).getTripId());
        case Table::STATIONS: station = row.id; break;
        case Table::PLATFORMS: station = recordOf<PlatformInfo>(row).getStationId(); break;
        case Table::TRIP_STOPS: station = stationOfPlatform(recordOf<TripStop>(row).getPlatformId()); break;
        case Table::SERVICE_STOPS: station = stationOfTripStop(recordOf<ServiceStop>(row).getTripStopId()); break;
        case Table::LINES:
        case Table::VEHICLES: break;
    }
    if (station == 0) return {};
    return {station};
}

int StationsOfRows::stationOfPlatform(int platformId) const {
    const auto* platform = _picture.record<PlatformInfo>(platformId);
    return platform != nullptr ? platform->getStationId() : 0;
}

int StationsOfRows::stationOfTripStop(int tripStopId) const {
    const auto* stop = _picture.record<TripStop>(tripStopId);
    return stop != nullptr ? stationOfPlatform(stop->getPlatformId()) : 0;
}

const std::vector<int>& StationsOfRows::stationsOfTrip(int tripId) {
    const auto [known, isNew] = _ofTrips.try_emplace(tripId);
    std::vector<int>& stations = known->second;
    if (!isNew) return stations;
    for (const int stop : idsUnder(_picture.tripStopsOfTrip, tripId)) {
        const int station = stationOfTripStop(stop);
        if (station != 0) stations.push_back(station);
    }
    sortOut(stations);
    return stations;
}

std::map<int, std::vector<Change>> changesOfStations(const Picture& before, const Picture& after,
                                                     const std::vector<Change>& changes) {
    StationsOfRows stationsBefore(before);
    StationsOfRows stationsAfter(after);
    std::map<int, std::vector<Change>> found;
    for (const auto& [table, id] : Touched(before, after).by(changes)) {
        const std::shared_ptr<const Row> rowBefore = before.find(table, id);
        const std::shared_ptr<const Row> row = after.find(table, id);
        const std::vector<int> from = rowBefore != nullptr ? stationsBefore.of(table, *rowBefore) : std::vector<int>();
        const std::vector<int> to = row != nullptr ? stationsAfter.of(table, *row) : std::vector<int>();
        const auto stoodAt = [&from](int station) { return std::binary_search(from.begin(), from.end(), station); };
        const auto standsAt = [&to](int station) { return std::binary_search(to.begin(), to.end(), station); };
        for (const int station : to) {
            if (row != rowBefore || !stoodAt(station)) found[station].push_back({table, id, row});
        }
        for (const int station : from) {
            if (!standsAt(station)) found[station].push_back({table, id, nullptr});
        }
    }
    return found;
}

}  // namespace pis::picture
