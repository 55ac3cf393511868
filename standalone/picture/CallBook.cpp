#include "picture/CallBook.h"

#include <algorithm>
#include <tuple>
#include <unordered_set>
#include <utility>

namespace pis::picture {

namespace {

/// More changes than these are not looked through: the service has just come up, or a snapshot went by.
constexpr std::size_t kManyChanges = 4096;

CallsAtStop callsAtStop(const Picture& picture, int tripStopId) {
    CallsAtStop at;
    const auto* stop = picture.record<TripStop>(tripStopId);
    if (stop == nullptr) return at;
    at.offset = secondsOf(stop->getSchDepOffset());
    for (const int id : idsUnder(picture.servicesOfTrip, stop->getTripId())) {
        const auto& service = *picture.record<Service>(id);
        const Service::State state = service.getState();
        if (state == Service::TERMINATED) continue;
        at.calls.push_back({id, 0, secondsOf(service.getStartTime()), 0, progressOf(state)});
    }
    if (at.calls.empty()) return at;

    for (const int id : idsUnder(picture.stopsOfTripStop, tripStopId)) {
        const auto& serviceStop = *picture.record<ServiceStop>(id);
        const auto call =
            std::lower_bound(at.calls.begin(), at.calls.end(), serviceStop.getServiceId(),
                             [](const CallsAtStop::One& one, int wanted) { return one.serviceId < wanted; });
        if (call == at.calls.end() || call->serviceId != serviceStop.getServiceId()) continue;
        if (call->serviceStopId != 0) continue;  // of two of one service the first counts
        call->serviceStopId = id;
        call->delay = secondsOf(serviceStop.getDepDelay());
    }
    return at;
}

/// Facts and trip stops that differ between two pictures, record by record.
class Differences {
public:
    Differences(const Picture& before, const Picture& after) : _before(before), _after(after) {}

    void add(records::Table table, int id) {
        facts.push_back(recordIn(table, id));
        records::forEachTable([&](auto of) {
            using Record = typename decltype(of)::Record;
            if (records::TraitsOf<Record>::kTable != table) return;
            addOthers(id, _before.record<Record>(id), _after.record<Record>(id));
        });
    }

    std::vector<Fact> facts;
    std::unordered_set<int> tripStops;  ///< Whose calls may be others.

private:
    template <typename Record>
    void addOthers(int /*id*/, const Record* /*before*/, const Record* /*after*/) {}

    void addOthers(int id, const Vehicle* before, const Vehicle* after) {
        if (!sameView<VehicleLabel>(before, after)) facts.push_back({FactKind::VEHICLE_LABEL, id});
    }
    void addOthers(int id, const PlatformInfo* before, const PlatformInfo* after) {
        if (!sameView<PlatformName>(before, after)) facts.push_back({FactKind::PLATFORM_NAME, id});
        addMoved(FactKind::PLATFORMS_OF_STATION, &PlatformInfo::getStationId, before, after);
    }
    void addOthers(int id, const TripStop* before, const TripStop* after) {
        tripStops.insert(id);
        addMoved(FactKind::TRIP_STOPS_AT_PLATFORM, &TripStop::getPlatformId, before, after);
        addMoved(FactKind::TRIP_STOPS_OF_TRIP, &TripStop::getTripId, before, after);
    }
    /// A stop that the trip has no more is among the changes itself.
    void addOthers(int /*id*/, const Service* before, const Service* after) {
        for (const Service* service : {before, after}) {
            if (service == nullptr) continue;
            const std::vector<int>& stops = idsUnder(_after.tripStopsOfTrip, service->getTripId());
            tripStops.insert(stops.begin(), stops.end());
        }
    }
    void addOthers(int /*id*/, const ServiceStop* before, const ServiceStop* after) {
        for (const ServiceStop* stop : {before, after}) {
            if (stop != nullptr) tripStops.insert(stop->getTripStopId());
        }
        addMoved(FactKind::STOPS_OF_SERVICE, &ServiceStop::getServiceId, before, after);
    }

    template <typename View, typename Record>
    static bool sameView(const Record* before, const Record* after) {
        if (before == nullptr || after == nullptr) return before == after;
        return View(*before) == View(*after);
    }

    /// The entries under which a record stood and stands, where these are two.
    template <typename Record, typename Owner>
    void addMoved(FactKind kind, int (Owner::*key)() const, const Record* before, const Record* after) {
        const int from = before != nullptr ? (before->*key)() : 0;
        const int to = after != nullptr ? (after->*key)() : 0;
        if (from == to) return;
        facts.push_back({kind, from});
        facts.push_back({kind, to});
    }

    const Picture& _before;
    const Picture& _after;
};

}  // namespace

bool CallsAtStop::One::operator==(const One& other) const {
    const auto members = [](const One& one) {
        return std::tie(one.serviceId, one.serviceStopId, one.startTime, one.delay, one.progress);
    };
    return members(*this) == members(other);
}

const CallsAtStop& CallBook::at(int tripStopId) {
    static const CallsAtStop none;
    const auto known = _stops.find(tripStopId);
    if (known != _stops.end()) return known->second;
    if (_picture->record<TripStop>(tripStopId) == nullptr) return none;
    return _stops.emplace(tripStopId, callsAtStop(*_picture, tripStopId)).first->second;
}

std::optional<std::vector<Fact>> CallBook::follow(std::shared_ptr<const Picture> next) {
    const std::shared_ptr<const Picture> before = std::exchange(_picture, std::move(next));
    const std::optional<Changes> changes = _picture->changesSince(before->revision);
    if (!changes || changes->latest.size() > kManyChanges) {
        _stops.clear();
        return std::nullopt;
    }
    Differences differences(*before, *_picture);
    for (const Change& change : changes->latest) differences.add(change.table, change.id);
    for (const int id : differences.tripStops) {
        const auto known = _stops.find(id);
        if (_picture->record<TripStop>(id) == nullptr) {
            _stops.erase(id);
        } else if (known != _stops.end()) {
            CallsAtStop now = callsAtStop(*_picture, id);
            if (now == known->second) continue;
            known->second = std::move(now);
        }
        differences.facts.push_back({FactKind::CALLS_AT_TRIP_STOP, id});
    }
    return std::move(differences.facts);
}

}  // namespace pis::picture
