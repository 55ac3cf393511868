#include "Describe.h"

#include <sstream>

#include "StoreAccess.h"

namespace {

/// Collects "name=value" items behind a record's id and names.
class Description {
public:
    Description(const char* kind, const NamedId& record) {
        _text << kind << ' ' << record.getId() << " \"" << record.getName() << "\" \"" << record.getAbrv() << '"';
    }
    Description& add(const char* name, long long value) {
        _text << ' ' << name << '=' << value;
        return *this;
    }
    Description& add(const char* name, const std::string& value) {
        _text << ' ' << name << "=\"" << value << '"';
        return *this;
    }
    std::string text() const { return _text.str(); }

private:
    std::ostringstream _text;
};

void addTripStop(Description& to, const TripStop& stop) {
    to.add("trip", stop.getTripId())
        .add("platform", stop.getPlatformId())
        .add("stopping", stop.isStopping())
        .add("arv", static_cast<long long>(stop.getSchArvOffset()))
        .add("dep", static_cast<long long>(stop.getSchDepOffset()));
}

void addTrip(Description& to, const Trip& trip) {
    to.add("direction", trip.getDirection())
        .add("priority", trip.getPriority())
        .add("priorityText", trip.getPriorityText())
        .add("stops", trip.getStopsListAsString());
}

}  // namespace

std::string describe(const Line& line) {
    return Description("line", line).text();
}

std::string describe(const TripStop& stop) {
    Description description("tripStop", stop);
    addTripStop(description, stop);
    return description.text();
}

std::string describe(const ServiceStop& stop) {
    Description description("serviceStop", stop);
    addTripStop(description, stop);
    return description.add("service", stop.getServiceId())
        .add("tripStop", stop.getTripStopId())
        .add("start", static_cast<long long>(stop.getServiceStartTime()))
        .add("arvDelay", static_cast<long long>(stop.getArvDelay()))
        .add("depDelay", static_cast<long long>(stop.getDepDelay()))
        .text();
}

std::string describe(const Trip& trip) {
    Description description("trip", trip);
    description.add("line", trip.getLineId());
    addTrip(description, trip);
    return description.text();
}

std::string describe(const Service& service) {
    Description description("service", service);
    description.add("trip", service.getTripId())
        .add("start", static_cast<long long>(service.getStartTime()))
        .add("vehicle", service.getVehicleId())
        .add("following", service.getFollowingStopsListAsString())
        .add("state", service.getState())
        .add("stateText", service.getStateText())
        .add("loading", service.getIsLoading())
        .add("destination", service.getDestinationStationId())
        .add("last", service.getIsLastTrain())
        .add("line", service.getLineId())
        .add("lineOfTripPart", service.Trip::getLineId())
        .add("serviceStops", static_cast<long long>(service.getServiceStops().size()));
    addTrip(description, service);
    return description.text();
}

std::string describe(const Vehicle& vehicle) {
    return Description("vehicle", vehicle)
        .add("cars", vehicle.getNumCars())
        .add("location", vehicle.getCurrentLocation())
        .add("direction", vehicle.getDirection())
        .add("state", vehicle.getState())
        .add("stateText", vehicle.getStateText())
        .add("service", vehicle.getCurrentServiceId())
        .add("opening", vehicle.getOpeningDoors())
        .add("openingText", vehicle.getOpeningDoorsText())
        .add("opened", vehicle.getOpenedDoors())
        .add("openedText", vehicle.getOpenedDoorsText())
        .add("services", vehicle.getServicesListAsString())
        .text();
}

std::string describe(const Station& station) {
    return Description("station", station)
        .add("major", station.isMajor())
        .add("closed", station.isClosed())
        .add("platforms", station.getPlatformsListAsString())
        .text();
}

std::string describe(const PlatformInfo& platform) {
    return Description("platform", platform)
        .add("station", platform.getStationId())
        .add("location", platform.getLocation())
        .add("state", platform.getState())
        .add("stateText", platform.getStateText())
        .add("passers", platform.getPassersListAsString())
        .text();
}

std::string describe(PassengerInformationServer& store) {
    return describe(linesOf(store)) + describe(vehiclesOf(store)) + describe(stationsOf(store)) +
           describe(platformsOf(store)) + describe(tripsOf(store)) + describe(tripStopsOf(store)) +
           describe(servicesOf(store)) + describe(serviceStopsOf(store));
}
