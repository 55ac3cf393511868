#include "StoreTables.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "Measure.h"
#include "SignallingController.h"

using namespace SignallingCodes;

namespace {

// --- Members as they are stored: the getters would copy the texts.

// Protected ones can be named by a class that derives.
struct NamedIdMembers : NamedId {
    static constexpr auto kName = &NamedIdMembers::_name;
    static constexpr auto kAbrv = &NamedIdMembers::_abrv;
};
struct TripMembers : Trip {
    static constexpr auto kStops = &TripMembers::_stopsListAsString;
};
struct ServiceMembers : Service {
    static constexpr auto kFollowingStops = &ServiceMembers::_followingStopsListAsString;
    static constexpr auto kStateText = &ServiceMembers::_stateText;
};
struct PlatformMembers : PlatformInfo {
    static constexpr auto kLocation = &PlatformMembers::_location;
    static constexpr auto kStateText = &PlatformMembers::_stateText;
    static constexpr auto kPassers = &PlatformMembers::_passersListAsString;
};

// Private ones can be named in an explicit instantiation.
template <typename Tag, typename Tag::Member member>
struct Grant {
    friend constexpr typename Tag::Member granted(Tag) { return member; }
};
template <typename Record, int number>
struct TextTag {
    using Member = std::string Record::*;
};
using VehicleLocation = TextTag<Vehicle, 0>;
using VehicleStateText = TextTag<Vehicle, 1>;
using VehicleOpeningText = TextTag<Vehicle, 2>;
using VehicleOpenedText = TextTag<Vehicle, 3>;
using VehicleServices = TextTag<Vehicle, 4>;
using StationPlatforms = TextTag<Station, 0>;
constexpr VehicleLocation::Member granted(VehicleLocation);
constexpr VehicleStateText::Member granted(VehicleStateText);
constexpr VehicleOpeningText::Member granted(VehicleOpeningText);
constexpr VehicleOpenedText::Member granted(VehicleOpenedText);
constexpr VehicleServices::Member granted(VehicleServices);
constexpr StationPlatforms::Member granted(StationPlatforms);
template struct Grant<VehicleLocation, &Vehicle::_currentLocation>;
template struct Grant<VehicleStateText, &Vehicle::_stateText>;
template struct Grant<VehicleOpeningText, &Vehicle::_openingDoorsText>;
template struct Grant<VehicleOpenedText, &Vehicle::_openedDoorsText>;
template struct Grant<VehicleServices, &Vehicle::_servicesListAsString>;
template struct Grant<StationPlatforms, &Station::_platformsListAsString>;

// --- Fields against members

/// The fields of a list from its first on.
class FieldWalk {
public:
    explicit FieldWalk(const KEBlist& list) : _node(list.listTop) {}

    const char* next() {
        const char* text = *static_cast<const char* const*>(_node->dataPtr);
        _node = _node->nextNode;
        return text;
    }
    bool isText(const std::string& stored) { return std::strcmp(next(), stored.c_str()) == 0; }
    bool isNumber(int stored) { return std::atoi(next()) == stored; }
    bool isCount(unsigned long stored) { return static_cast<std::uint32_t>(std::atoi(next())) == stored; }
    bool isFlag(bool stored) { return (next()[0] == 'Y') == stored; }
    bool isNumberedFlag(bool stored) { return (std::atoi(next()) == 1) == stored; }

private:
    const KEBnode* _node;
};

bool same(FieldWalk fields, const Line& stored) {
    return fields.isText(stored.*NamedIdMembers::kName) && fields.isText(stored.*NamedIdMembers::kAbrv);
}

bool same(FieldWalk fields, const Vehicle& stored) {
    return fields.isText(stored.*NamedIdMembers::kName) && fields.isText(stored.*NamedIdMembers::kAbrv) &&
           fields.isNumber(stored.getNumCars()) && fields.isText(stored.*granted(VehicleServices()));
}

bool sameState(FieldWalk fields, const Vehicle& stored) {
    return fields.isFlag(stored.getDirection() == Vehicle::ASCENDING) &&
           fields.isText(stored.*granted(VehicleLocation())) && fields.isNumber(stored.getState()) &&
           fields.isText(stored.*granted(VehicleStateText())) && fields.isNumber(stored.getCurrentServiceId()) &&
           fields.isNumber(stored.getOpeningDoors()) && fields.isText(stored.*granted(VehicleOpeningText())) &&
           fields.isNumber(stored.getOpenedDoors()) && fields.isText(stored.*granted(VehicleOpenedText()));
}

bool same(FieldWalk fields, const Station& stored) {
    return fields.isText(stored.*NamedIdMembers::kName) && fields.isText(stored.*NamedIdMembers::kAbrv) &&
           fields.isFlag(stored.isMajor()) && fields.isText(stored.*granted(StationPlatforms()));
}

bool same(FieldWalk fields, const PlatformInfo& stored) {
    if (!fields.isNumber(stored.getStationId())) return false;
    fields.next();
    return fields.isText(stored.*NamedIdMembers::kName) && fields.isText(stored.*PlatformMembers::kLocation);
}

bool sameState(FieldWalk fields, const PlatformInfo& stored) {
    return fields.isNumber(stored.getState()) && fields.isText(stored.*PlatformMembers::kStateText) &&
           fields.isText(stored.*PlatformMembers::kPassers);
}

bool same(FieldWalk fields, const TripStop& stored) {
    return fields.isNumber(stored.getTripId()) && fields.isNumber(stored.getPlatformId()) &&
           fields.isFlag(stored.isStopping()) && fields.isCount(stored.getSchArvOffset()) &&
           fields.isCount(stored.getSchDepOffset());
}

bool same(FieldWalk fields, const Service& stored) {
    return fields.isNumber(stored.getTripId()) && fields.isCount(stored.getStartTime()) &&
           fields.isNumber(stored.getVehicleId()) && fields.isText(stored.*TripMembers::kStops) &&
           fields.isNumberedFlag(stored.getIsLoading()) && fields.isNumber(stored.getDestinationStationId()) &&
           fields.isNumberedFlag(stored.getIsLastTrain()) && fields.isNumber(stored.getLineId());
}

bool sameState(FieldWalk fields, const Service& stored) {
    return fields.isText(stored.*ServiceMembers::kFollowingStops) && fields.isNumber(stored.getState()) &&
           fields.isText(stored.*ServiceMembers::kStateText);
}

bool same(FieldWalk fields, const ServiceStop& stored) {
    return fields.isNumber(stored.getServiceId()) && fields.isNumber(stored.getTripStopId()) &&
           fields.isCount(stored.getServiceStartTime()) && fields.isCount(stored.getArvDelay()) &&
           fields.isCount(stored.getDepDelay());
}

// --- Loops

// std::find_if, since it came out faster than a loop written with for.

template <typename Record>
Record* find(std::vector<Record>& table, int id) {
    const auto found =
        std::find_if(table.begin(), table.end(), [id](const Record& record) { return record.getId() == id; });
    return found != table.end() ? &*found : nullptr;
}

template <typename Record>
Record* findLast(std::vector<Record>& table, int id) {
    const auto found =
        std::find_if(table.rbegin(), table.rend(), [id](const Record& record) { return record.getId() == id; });
    return found != table.rend() ? &*found : nullptr;
}

void post(Event code, int id, void* record) {
    addNewEventItem(static_cast<EventItem::EVENT_TYPE>(code), id, record);
}

template <typename Record>
using Comparison = bool (*)(FieldWalk, const Record&);

/// The update of a type without a gap; `code` 0 stands for none.
template <typename Record, Comparison<Record> same>
bool accept(std::vector<Record>& table, int id, const KEBlist& list, int code) {
    const Record record(id);
    keep(record);

    qxLocalMutex& lock = lockOf(gPassengerInformationServer);
    lock.enter();
    Record* stored = find(table, id);
    const bool unchanged = stored != nullptr && same(FieldWalk(list), *stored);
    if (code != 0) post(static_cast<Event>(code), id, stored);
    lock.leave();
    return unchanged;
}

/// The same with a gap for a look at the other table.
template <typename Record, typename Other>
bool acceptWithGap(std::vector<Record>& table, std::vector<Other>& others, int (Record::*otherId)() const, int id,
                   const KEBlist& list, int code) {
    const Record record(id);
    keep(record);

    qxLocalMutex& lock = lockOf(gPassengerInformationServer);
    lock.enter();
    Record* stored = find(table, id);
    const bool unchanged = stored != nullptr && same(FieldWalk(list), *stored);
    const int wanted = stored != nullptr ? (stored->*otherId)() : 0;
    lock.leave();

    lock.enter();
    keep(findLast(others, wanted));
    lock.leave();

    lock.enter();
    if (code != 0) post(static_cast<Event>(code), id, stored);
    lock.leave();
    return unchanged;
}

}  // namespace

bool acceptUnchangedByHand(int type, int id, const KEBlist& list) {
    PassengerInformationServer& store = gPassengerInformationServer;
    switch (type) {
        case LINE: return accept<Line, same>(linesOf(store), id, list, LINE_UPDATED);
        case VEHICLE: return accept<Vehicle, same>(vehiclesOf(store), id, list, VEHICLE_UPDATED);
        case STATION: return accept<Station, same>(stationsOf(store), id, list, STATION_UPDATED);
        case PLATFORM: return accept<PlatformInfo, same>(platformsOf(store), id, list, PLATFORM_UPDATED);
        case TRIP_STOP: return accept<TripStop, same>(tripStopsOf(store), id, list, 0);
        case VEHICLE_STATE: return accept<Vehicle, sameState>(vehiclesOf(store), id, list, VEHICLE_UPDATED);
        case PLATFORM_STATE: return accept<PlatformInfo, sameState>(platformsOf(store), id, list, PLATFORM_UPDATED);
        case SERVICE_STATE: return accept<Service, sameState>(servicesOf(store), id, list, SERVICE_UPDATED);
        case SERVICE:
            return acceptWithGap(servicesOf(store), tripsOf(store), &Service::getTripId, id, list, SERVICE_UPDATED);
        case SERVICE_STOP:
            return acceptWithGap(serviceStopsOf(store), tripStopsOf(store), &ServiceStop::getTripStopId, id, list, 0);
        default: std::abort();
    }
}
