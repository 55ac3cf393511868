#include "picture/NextCalls.h"

#include <algorithm>
#include <string_view>
#include <tuple>

#include "base/Numbers.h"
#include "base/Text.h"

namespace pis::picture {

namespace {

/// A train that never ran is not kept for ever.
constexpr double kNeverRan = 30 * 60;

/// A train under way of which nobody says where it is may be this late.
constexpr double kRunsUnseen = 5 * 60;

/// A cancelled train stays for those who come for it.
constexpr double kStaysCancelled = 5 * 60;

/// The nth next departure is read as this order of calls.
auto orderOf(const Call& call) {
    const std::int64_t leaves = call.run->isCancelled() ? call.scheduled : call.expected();
    return std::make_tuple(leaves, call.scheduled, call.run->service->getId(), call.stop->getId());
}

void add(Pattern& pattern, int id, const TripStop* record) {
    if (pattern.places.emplace(id, pattern.stops.size()).second) pattern.stops.push_back({id, record});
}

/// A state without a name is one of a train that runs.
bool hasBegun(Service::State state) {
    return state >= Service::RUNNING && state != Service::CANCELLED;
}

bool standsAtPlatform(Service::State state) {
    return state == Service::IN_STATION || state == Service::BOARDING || state == Service::DEPARTING_STATION;
}

}  // namespace

std::vector<int> idsOf(const std::string& list) {
    std::vector<int> ids;
    std::string_view rest = list;
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('!'), rest.size());
        const std::string_view item = base::trimmed(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        if (item.empty()) continue;
        const int id = base::numberIn<int>(item).value_or(0);
        if (id == 0) return {};
        ids.push_back(id);
    }
    return ids;
}

const ServiceStop* Run::stopAt(int tripStopId) const {
    const auto found = stops.find(tripStopId);
    return found != stops.end() ? found->second : nullptr;
}

bool Call::isAtPlatform() const {
    if (!standsAtPlatform(run->service->getState())) return false;
    return serviceStop != nullptr ? run->next == serviceStop->getId() : placeOfNext() == place;
}

std::optional<bool> Call::isListed() const {
    const std::vector<int>& following = run->following;
    if (following.empty()) return std::nullopt;
    if (serviceStop != nullptr) return std::binary_search(following.begin(), following.end(), serviceStop->getId());
    const std::optional<std::size_t> next = placeOfNext();
    return next ? std::optional(place >= *next) : std::nullopt;
}

/// Where the stops still ahead begin in the pattern, counted back from the first one listed that is held.
std::optional<std::size_t> Call::placeOfNext() const {
    const auto held = pattern->places.find(run->firstHeld);
    if (held == pattern->places.end() || held->second < run->beforeFirstHeld) return std::nullopt;
    return held->second - run->beforeFirstHeld;
}

std::vector<Call> NextCalls::at(const std::vector<int>& platforms) {
    std::vector<Call> calls;
    for (const int platformId : platforms) {
        const auto* platform = _picture.record<PlatformInfo>(platformId);
        if (platform == nullptr) continue;
        for (const int stopId : idsUnder(_picture.tripStopsAtPlatform, platformId)) {
            addCalls(*_picture.record<TripStop>(stopId), *platform, calls);
        }
    }
    std::sort(calls.begin(), calls.end(), [](const Call& a, const Call& b) { return orderOf(a) < orderOf(b); });
    return calls;
}

void NextCalls::addCalls(const TripStop& stop, const PlatformInfo& platform, std::vector<Call>& calls) {
    const std::vector<int>& services = idsUnder(_picture.servicesOfTrip, stop.getTripId());
    if (services.empty()) return;
    const Pattern& pattern = patternWith(stop);
    for (const int serviceId : services) {
        const Run& run = runOf(*_picture.record<Service>(serviceId));
        const ServiceStop* serviceStop = run.stopAt(stop.getId());
        const Call call{&run,
                        &pattern,
                        pattern.places.at(stop.getId()),
                        &stop,
                        serviceStop,
                        &platform,
                        run.start + secondsOf(stop.getSchDepOffset()),
                        serviceStop != nullptr ? secondsOf(serviceStop->getDepDelay()) : 0};
        if (isAhead(call) && isDeparture(call)) calls.push_back(call);
    }
}

/// What the feed says of a train counts for more than the time: one that runs stays until it has left. Where it
/// does not say what lies ahead, time decides.
bool NextCalls::isAhead(const Call& call) const {
    const Service::State state = call.run->service->getState();
    if (state == Service::TERMINATED) return false;
    const double now = _now.seconds();
    if (state == Service::CANCELLED) return now <= static_cast<double>(call.scheduled) + kStaysCancelled;

    const std::optional<bool> listed = call.isListed();
    if (listed == false) return false;
    if (!hasBegun(state)) return now <= static_cast<double>(call.expected()) + kNeverRan;
    return listed || now <= static_cast<double>(call.expected()) + kRunsUnseen;
}

bool NextCalls::isDeparture(const Call& call) {
    const bool begins = call.place == 0;
    const bool ends = call.place + 1 == call.pattern->stops.size();
    return !ends && (!begins || call.stop->isStopping());
}

/// The pattern of the stop's trip, by the trip's list of stops; where the trip does not name this stop, by
/// the times.
const Pattern& NextCalls::patternWith(const TripStop& stop) {
    const int tripId = stop.getTripId();
    const auto [listed, isNew] = _listed.try_emplace(tripId);
    if (isNew) listed->second = listedPattern(tripId);
    if (listed->second.places.count(stop.getId()) != 0) return listed->second;

    const auto [timed, isFirst] = _timed.try_emplace(tripId);
    if (isFirst) timed->second = timedPattern(tripId);
    return timed->second;
}

Pattern NextCalls::listedPattern(int tripId) const {
    Pattern pattern;
    const auto* trip = _picture.record<Trip>(tripId);
    if (trip == nullptr) return pattern;
    for (const int id : idsOf(trip->getStopsListAsString())) add(pattern, id, _picture.record<TripStop>(id));
    return pattern;
}

Pattern NextCalls::timedPattern(int tripId) const {
    std::vector<const TripStop*> stops;
    for (const int id : idsUnder(_picture.tripStopsOfTrip, tripId)) stops.push_back(_picture.record<TripStop>(id));
    const auto timeOf = [](const TripStop* stop) {
        return std::make_tuple(secondsOf(stop->getSchDepOffset()), secondsOf(stop->getSchArvOffset()), stop->getId());
    };
    std::sort(stops.begin(), stops.end(),
              [&timeOf](const TripStop* a, const TripStop* b) { return timeOf(a) < timeOf(b); });
    Pattern pattern;
    for (const TripStop* stop : stops) add(pattern, stop->getId(), stop);
    return pattern;
}

const Run& NextCalls::runOf(const Service& service) {
    const auto [place, isNew] = _runs.try_emplace(service.getId());
    Run& run = place->second;
    if (!isNew) return run;
    run.service = &service;
    run.trip = _picture.record<Trip>(service.getTripId());
    if (run.trip == nullptr) run.trip = &service;
    for (const int id : idsUnder(_picture.stopsOfService, service.getId())) {
        const auto* stop = _picture.record<ServiceStop>(id);
        run.stops.emplace(stop->getTripStopId(), stop);
    }
    run.start = secondsOf(service.getStartTime());
    run.start += _now.shiftOf(run.start, hasBegun(service.getState()));
    run.following = idsOf(service.getFollowingStopsListAsString());
    if (!run.following.empty()) run.next = run.following.front();
    for (const int id : run.following) {
        const auto* stop = _picture.record<ServiceStop>(id);
        if (stop != nullptr && stop->getServiceId() == service.getId()) {
            run.firstHeld = stop->getTripStopId();
            break;
        }
        ++run.beforeFirstHeld;
    }
    std::sort(run.following.begin(), run.following.end());
    return run;
}

}  // namespace pis::picture
