// The plain store: field lists as the host sends them, one table after the other, the host calls in order.
#include "StoreModel.h"

#include <limits>
#include <sstream>
#include <tuple>

namespace model {
namespace {

// --- Fields -------------------------------------------------------------------------------------

/// The nth field where it can be used, else null.
const std::string* usable(const Fields& fields, std::size_t position) {
    if (position > fields.size() || !fields[position - 1]) return nullptr;
    const std::string& text = *fields[position - 1];
    return text.empty() || text == "(null)" ? nullptr : &text;
}

/// What a 32-bit host reads: blanks, a sign, digits; beyond 32 bits the nearest that there is.
std::int32_t number(const std::string& text) {
    const std::size_t blanks = text.find_first_not_of(" \t\n\v\f\r");
    std::size_t i = blanks == std::string::npos ? text.size() : blanks;
    const bool negative = i < text.size() && text[i] == '-';
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
    std::int64_t value = 0;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
        value = value * 10 + (text[i] - '0');
        if (value > 3000000000) value = 3000000000;
    }
    if (negative) value = -value;
    if (value > std::numeric_limits<std::int32_t>::max()) return std::numeric_limits<std::int32_t>::max();
    if (value < std::numeric_limits<std::int32_t>::min()) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}

void take(const Fields& fields, std::size_t position, std::string& into) {
    if (const std::string* text = usable(fields, position)) into = *text;
}
void take(const Fields& fields, std::size_t position, std::int32_t& into) {
    if (const std::string* text = usable(fields, position)) into = number(*text);
}
void take(const Fields& fields, std::size_t position, std::uint32_t& into) {
    if (const std::string* text = usable(fields, position)) into = static_cast<std::uint32_t>(number(*text));
}
void takeYes(const Fields& fields, std::size_t position, bool& into) {
    if (const std::string* text = usable(fields, position)) into = (*text)[0] == 'Y';
}
void takeOne(const Fields& fields, std::size_t position, bool& into) {
    if (const std::string* text = usable(fields, position)) into = number(*text) == 1;
}

// --- Records as text ----------------------------------------------------------------------------

class Text {
public:
    Text(const char* kind, std::int32_t id, const std::string& name, const std::string& abrv) {
        _out << kind << ' ' << id << " \"" << name << "\" \"" << abrv << '"';
    }
    template <typename Number>
    Text& number(const char* name, Number value) {
        _out << ' ' << name << '=' << value;
        return *this;
    }
    Text& text(const char* name, const std::string& value) {
        _out << ' ' << name << "=\"" << value << '"';
        return *this;
    }
    std::string done() const { return _out.str(); }

private:
    std::ostringstream _out;
};

std::string show(const Line& line) {
    return Text("line", line.id, line.name, line.abrv).done();
}

std::string show(const Vehicle& vehicle) {
    return Text("vehicle", vehicle.id, vehicle.name, vehicle.abrv)
        .number("cars", vehicle.cars)
        .text("location", vehicle.location)
        .number("direction", vehicle.direction)
        .number("state", vehicle.state)
        .text("stateText", vehicle.stateText)
        .number("service", vehicle.service)
        .number("opening", vehicle.opening)
        .text("openingText", vehicle.openingText)
        .number("opened", vehicle.opened)
        .text("openedText", vehicle.openedText)
        .text("services", vehicle.services)
        .done();
}

std::string show(const Station& station) {
    return Text("station", station.id, station.name, station.abrv)
        .number("major", station.major)
        .number("closed", 0)
        .text("platforms", station.platforms)
        .done();
}

std::string show(const Platform& platform) {
    return Text("platform", platform.id, platform.name, "")
        .number("station", platform.station)
        .text("location", platform.location)
        .number("state", platform.state)
        .text("stateText", platform.stateText)
        .text("passers", platform.passers)
        .done();
}

std::string show(const Trip& trip) {
    return Text("trip", trip.id, trip.name, "")
        .number("line", trip.line)
        .number("direction", trip.direction)
        .number("priority", trip.priority)
        .text("priorityText", trip.priorityText)
        .text("stops", trip.stops)
        .done();
}

std::string show(const TripStop& stop) {
    return Text("tripStop", stop.id, "", "")
        .number("trip", stop.trip)
        .number("platform", stop.platform)
        .number("stopping", stop.stopping)
        .number("arv", stop.arrival)
        .number("dep", stop.departure)
        .done();
}

std::string show(const Service& service) {
    return Text("service", service.id, service.name, "")
        .number("trip", service.trip)
        .number("start", service.start)
        .number("vehicle", service.vehicle)
        .text("following", service.following)
        .number("state", service.state)
        .text("stateText", service.stateText)
        .number("loading", service.loading)
        .number("destination", service.destination)
        .number("last", service.last)
        .number("line", service.line)
        .number("lineOfTripPart", 0)
        .number("serviceStops", 0)
        .number("direction", service.direction)
        .number("priority", service.priority)
        .text("priorityText", service.priorityText)
        .text("stops", service.stops)
        .done();
}

std::string show(const ServiceStop& stop) {
    return Text("serviceStop", stop.id, "", "")
        .number("trip", stop.trip)
        .number("platform", stop.platform)
        .number("stopping", stop.stopping)
        .number("arv", stop.arrival)
        .number("dep", stop.departure)
        .number("service", stop.service)
        .number("tripStop", stop.tripStop)
        .number("start", stop.start)
        .number("arvDelay", stop.arrivalDelay)
        .number("depDelay", stop.departureDelay)
        .done();
}

template <typename Record>
std::string show(const std::vector<Record>& table) {
    std::string text;
    for (const Record& record : table) text += show(record) + "\n";
    return text;
}

template <typename Record>
std::size_t find(const std::vector<Record>& table, std::int32_t id) {
    std::size_t index = 0;
    while (index < table.size() && table[index].id != id) ++index;
    return index;
}

}  // namespace

// --- What comes in ------------------------------------------------------------------------------

void StoreModel::update(int code, int id, const Fields* fields) {
    if (fields == nullptr || id == 0) return;
    switch (code) {
        case 2: updateLine(id, *fields); break;
        case 3: updateVehicle(id, *fields); break;
        case 4: updateStation(id, *fields); break;
        case 5: updatePlatform(id, *fields); break;
        case 6: updateTrip(id, *fields); break;
        case 7: updateTripStop(id, *fields); break;
        case 8: updateService(id, *fields); break;
        case 9: updateServiceStop(id, *fields); break;
        case 10: updateVehicleState(id, *fields); break;
        case 11: updatePlatformState(id, *fields); break;
        case 12: updateServiceState(id, *fields); break;
        case 13:
            if (id == 1) updateAutomaticMessages(*fields);
            break;
        case 98:
            if (id == 1) updateServerStatus(*fields);
            break;
        default: break;
    }
}

void StoreModel::remove(int code, int id) {
    const auto asked = [code](int table) { return code == 0 || code == table; };
    enter();
    if (asked(2)) removeFrom(_lines, id, "onLineRemoved", 27, "PI_STORAGE_ELEM_LINE lineId");
    if (asked(3)) removeFrom(_vehicles, id, "onVehicleRemoved", 29, "PI_STORAGE_ELEM_VEHICLE vehicleId");
    if (asked(4)) removeFrom(_stations, id, "onStationRemoved", 31, "PI_STORAGE_ELEM_STATION stationId");
    if (asked(5)) removeFrom(_platforms, id, "onPlatformInfoRemoved", 33, "PI_STORAGE_ELEM_PLATFORM platformId");
    if (asked(6)) removeFrom(_trips, id, "onTripRemoved", 37, "PI_STORAGE_ELEM_TRIP tripId");
    if (asked(7)) removeFrom(_tripStops, id, "", 0, "PI_STORAGE_ELEM_TRIP_STOP tripStopId");
    if (asked(8)) removeFrom(_services, id, "onServiceRemoved", 35, "PI_STORAGE_ELEM_SERVICE serviceId");
    if (asked(9)) removeFrom(_serviceStops, id, "", 0, "PI_STORAGE_ELEM_SERVICE_STOP serviceStopId");
    leave();
}

void StoreModel::registerObserver(const std::string& name) {
    for (const std::string& observer : _observers) {
        if (observer != name) continue;
        note("error 3 registerObserver: Observer already part of list. Not adding to list");
        return;
    }
    _observers.push_back(name);
    log(0, "registerObserver: Adding observer to list. Total Observers >" + std::to_string(_observers.size()) + "<");
}

// --- One element after the other ----------------------------------------------------------------

void StoreModel::updateLine(int id, const Fields& fields) {
    Line line{id};
    take(fields, 1, line.name);
    take(fields, 2, line.abrv);
    enter();
    const auto decoded = [](auto& of) { return std::tie(of.name, of.abrv); };
    const Place place = put(_lines, line, decoded, "updateLine: lineId", "updateLine: lineId", "Lines");
    report(_lines[place.index], place.changed, "onLineUpdated", 26);
    leave();
}

void StoreModel::updateVehicle(int id, const Fields& fields) {
    Vehicle vehicle{id};
    take(fields, 1, vehicle.name);
    take(fields, 2, vehicle.abrv);
    take(fields, 3, vehicle.cars);
    take(fields, 4, vehicle.services);
    enter();
    const auto decoded = [](auto& of) { return std::tie(of.name, of.abrv, of.cars, of.services); };
    const Place place =
        put(_vehicles, vehicle, decoded, "updateVehicle: vehicleId", "updateVehicle: vehicleId", "Vehicles");
    report(_vehicles[place.index], place.changed, "onVehicleUpdated", 28);
    leave();
}

void StoreModel::updateVehicleState(int id, const Fields& fields) {
    Vehicle vehicle{id};
    bool ascending = true;
    takeYes(fields, 1, ascending);
    vehicle.direction = ascending ? 1 : 0;
    take(fields, 2, vehicle.location);
    take(fields, 3, vehicle.state);
    take(fields, 4, vehicle.stateText);
    take(fields, 5, vehicle.service);
    take(fields, 6, vehicle.opening);
    take(fields, 7, vehicle.openingText);
    take(fields, 8, vehicle.opened);
    take(fields, 9, vehicle.openedText);
    enter();
    const auto decoded = [](auto& of) {
        return std::tie(of.direction, of.location, of.state, of.stateText, of.service, of.opening, of.openingText,
                        of.opened, of.openedText);
    };
    const Place place =
        put(_vehicles, vehicle, decoded, "updateVehicleState: vehicleId", "updateVehicleState: vehicleId", "Vehicles");
    report(_vehicles[place.index], place.changed, "onVehicleUpdated", 28);
    leave();
}

void StoreModel::updateStation(int id, const Fields& fields) {
    Station station{id};
    take(fields, 1, station.name);
    take(fields, 2, station.abrv);
    takeYes(fields, 3, station.major);
    take(fields, 4, station.platforms);
    enter();
    const auto decoded = [](auto& of) { return std::tie(of.name, of.abrv, of.major, of.platforms); };
    const Place place =
        put(_stations, station, decoded, "updateStation: stationId", "updateStation: stationId", "Stations");
    report(_stations[place.index], place.changed, "onStationUpdated", 30);
    leave();
}

void StoreModel::updatePlatform(int id, const Fields& fields) {
    Platform platform{id};
    take(fields, 1, platform.station);
    take(fields, 3, platform.name);
    take(fields, 4, platform.location);
    enter();
    const auto decoded = [](auto& of) { return std::tie(of.station, of.name, of.location); };
    const Place place = put(_platforms, platform, decoded, "PassengerInformationServer::updatePlatform(): platformId",
                            "updatePlatform: platformId", "Platforms");
    report(_platforms[place.index], place.changed, "onPlatformInfoUpdated", 32);
    leave();
}

void StoreModel::updatePlatformState(int id, const Fields& fields) {
    Platform platform{id};
    take(fields, 1, platform.state);
    take(fields, 2, platform.stateText);
    take(fields, 3, platform.passers);
    enter();
    const auto decoded = [](auto& of) { return std::tie(of.state, of.stateText, of.passers); };
    const Place place = put(_platforms, platform, decoded, "updatePlatformState: platformId",
                            "updatePlatformState: platformId", "Platforms");
    report(_platforms[place.index], place.changed, "onPlatformInfoUpdated", 32);
    leave();
}

void StoreModel::updateTrip(int id, const Fields& fields) {
    Trip trip{id};
    take(fields, 1, trip.name);
    take(fields, 2, trip.line);
    if (const std::string* direction = usable(fields, 3)) trip.direction = number(*direction) == 1 ? 1 : 0;
    take(fields, 4, trip.priority);
    take(fields, 5, trip.priorityText);
    take(fields, 6, trip.stops);
    enter();
    const auto decoded = [](auto& of) {
        return std::tie(of.name, of.line, of.direction, of.priority, of.priorityText, of.stops);
    };
    const Place place = put(_trips, trip, decoded, "updateTrip: tripId", "updateTrip: tripId", "Trips");
    copyInTheGap(_services);  // services are looked at, never changed
    if (place.index < _trips.size()) report(_trips[place.index], place.changed, "onTripUpdated", 36);
    leave();
}

void StoreModel::updateTripStop(int id, const Fields& fields) {
    TripStop stop{id};
    take(fields, 1, stop.trip);
    take(fields, 2, stop.platform);
    takeYes(fields, 3, stop.stopping);
    take(fields, 4, stop.arrival);
    take(fields, 5, stop.departure);
    enter();
    const auto decoded = [](auto& of) { return std::tie(of.trip, of.platform, of.stopping, of.arrival, of.departure); };
    put(_tripStops, stop, decoded, "updateTripStop: tripStopId", "updateTripStop: tripStopId", "TripStops");
    leave();
}

void StoreModel::updateService(int id, const Fields& fields) {
    Service service{id};
    take(fields, 1, service.trip);
    take(fields, 2, service.start);
    take(fields, 3, service.vehicle);
    take(fields, 4, service.stops);
    takeOne(fields, 5, service.loading);
    take(fields, 6, service.destination);
    takeOne(fields, 7, service.last);
    take(fields, 8, service.line);
    enter();
    const auto decoded = [](auto& of) {
        return std::tie(of.trip, of.start, of.vehicle, of.stops, of.loading, of.destination, of.last, of.line);
    };
    const Place place =
        put(_services, service, decoded, "updateService: serviceId", "updateService: serviceId", "Services");
    std::vector<Trip> trips;
    std::int32_t lookedUp = service.trip;
    while (true) {
        trips = copyInTheGap(_trips);
        if (place.index >= _services.size() || _services[place.index].trip == lookedUp) break;
        lookedUp = _services[place.index].trip;
    }
    if (place.index < _services.size()) {
        Service& stored = _services[place.index];
        for (const Trip& trip : trips) {
            if (trip.id != stored.trip) continue;
            stored.name = trip.name;
            stored.line = trip.line;
            stored.direction = trip.direction;
            stored.priority = trip.priority;
            stored.priorityText = trip.priorityText;
            stored.stops = trip.stops;
        }
        report(stored, place.changed, "onServiceUpdated", 34);
    }
    leave();
}

void StoreModel::updateServiceState(int id, const Fields& fields) {
    Service service{id};
    take(fields, 1, service.following);
    take(fields, 2, service.state);
    take(fields, 3, service.stateText);
    enter();
    const auto decoded = [](auto& of) { return std::tie(of.following, of.state, of.stateText); };
    const Place place =
        put(_services, service, decoded, "updateServiceState: serviceId", "updateServiceState: serviceId", "Services");
    report(_services[place.index], place.changed, "onServiceUpdated", 34);
    leave();
}

void StoreModel::updateServiceStop(int id, const Fields& fields) {
    ServiceStop stop{id};
    take(fields, 1, stop.service);
    take(fields, 2, stop.tripStop);
    take(fields, 3, stop.start);
    take(fields, 4, stop.arrivalDelay);
    take(fields, 5, stop.departureDelay);
    enter();
    const auto decoded = [](auto& of) {
        return std::tie(of.service, of.tripStop, of.start, of.arrivalDelay, of.departureDelay);
    };
    const Place place = put(_serviceStops, stop, decoded, "updateServiceStop: tripStopId",
                            "updateServiceStop: tripStopId", "TripStops");
    const std::vector<TripStop> tripStops = copyInTheGap(_tripStops);
    if (place.index < _serviceStops.size()) {
        ServiceStop& stored = _serviceStops[place.index];
        for (const TripStop& tripStop : tripStops) {
            if (tripStop.id != stop.tripStop) continue;
            stored.trip = tripStop.trip;
            stored.platform = tripStop.platform;
            stored.stopping = tripStop.stopping;
            stored.arrival = tripStop.arrival;
            stored.departure = tripStop.departure;
        }
    }
    leave();
}

void StoreModel::updateServerStatus(const Fields& fields) {
    const std::string* status = usable(fields, 3);
    if (status == nullptr) return;
    _online = number(*status) == 1;
    post(_online ? 24 : 25, 0, false);
    tell(_online ? "onServerStatusUpdated true" : "onServerStatusUpdated false");
}

void StoreModel::updateAutomaticMessages(const Fields& fields) {
    takeYes(fields, 1, _automaticMessages);
}

// --- What they share ----------------------------------------------------------------------------

template <typename Record, typename Decoded>
StoreModel::Place StoreModel::put(std::vector<Record>& table, const Record& record, Decoded decoded,
                                  const std::string& updatedText, const std::string& addedText,
                                  const std::string& total) {
    const std::string id = " >" + std::to_string(record.id) + "<";
    const std::size_t index = find(table, record.id);
    if (index == table.size()) {
        table.push_back(record);
        log(2, addedText + id + " added to list. Total " + total + " >" + std::to_string(table.size()) + "<");
        return {index, true};
    }
    if (decoded(table[index]) == decoded(record)) return {index, false};
    decoded(table[index]) = decoded(record);
    log(2, updatedText + id + " updated");
    return {index, true};
}

template <typename Record>
void StoreModel::report(const Record& record, bool changed, const char* operation, int event) {
    if (changed) tell(std::string(operation) + " " + show(record));
    post(event, record.id, true);
}

template <typename Record>
void StoreModel::removeFrom(std::vector<Record>& table, int id, const std::string& operation, int event,
                            const std::string& logText) {
    for (std::size_t index = 0; index < table.size();) {
        const Record record = table[index];
        if (id != 0 && record.id != id) {
            ++index;
            continue;
        }
        if (!operation.empty()) {
            tell(operation + " " + show(record));
            post(event, record.id, true);
        }
        log(1, "deletePassengerInformation: " + logText + " >" + std::to_string(record.id) + "< deleted");
        table.erase(table.begin() + static_cast<std::ptrdiff_t>(index));
    }
}

template <typename Record>
std::vector<Record> StoreModel::copyInTheGap(const std::vector<Record>& table) {
    leave();
    enter();
    std::vector<Record> copy = table;
    leave();
    enter();
    return copy;
}

// --- Host calls ---------------------------------------------------------------------------------

void StoreModel::atLeave(int nth, std::function<void()> action) {
    _leavesToCome = nth;
    _atLeave = std::move(action);
}

void StoreModel::enter() {
    note("enter");
}

void StoreModel::leave() {
    note("leave");
    if (!_atLeave || --_leavesToCome > 0) return;
    const std::function<void()> action = std::exchange(_atLeave, nullptr);
    action();
}

void StoreModel::log(int level, const std::string& text) {
    if (debugLevel >= level) note("debug " + std::to_string(level) + " " + text);
}

void StoreModel::tell(const std::string& what) {
    for (const std::string& observer : _observers) note(observer + " " + what);
}

void StoreModel::post(int code, int id, bool withRecord) {
    note("event " + std::to_string(code) + " " + std::to_string(id) + (withRecord ? "" : " null"));
}

void StoreModel::note(const std::string& line) {
    _transcript += line + "\n";
}

std::string StoreModel::takeTranscript() {
    return std::exchange(_transcript, std::string());
}

std::string StoreModel::tables() const {
    return show(_lines) + show(_vehicles) + show(_stations) + show(_platforms) + show(_trips) + show(_tripStops) +
           show(_services) + show(_serviceStops);
}

}  // namespace model
