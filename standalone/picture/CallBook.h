// The calls at every trip stop, put together from the tables when they are first asked for and kept from picture to
// picture until a record changes that they come from.
#ifndef PIS_PICTURE_CALLBOOK_H
#define PIS_PICTURE_CALLBOOK_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "picture/Picture.h"
#include "picture/Reads.h"
#include "records/Members.h"

namespace pis::picture {

using records::secondsOf;

/// How far a service has come, as far as that decides whether its calls lie ahead.
enum class Progress : std::uint8_t { NOT_BEGUN, BEGUN, CANCELLED };

/// A state without a name is one of a train that runs.
inline Progress progressOf(Service::State state) {
    if (state == Service::CANCELLED) return Progress::CANCELLED;
    return state >= Service::RUNNING ? Progress::BEGUN : Progress::NOT_BEGUN;
}

/// The calls at one trip stop of the services that run its trip and have not terminated, in the order of their ids.
struct CallsAtStop {
    struct One {
        int serviceId;
        int serviceStopId;       ///< 0 where it has not come.
        std::int32_t startTime;  ///< As the service says it.
        std::int32_t delay;      ///< Of the departure; 0 where the service stop has not come.
        Progress progress;

        bool operator==(const One& other) const;
    };

    std::int32_t offset = 0;  ///< Of the scheduled departure.
    std::vector<One> calls;

    bool operator==(const CallsAtStop& other) const { return offset == other.offset && calls == other.calls; }
};

/// What other stations' boards say of a platform: neither its state nor who stops there.
class PlatformName {
public:
    explicit PlatformName(const PlatformInfo& platform) : _platform(&platform) {}

    std::string name() const { return _platform->getName(); }
    int stationId() const { return _platform->getStationId(); }
    bool operator==(const PlatformName& other) const {
        return stationId() == other.stationId() && name() == other.name();
    }

private:
    const PlatformInfo* _platform;
};

/// What boards say of a vehicle, wherever it is.
class VehicleLabel {
public:
    explicit VehicleLabel(const Vehicle& vehicle) : _vehicle(&vehicle) {}

    std::string name() const { return _vehicle->getName(); }
    int cars() const { return _vehicle->getNumCars(); }
    bool operator==(const VehicleLabel& other) const { return cars() == other.cars() && name() == other.name(); }

private:
    const Vehicle* _vehicle;
};

/// Follows the pictures one after another, and holds the latest. Its memory is bounded by the picture's trip stops and
/// services.
/// [Threading] For one thread.
class CallBook {
public:
    explicit CallBook(std::shared_ptr<const Picture> picture) : _picture(std::move(picture)) {}

    const Picture& picture() const { return *_picture; }

    /// Goes on to a later picture.
    /// @returns every fact that is another one there, or nothing where that cannot be told: then any may be.
    std::optional<std::vector<Fact>> follow(std::shared_ptr<const Picture> next);

    /// Of the picture; none where the trip stop is not held. Valid until follow().
    const CallsAtStop& at(int tripStopId);

private:
    std::shared_ptr<const Picture> _picture;
    std::unordered_map<int, CallsAtStop> _stops;
};

/// Reads the picture of a book and notes what was read: whatever is read by another way is not noted. What it gives
/// is valid until the book follows another picture.
class PictureReader {
public:
    PictureReader(CallBook& book, Reads& reads) : _book(book), _reads(reads) {}

    /// Null where there is none.
    template <typename Record>
    const Record* record(int id) {
        _reads.note(recordIn(records::TraitsOf<Record>::kTable, id));
        return _book.picture().record<Record>(id);
    }

    std::optional<PlatformName> platformName(int id) {
        _reads.note({FactKind::PLATFORM_NAME, id});
        const auto* platform = _book.picture().record<PlatformInfo>(id);
        return platform != nullptr ? std::optional(PlatformName(*platform)) : std::nullopt;
    }
    std::optional<VehicleLabel> vehicle(int id) {
        _reads.note({FactKind::VEHICLE_LABEL, id});
        const auto* vehicle = _book.picture().record<Vehicle>(id);
        return vehicle != nullptr ? std::optional(VehicleLabel(*vehicle)) : std::nullopt;
    }

    const std::vector<int>& platformsOfStation(int id) {
        return entry(FactKind::PLATFORMS_OF_STATION, _book.picture().platformsOfStation, id);
    }
    const std::vector<int>& tripStopsAtPlatform(int id) {
        return entry(FactKind::TRIP_STOPS_AT_PLATFORM, _book.picture().tripStopsAtPlatform, id);
    }
    const std::vector<int>& tripStopsOfTrip(int id) {
        return entry(FactKind::TRIP_STOPS_OF_TRIP, _book.picture().tripStopsOfTrip, id);
    }
    const std::vector<int>& stopsOfService(int id) {
        return entry(FactKind::STOPS_OF_SERVICE, _book.picture().stopsOfService, id);
    }

    const CallsAtStop& callsAt(int tripStopId) {
        _reads.note({FactKind::CALLS_AT_TRIP_STOP, tripStopId});
        return _book.at(tripStopId);
    }

private:
    const std::vector<int>& entry(FactKind kind, const PersistentMap<int, Ids>& index, int id) {
        _reads.note({kind, id});
        return idsUnder(index, id);
    }

    CallBook& _book;
    Reads& _reads;
};

}  // namespace pis::picture

#endif
