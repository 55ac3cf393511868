#include "simulator/RailwayRecords.h"

#include <algorithm>
#include <initializer_list>

#include "records/Enumerators.h"

namespace pis::simulator {

using namespace SignallingCodes;
using records::enumeratorName;

namespace railway {

namespace {

feed::FeedRecord update(int type, int id, std::initializer_list<std::string> fields) {
    feed::FeedRecord record;
    record.type = type;
    record.id = id;
    for (const std::string& field : fields) record.fields.append(field);
    return record;
}

feed::FeedRecord snapshotMark(feed::FeedRecord::Kind kind) {
    feed::FeedRecord record;
    record.kind = kind;
    return record;
}

std::string text(int number) {
    return std::to_string(number);
}

std::string list(Ids::const_iterator first, Ids::const_iterator last) {
    std::string ids;
    for (; first != last; ++first) ids += (ids.empty() ? "" : "!") + text(*first);
    return ids;
}

std::string list(const Ids& ids) {
    return list(ids.begin(), ids.end());
}

}  // namespace

feed::FeedRecord serverStatusRecord(const std::string& signalBox, bool online) {
    return update(SIGNALLING_SERVER_STATUS, 1, {signalBox, "A", online ? "1" : "0"});
}

feed::FeedRecord autoMessageRecord(bool enabled) {
    return update(AUTO_MESSAGE_STATE, 1, {enabled ? "Y" : "N"});
}

feed::FeedRecord lineRecord(const Line& line) {
    return update(LINE, line.id, {line.name, line.abbreviation});
}

feed::FeedRecord stationRecord(const Station& station) {
    return update(STATION, station.id,
                  {station.name, station.abbreviation, station.major ? "Y" : "N", list(station.platforms)});
}

feed::FeedRecord platformRecord(const Platform& platform) {
    return update(PLATFORM, platform.id,
                  {text(platform.station), platform.abbreviation, platform.name, platform.location});
}

feed::FeedRecord platformStateRecord(const Platform& platform) {
    const Ids& passers = platform.passers;
    const auto told = static_cast<std::ptrdiff_t>(std::min(passers.size(), kPassersTold));
    return update(
        PLATFORM_STATE, platform.id,
        {text(platform.state), enumeratorName(platform.state), list(passers.begin(), passers.begin() + told)});
}

feed::FeedRecord tripRecord(const Trip& trip) {
    return update(TRIP, trip.id,
                  {trip.name, text(trip.line), trip.ascending ? "1" : "0", text(trip.priority), trip.priorityText,
                   list(trip.stops)});
}

feed::FeedRecord tripStopRecord(const TripStop& stop) {
    return update(
        TRIP_STOP, stop.id,
        {text(stop.trip), text(stop.platform), stop.stopping ? "Y" : "N", text(stop.arrival), text(stop.departure)});
}

feed::FeedRecord serviceRecord(const Service& service) {
    return update(
        SERVICE, service.id,
        {text(service.trip), text(service.start), text(service.vehicle), list(service.tripStops),
         service.loading ? "1" : "0", text(service.destination), service.lastTrain ? "1" : "0", text(service.line)});
}

feed::FeedRecord serviceStateRecord(const Service& service) {
    const auto next = service.stops.begin() + static_cast<std::ptrdiff_t>(service.ahead);
    return update(SERVICE_STATE, service.id,
                  {list(next, service.stops.end()), text(service.state), enumeratorName(service.state)});
}

feed::FeedRecord serviceStopRecord(const ServiceStop& stop) {
    return update(SERVICE_STOP, stop.id,
                  {text(stop.service), text(stop.tripStop), text(stop.start), text(stop.arrivalDelay),
                   text(stop.departureDelay)});
}

feed::FeedRecord vehicleRecord(const Vehicle& vehicle) {
    return update(VEHICLE, vehicle.id,
                  {vehicle.name, vehicle.abbreviation, text(vehicle.cars), list(vehicle.services)});
}

feed::FeedRecord vehicleStateRecord(const Vehicle& vehicle) {
    return update(VEHICLE_STATE, vehicle.id,
                  {vehicle.ascending ? "Y" : "N", vehicle.location, text(vehicle.state), enumeratorName(vehicle.state),
                   text(vehicle.currentService), text(vehicle.openingDoors), enumeratorName(vehicle.openingDoors),
                   text(vehicle.openedDoors), enumeratorName(vehicle.openedDoors)});
}

feed::FeedRecord deletionRecord(Element type, int id) {
    feed::FeedRecord record;
    record.kind = feed::FeedRecord::DELETION;
    record.type = type;
    record.id = id;
    return record;
}

void snapshot(const Railway& railway, const std::function<void(feed::FeedRecord)>& report) {
    const auto reportAll = [&report](const auto& table, auto recordOf) {
        for (const auto& row : table) report(recordOf(row.second));
    };
    report(snapshotMark(feed::FeedRecord::SNAPSHOT_BEGIN));
    reportAll(railway.lines, lineRecord);
    reportAll(railway.stations, stationRecord);
    reportAll(railway.platforms, platformRecord);
    reportAll(railway.trips, tripRecord);
    reportAll(railway.tripStops, tripStopRecord);
    reportAll(railway.vehicles, vehicleRecord);
    reportAll(railway.services, serviceRecord);
    reportAll(railway.serviceStops, serviceStopRecord);
    reportAll(railway.vehicles, vehicleStateRecord);
    reportAll(railway.services, serviceStateRecord);
    reportAll(railway.platforms, platformStateRecord);
    report(snapshotMark(feed::FeedRecord::SNAPSHOT_END));
}

}  // namespace railway

}  // namespace pis::simulator
