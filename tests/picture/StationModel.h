// Which stations the rows of a picture belong to, by the records as they stand, in the plainest way there is.
#ifndef TESTS_PICTURE_STATIONMODEL_H
#define TESTS_PICTURE_STATIONMODEL_H

#include <map>
#include <set>

#include "picture/Picture.h"

namespace pis::picture {

class StationModel {
public:
    /// @param picture outlives this.
    explicit StationModel(const Picture& picture) : _picture(picture) {
        picture.table<TripStop>().forEach([this](int id, const auto& row) {
            const int trip = row->record.getTripId();
            if (trip != 0) _ofTrips[trip].insert(ofTripStop(id));  // 0 names no trip
        });
    }

    /// 0 for none is among them where a platform is not known.
    std::set<int> of(records::Table table, int id) const {
        using records::Table;
        switch (table) {
            case Table::STATIONS: return {id};
            case Table::PLATFORMS: return {_picture.record<PlatformInfo>(id)->getStationId()};
            case Table::TRIP_STOPS: return {ofTripStop(id)};
            case Table::SERVICE_STOPS: return {ofTripStop(_picture.record<ServiceStop>(id)->getTripStopId())};
            case Table::TRIPS: return ofTrip(id);
            case Table::SERVICES: return ofTrip(_picture.record<Service>(id)->getTripId());
            default: return {};
        }
    }

private:
    int ofTripStop(int id) const {
        const auto* stop = _picture.record<TripStop>(id);
        const auto* platform = stop != nullptr ? _picture.record<PlatformInfo>(stop->getPlatformId()) : nullptr;
        return platform != nullptr ? platform->getStationId() : 0;
    }

    std::set<int> ofTrip(int id) const {
        const auto found = _ofTrips.find(id);
        return found != _ofTrips.end() ? found->second : std::set<int>();
    }

    const Picture& _picture;
    std::map<int, std::set<int>> _ofTrips;
};

}  // namespace pis::picture

#endif
