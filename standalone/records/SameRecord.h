// Whether two records would be printed alike: what a reader cannot see makes no change. The members are
// those of dumpLine(). Private to the picture builder.
#ifndef PIS_RECORDS_SAMERECORD_H
#define PIS_RECORDS_SAMERECORD_H

#include <tuple>

#include "SignallingController.h"

namespace pis::records {

// What is printed of a record, as one value that compares. The numbers stand first: they cost nothing.

inline auto shownOf(const Line& line) {
    return std::make_tuple(line.getId(), line.getName(), line.getAbrv());
}

inline auto shownOf(const Vehicle& vehicle) {
    return std::make_tuple(vehicle.getId(), vehicle.getNumCars(), vehicle.getDirection(), vehicle.getState(),
                           vehicle.getCurrentServiceId(), vehicle.getOpeningDoors(), vehicle.getOpenedDoors(),
                           vehicle.getName(), vehicle.getAbrv(), vehicle.getCurrentLocation(), vehicle.getStateText(),
                           vehicle.getOpeningDoorsText(), vehicle.getOpenedDoorsText(),
                           vehicle.getServicesListAsString());
}

inline auto shownOf(const Station& station) {
    return std::make_tuple(station.getId(), station.isMajor(), station.getName(), station.getAbrv(),
                           station.getPlatformsListAsString());
}

inline auto shownOf(const PlatformInfo& platform) {
    return std::make_tuple(platform.getId(), platform.getStationId(), platform.getState(), platform.getName(),
                           platform.getAbrv(), platform.getLocation(), platform.getStateText(),
                           platform.getPassersListAsString());
}

inline auto shownOf(const Trip& trip) {
    return std::make_tuple(trip.getId(), trip.getLineId(), trip.getDirection(), trip.getPriority(), trip.getName(),
                           trip.getAbrv(), trip.getPriorityText(), trip.getStopsListAsString());
}

inline auto shownOf(const TripStop& stop) {
    return std::make_tuple(stop.getId(), stop.getTripId(), stop.getPlatformId(), stop.isStopping(),
                           stop.getSchArvOffset(), stop.getSchDepOffset(), stop.getName(), stop.getAbrv());
}

inline auto shownOf(const Service& service) {
    return std::make_tuple(service.getId(), service.getTripId(), service.getStartTime(), service.getVehicleId(),
                           service.getState(), service.getIsLoading(), service.getDestinationStationId(),
                           service.getIsLastTrain(), service.getLineId(), service.getDirection(), service.getPriority(),
                           service.getName(), service.getAbrv(), service.getFollowingStopsListAsString(),
                           service.getStateText(), service.getPriorityText(), service.getStopsListAsString());
}

/// What a service stop's own record says, without what its trip stop adds.
inline auto ownOf(const ServiceStop& stop) {
    return std::make_tuple(stop.getId(), stop.getServiceId(), stop.getTripStopId(), stop.getServiceStartTime(),
                           stop.getArvDelay(), stop.getDepDelay());
}

inline auto shownOf(const ServiceStop& stop) {
    return std::tuple_cat(ownOf(stop), std::make_tuple(stop.getTripId(), stop.getPlatformId(), stop.isStopping(),
                                                       stop.getSchArvOffset(), stop.getSchDepOffset()));
}

template <typename Record>
bool sameRecord(const Record& one, const Record& other) {
    return shownOf(one) == shownOf(other);
}

}  // namespace pis::records

#endif
