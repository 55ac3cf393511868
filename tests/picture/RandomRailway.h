// A small railway at random: records of every kind come, change, move and go, most of them as a feed would have
// them and some as it should not. It has parts that name nothing of one another.
#ifndef TESTS_PICTURE_RANDOMRAILWAY_H
#define TESTS_PICTURE_RANDOMRAILWAY_H

#include <cstddef>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "SignallingCodes.h"
#include "picture/PictureBuilder.h"
#include "picture/ServiceClock.h"

namespace pis::picture {

/// Gives a whole number from 1 to `most`, each time another one.
using Chance = std::function<int(int most)>;

inline Chance chanceOf(unsigned seed) {
    return
        [random = std::mt19937(seed)](int most) mutable { return std::uniform_int_distribution<int>(1, most)(random); };
}

class RandomRailway {
public:
    static constexpr int kStations = 6;
    static constexpr int kPlatforms = 12;
    static constexpr int kLines = 3;
    static constexpr int kVehicles = 4;
    static constexpr int kTrips = 7;
    static constexpr int kStopsOfTrip = 6;
    static constexpr int kServices = 14;
    static constexpr int kNow = 36000;

    explicit RandomRailway(unsigned seed, std::size_t loggedChanges = PictureBuilder::kLoggedChanges)
        : RandomRailway(chanceOf(seed), loggedChanges) {}
    explicit RandomRailway(Chance chance, std::size_t loggedChanges = PictureBuilder::kLoggedChanges)
        : _chance(std::move(chance)),
          _builder(
              _published, [] { return base::WallTime(); }, loggedChanges) {
        _builder.feed().ready = true;
        _builder.feed().at = kNow;
    }

    /// One record of any kind in a part, whose ids are a thousand times its number higher.
    void change(int part = 0);

    /// The feed's status: seldom is nothing known, and time goes on.
    void changeFeed();

    void deleteAllTripStops() { _builder.acceptDeletion(SignallingCodes::TRIP_STOP, 0); }

    /// What the records and the feed's status go through, for those that are to come besides.
    PictureBuilder& builder() { return _builder; }

    std::shared_ptr<const Picture> publish() {
        _builder.publish();
        return _published.current();
    }

    const PublishedPicture& published() const { return _published; }
    int upTo(int most) { return _chance(most); }
    bool once(int in) { return upTo(in) == 1; }

private:
    static constexpr int kTripStops = kTrips * kStopsOfTrip;
    static constexpr int kServiceStops = kServices * kStopsOfTrip;

    /// The id of this part; 0 is nobody's.
    int own(int id) const { return id != 0 ? id + 1000 * _part : 0; }

    /// Mostly the one that belongs there, else any, some of which are none.
    int mostly(int usual, int most) { return once(8) ? upTo(most + 1) - 1 : usual; }
    static int tripOf(int serviceId) { return 1 + serviceId % kTrips; }
    std::string name(const char* kind, int id) {
        return std::string(kind) + " " + std::to_string(id) + (once(3) ? " \"é\n\xff" : "");
    }

    /// Ids from one on as a list string, seldom a bad one.
    std::string list(int first, int count) {
        if (once(12)) return once(2) ? "" : "1!x";
        std::string text;
        for (int i = 0; i < count; ++i) {
            text += std::to_string(own(once(25) ? upTo(kServiceStops) : first + i)) + (once(40) ? " ! " : "!");
        }
        if (!once(4) && !text.empty()) text.pop_back();
        return text;
    }

    template <typename Record>
    void post(int updated, const Record& record) {
        const bool goes = once(8);
        _builder.accept({goes ? updated + 1 : updated, record.getId(), record});
    }
    void stop(int type, int id, const std::vector<std::string>& texts) {
        if (once(8)) return _builder.acceptDeletion(type, own(id));
        feed::FeedRecord record;
        record.type = type;
        record.id = own(id);
        for (const std::string& text : texts) record.fields.append(text);
        _builder.acceptStop(record);
    }

    void changeTrip(int id);
    void changeService(int id);
    void changePlatform(int id);
    void changeVehicle(int id);

    int _part = 0;
    Chance _chance;
    PublishedPicture _published;
    PictureBuilder _builder;
};

inline void RandomRailway::changeTrip(int id) {
    Trip trip(own(id));
    trip.setName(name("Trip", id));
    trip.setLineId(own(upTo(kLines + 1)));
    trip.setPriority(static_cast<Trip::Priority>(upTo(4) - 1));
    trip.setStopsListAsString(list(1 + (id - 1) * kStopsOfTrip, kStopsOfTrip));
    post(SignallingCodes::TRIP_UPDATED, trip);
}

inline void RandomRailway::changeService(int id) {
    Service service(own(id), own(mostly(tripOf(id), kTrips)), kNow - 3000 + 60L * upTo(100));
    if (once(10)) service.setStartTime(static_cast<unsigned long>(kNow + 43200 * (upTo(4) - 2)));
    service.setState(static_cast<Service::State>(upTo(10) - 1));
    service.setStateText(name("state", upTo(3)));
    const int left = upTo(kStopsOfTrip + 1) - 1;
    service.setFollowingStopsListAsString(list(1 + id * kStopsOfTrip - left, left));
    service.setVehicleId(own(upTo(kVehicles + 1) - 1));
    service.setLineId(own(upTo(kLines + 2) - 1));
    service.setDestinationStationId(once(2) ? 0 : own(upTo(kStations + 1)));
    service.setIsLastTrain(once(4));
    post(SignallingCodes::SERVICE_UPDATED, service);
}

inline void RandomRailway::changePlatform(int id) {
    PlatformInfo platform(own(id));
    const int station = mostly(1 + id % kStations, kStations);
    platform.setName((once(2) ? "Station " : "Quay ") + std::to_string(station) + " " + std::to_string(id));
    platform.setStationId(own(station));
    platform.setState(static_cast<PlatformInfo::State>(upTo(6) - 1));
    platform.setStateText(name("state", upTo(3)));
    post(SignallingCodes::PLATFORM_UPDATED, platform);
}

inline void RandomRailway::changeVehicle(int id) {
    Vehicle vehicle(own(id));
    vehicle.setName(once(3) ? name("Vehicle", id) : "Vehicle");
    vehicle.setNumCars(once(3) ? upTo(8) : 4);
    vehicle.setCurrentLocation(std::to_string(upTo(1000)));
    post(SignallingCodes::VEHICLE_UPDATED, vehicle);
}

inline void RandomRailway::change(int part) {
    _part = part;
    const auto text = [](int number) { return std::to_string(number); };
    switch (upTo(12)) {
        case 1: {
            Line line(own(upTo(kLines)));
            line.setName(name("Line", line.getId()));
            line.setAbrv(name("L", upTo(2)));
            return post(SignallingCodes::LINE_UPDATED, line);
        }
        case 2: {
            Station station(own(upTo(kStations)));
            station.setName("Station " + text(station.getId() % 1000));
            station.setAbrv(name("S", upTo(2)));
            return post(SignallingCodes::STATION_UPDATED, station);
        }
        case 3: return changePlatform(upTo(kPlatforms));
        case 4: return changeVehicle(upTo(kVehicles));
        case 5: return changeTrip(upTo(kTrips));
        case 6:
        case 7:
        case 8: {
            const int id = upTo(kTripStops);
            const int place = (id - 1) % kStopsOfTrip;
            return stop(SignallingCodes::TRIP_STOP, id,
                        {text(own(mostly(1 + (id - 1) / kStopsOfTrip, kTrips))), text(own(upTo(kPlatforms + 1) - 1)),
                         once(5) ? "N" : "Y", text(180 * place), text(180 * place + 60 * upTo(3))});
        }
        case 9: return changeService(upTo(kServices));
        default: {
            const int id = upTo(kServiceStops);
            const int service = 1 + (id - 1) / kStopsOfTrip;
            const int tripStop = 1 + (tripOf(service) - 1) * kStopsOfTrip + (id - 1) % kStopsOfTrip;
            return stop(SignallingCodes::SERVICE_STOP, id,
                        {text(own(mostly(service, kServices))), text(own(mostly(tripStop, kTripStops))), "0",
                         text(60 * (upTo(8) - 3)), text(60 * (upTo(8) - 3))});
        }
    }
}

inline void RandomRailway::changeFeed() {
    _builder.feed().ready = !once(10);
    _builder.feed().at = kNow + 30 * upTo(20);
}

}  // namespace pis::picture

#endif
