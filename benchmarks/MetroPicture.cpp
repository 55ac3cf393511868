#include "MetroPicture.h"

#include <algorithm>
#include <array>
#include <string>

#include "SignallingCodes.h"

using namespace SignallingCodes;

namespace {

constexpr int kSecondsToNext = 120;

/// Ids "7!8!9".
std::string listOf(int first, int count) {
    std::string list;
    for (int i = 0; i < count; ++i) list += (i == 0 ? "" : "!") + std::to_string(first + i);
    return list;
}

}  // namespace

MetroPicture::MetroPicture() {
    _builder.feed().ready = true;
    setTime(kNow);
    addStations();
    for (int trip = 1; trip <= kTrips; ++trip) addTrip(trip);
    for (int service = 1; service <= kServices; ++service) {
        changeVehicle(service);
        changeService(service, nextPlaceOf(service));
        for (int place = 0; place < kStopsOfTrip; ++place) changeDelay(service, place, service % 3 * 60);
    }
    _builder.publish();
}

/// The middle's come first.
int MetroPicture::stationAt(int line, int place) {
    const int inMiddle = place - kFirstInMiddle;
    if (inMiddle >= 0 && inMiddle < kInMiddle) return 1 + (line + 2 * inMiddle) % kMiddle;
    const int own = inMiddle < 0 ? place : place - kInMiddle;
    return 1 + kMiddle + line * (kStopsOfTrip - kInMiddle) + own;
}

/// Where a service is at eight, from before its first stop to behind its last one.
int MetroPicture::nextPlaceOf(int service) {
    return std::clamp((kNow - startOf(service) + kSecondsToNext - 1) / kSecondsToNext, 0, kStopsOfTrip);
}

void MetroPicture::addStations() {
    for (int line = 0; line < kLines; ++line) {
        Line record(line + 1);
        record.setName("Line " + std::to_string(line + 1));
        record.setAbrv(std::to_string(line + 1));
        _builder.accept({LINE_UPDATED, record.getId(), record});
        for (int place = 0; place < kStopsOfTrip; ++place) {
            const int id = stationAt(line, place);
            Station station(id);
            station.setName("Östermole Street and Quay " + std::to_string(id));
            station.setAbrv("ÖS" + std::to_string(id));
            _builder.accept({STATION_UPDATED, id, station});
            for (const bool backwards : {false, true}) changePlatform(line, place, backwards, 0);
        }
    }
}

void MetroPicture::addTrip(int id) {
    const int line = lineOf(id);
    const int firstStop = 1 + (id - 1) * kStopsOfTrip;
    Trip trip(id);
    trip.setName("Line " + std::to_string(line + 1) + " to the end of the line");
    trip.setLineId(line + 1);
    trip.setStopsListAsString(listOf(firstStop, kStopsOfTrip));
    _builder.accept({TRIP_UPDATED, id, trip});
    for (int place = 0; place < kStopsOfTrip; ++place) {
        const int platform = platformAt(line, isBackwards(id) ? kStopsOfTrip - 1 - place : place, isBackwards(id));
        const int offset = kSecondsToNext * place;
        acceptStop(TRIP_STOP, firstStop + place, {id, platform, 1, offset, offset + 30});
    }
}

void MetroPicture::changePlatform(int line, int place, bool backwards, int state) {
    const int id = platformAt(line, place, backwards);
    const int station = stationAt(line, place);
    PlatformInfo platform(id);
    platform.setName("Östermole Street and Quay " + std::to_string(station) + " " + std::to_string(id));
    platform.setStationId(station);
    platform.setState(static_cast<PlatformInfo::State>(state));
    _builder.accept({PLATFORM_UPDATED, id, platform});
}

void MetroPicture::changeService(int id, int nextPlace) {
    Service service(id, tripOf(id), startOf(id));
    service.setLineId(1 + lineOf(tripOf(id)));
    service.setVehicleId(id);
    const bool waits = startOf(id) > kNow;
    service.setState(waits                       ? Service::NOT_STARTED
                     : nextPlace == kStopsOfTrip ? Service::TERMINATED
                                                 : static_cast<Service::State>(1 + _records % 6));
    service.setStateText("state " + std::to_string(service.getState()));
    service.setFollowingStopsListAsString(listOf(1 + (id - 1) * kStopsOfTrip + nextPlace, kStopsOfTrip - nextPlace));
    _builder.accept({SERVICE_UPDATED, id, service});
}

void MetroPicture::changeVehicle(int id) {
    Vehicle vehicle(id);
    vehicle.setName("Train " + std::to_string(id));
    vehicle.setNumCars(8);
    vehicle.setCurrentServiceId(id);
    vehicle.setCurrentLocation("T" + std::to_string(_records));
    _builder.accept({VEHICLE_UPDATED, id, vehicle});
}

void MetroPicture::changeDelay(int service, int place, int delay) {
    const int id = 1 + (service - 1) * kStopsOfTrip + place;
    const int tripStop = 1 + (tripOf(service) - 1) * kStopsOfTrip + place;
    acceptStop(SERVICE_STOP, id, {service, tripStop, startOf(service), delay, delay});
}

void MetroPicture::acceptStop(int type, int id, const std::vector<int>& numbers) {
    pis::feed::FeedRecord record;
    record.type = type;
    record.id = id;
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const bool isFlag = type == TRIP_STOP && i == 2;
        record.fields.append(isFlag ? "Y" : std::to_string(numbers[i]));
    }
    _builder.acceptStop(record);
}

/// The trains that run go round, so that records fall on all lines and all places alike.
void MetroPicture::publishRecord() {
    const auto runs = [](int service) { return startOf(service) <= kNow && nextPlaceOf(service) < kStopsOfTrip; };
    ++_records;
    int service = 1 + static_cast<int>((_records * 7919L) % kServices);
    while (!runs(service)) service = 1 + service % kServices;
    const int place = nextPlaceOf(service);
    const int line = lineOf(tripOf(service));
    const bool backwards = isBackwards(tripOf(service));
    if (_records % 10 == 0) {
        changeDelay(service, place, _records % 600);
    } else if (_records % 3 == 0) {
        changePlatform(line, backwards ? kStopsOfTrip - 1 - place : place, backwards, _records % 5);
    } else if (_records % 3 == 1) {
        changeService(service, std::min(place + _records % 2, kStopsOfTrip - 1));
    } else {
        changeVehicle(service);
    }
    _builder.publish();
}
