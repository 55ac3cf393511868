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
    const std::int64_t leaves = call.isCancelled() ? call.scheduled : call.expected();
    return std::make_tuple(leaves, call.scheduled, call.service->getId(), call.stop->getId());
}

/// Of stops in their order; one that is named again counts where it is named first.
Pattern patternOf(std::vector<int> stops) {
    Pattern pattern{std::move(stops), {}};
    for (std::size_t i = 0; i < pattern.stops.size(); ++i) pattern.byId.emplace_back(pattern.stops[i], i);
    std::sort(pattern.byId.begin(), pattern.byId.end());
    const auto isAgain = [](const auto& a, const auto& b) { return a.first == b.first; };
    const auto again = std::unique(pattern.byId.begin(), pattern.byId.end(), isAgain);
    if (again == pattern.byId.end()) return pattern;

    std::vector<std::size_t> firsts;
    std::for_each(pattern.byId.begin(), again, [&firsts](const auto& stop) { firsts.push_back(stop.second); });
    std::sort(firsts.begin(), firsts.end());
    std::vector<int> once;
    for (const std::size_t place : firsts) once.push_back(pattern.stops[place]);
    return patternOf(std::move(once));
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

std::optional<std::size_t> Pattern::placeOf(int tripStopId) const {
    const auto found = std::lower_bound(byId.begin(), byId.end(), std::make_pair(tripStopId, std::size_t{0}));
    return found != byId.end() && found->first == tripStopId ? std::optional(found->second) : std::nullopt;
}

void StopsByKey::gather(const Picture& picture, const std::vector<int>& ids, Key key) {
    _stops.clear();
    for (const int id : ids) {
        const auto* stop = picture.record<ServiceStop>(id);
        _stops.emplace_back((stop->*key)(), stop);
    }
    std::stable_sort(_stops.begin(), _stops.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
}

const ServiceStop* StopsByKey::at(int key) const {
    const auto found = std::lower_bound(_stops.begin(), _stops.end(), key,
                                        [](const auto& stop, int wanted) { return stop.first < wanted; });
    return found != _stops.end() && found->first == key ? found->second : nullptr;
}

// --- Rules --------------------------------------------------------------------------------------

bool Call::isAtPlatform() const {
    if (!standsAtPlatform(service->getState())) return false;
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
    const std::optional<std::size_t> held = pattern->placeOf(run->firstHeld);
    if (!held || *held < run->beforeFirstHeld) return std::nullopt;
    return *held - run->beforeFirstHeld;
}

/// What state and time rule out of a train that has not terminated, whatever the feed lists.
bool NextCalls::mayBeAhead(const Call& call) const {
    const Service::State state = call.service->getState();
    const double now = _now.seconds();
    if (state == Service::CANCELLED) return now <= static_cast<double>(call.scheduled) + kStaysCancelled;
    return hasBegun(state) || now <= static_cast<double>(call.expected()) + kNeverRan;
}

/// Of a call that may be. What the feed says of a train counts for more than the time: one that runs stays until it
/// has left. Where it does not say what lies ahead, time decides.
bool NextCalls::isAhead(const Call& call) const {
    if (call.isCancelled()) return true;
    const std::optional<bool> listed = call.isListed();
    if (listed || !hasBegun(call.service->getState())) return listed.value_or(true);
    return _now.seconds() <= static_cast<double>(call.expected()) + kRunsUnseen;
}

bool NextCalls::isDeparture(const Call& call) {
    const bool begins = call.place == 0;
    const bool ends = call.place + 1 == call.pattern->stops.size();
    return !ends && (!begins || call.stop->isStopping());
}

// --- The calls ----------------------------------------------------------------------------------

std::vector<Call> NextCalls::at(const std::vector<int>& platforms, std::size_t limit) {
    std::vector<Call> waiting;
    for (const int platformId : platforms) {
        const auto* platform = _picture.record<PlatformInfo>(platformId);
        if (platform == nullptr) continue;
        for (const int stopId : idsUnder(_picture.tripStopsAtPlatform, platformId)) {
            addCalls(*_picture.record<TripStop>(stopId), *platform, waiting);
        }
    }

    // Lists are long, and most calls lie behind the limit: only those in front are looked into.
    const auto isLater = [](const Call& a, const Call& b) { return orderOf(b) < orderOf(a); };
    std::make_heap(waiting.begin(), waiting.end(), isLater);
    std::vector<Call> calls;
    while (!waiting.empty() && calls.size() < limit) {
        std::pop_heap(waiting.begin(), waiting.end(), isLater);
        Call call = waiting.back();
        waiting.pop_back();
        lookUp(call);
        if (isDeparture(call) && isAhead(call)) calls.push_back(call);
    }
    return calls;
}

/// What calls at a stop and may be ahead.
void NextCalls::addCalls(const TripStop& stop, const PlatformInfo& platform, std::vector<Call>& calls) {
    const std::size_t first = calls.size();
    for (const int serviceId : idsUnder(_picture.servicesOfTrip, stop.getTripId())) {
        const auto& service = *_picture.record<Service>(serviceId);
        if (service.getState() == Service::TERMINATED) continue;
        const std::int64_t written = secondsOf(service.getStartTime());
        const std::int64_t start = written + _now.shiftOf(written, hasBegun(service.getState()));
        calls.push_back({&service, &stop, nullptr, &platform, start, start + secondsOf(stop.getSchDepOffset()), 0});
    }
    if (calls.size() == first) return;

    _stopsByService.gather(_picture, idsUnder(_picture.stopsOfTripStop, stop.getId()), &ServiceStop::getServiceId);
    const auto added = calls.begin() + static_cast<std::ptrdiff_t>(first);
    std::for_each(added, calls.end(), [this](Call& call) {
        call.serviceStop = _stopsByService.at(call.service->getId());
        if (call.serviceStop != nullptr) call.delay = secondsOf(call.serviceStop->getDepDelay());
    });
    calls.erase(std::remove_if(added, calls.end(), [this](const Call& call) { return !mayBeAhead(call); }),
                calls.end());
}

void NextCalls::lookUp(Call& call) {
    call.run = &runOf(*call.service);
    call.pattern = &patternWith(*call.stop);
    call.place = *call.pattern->placeOf(call.stop->getId());
}

/// The pattern of the stop's trip, by the trip's list of stops; where the trip does not name this stop, by
/// the times.
const Pattern& NextCalls::patternWith(const TripStop& stop) {
    const int tripId = stop.getTripId();
    const auto [listed, isNew] = _listed.try_emplace(tripId);
    if (isNew) listed->second = listedPattern(tripId);
    if (listed->second.placeOf(stop.getId())) return listed->second;

    const auto [timed, isFirst] = _timed.try_emplace(tripId);
    if (isFirst) timed->second = timedPattern(tripId);
    return timed->second;
}

Pattern NextCalls::listedPattern(int tripId) const {
    const auto* trip = _picture.record<Trip>(tripId);
    return trip != nullptr ? patternOf(idsOf(trip->getStopsListAsString())) : Pattern();
}

Pattern NextCalls::timedPattern(int tripId) const {
    using Time = std::tuple<std::int64_t, std::int64_t, int>;
    std::vector<Time> times;
    for (const int id : idsUnder(_picture.tripStopsOfTrip, tripId)) {
        const auto& stop = *_picture.record<TripStop>(id);
        times.emplace_back(secondsOf(stop.getSchDepOffset()), secondsOf(stop.getSchArvOffset()), id);
    }
    std::sort(times.begin(), times.end());
    std::vector<int> stops;
    for (const Time& time : times) stops.push_back(std::get<int>(time));
    return patternOf(std::move(stops));
}

const Run& NextCalls::runOf(const Service& service) {
    const auto [place, isNew] = _runs.try_emplace(service.getId());
    Run& run = place->second;
    if (!isNew) return run;
    run.trip = _picture.record<Trip>(service.getTripId());
    if (run.trip == nullptr) run.trip = &service;
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
