#include "feed/StopTables.h"

#include "SignallingCodes.h"
#include "feed/StopRecords.h"

namespace pis::feed {

using namespace SignallingCodes;

void StopTables::update(const FeedRecord& record) {
    if (record.id == 0) return;
    if (record.type == TRIP_STOP) _tripStops.insert_or_assign(record.id, tripStopOf(record.id, record.fields));
    if (record.type == SERVICE_STOP) updateServiceStop(serviceStopOf(record.id, record.fields));
}

void StopTables::updateServiceStop(const ServiceStop& said) {
    const auto [arrival, isNew] = _arrivals.try_emplace(said.getId(), _arrived);
    if (isNew) ++_arrived;
    ServiceStop& stop = _serviceStops.try_emplace(arrival->second, said).first->second;
    stop.setServiceId(said.getServiceId());
    stop.setTripStopId(said.getTripStopId());
    stop.setServiceStartTime(said.getServiceStartTime());
    stop.setArvDelay(said.getArvDelay());
    stop.setDepDelay(said.getDepDelay());
    const auto tripStop = _tripStops.find(said.getTripStopId());
    if (tripStop != _tripStops.end()) join(stop, tripStop->second);
}

void StopTables::remove(int type, int id) {
    if (type == TRIP_STOP || type == ALL_ELEMENTS) {
        if (id == 0) _tripStops.clear();
        _tripStops.erase(id);
    }
    if (type != SERVICE_STOP && type != ALL_ELEMENTS) return;
    if (id == 0) {
        _serviceStops.clear();
        _arrivals.clear();
    } else if (const auto arrival = _arrivals.find(id); arrival != _arrivals.end()) {
        _serviceStops.erase(arrival->second);
        _arrivals.erase(arrival);
    }
}

std::vector<ServiceStop> StopTables::serviceStops() const {
    std::vector<ServiceStop> stops;
    stops.reserve(_serviceStops.size());
    for (const auto& [arrival, stop] : _serviceStops) stops.push_back(stop);
    return stops;
}

}  // namespace pis::feed
