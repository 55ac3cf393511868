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
    once.reserve(firsts.size());
    for (const std::size_t place : firsts) once.push_back(pattern.stops[place]);
    return patternOf(std::move(once));
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

/// A call by what decides when its turn comes.
struct NextCalls::Waiting {
    std::int64_t scheduled;
    std::int64_t start;
    const CallsAtStop::One* one;
    int tripStopId;
    const PlatformInfo* platform;

    std::int64_t expected() const { return scheduled + one->delay; }

    /// The nth next departure is read as this order of calls.
    auto order() const {
        const std::int64_t leaves = one->progress == Progress::CANCELLED ? scheduled : expected();
        return std::make_tuple(leaves, scheduled, one->serviceId, tripStopId);
    }
};

/// What progress and time rule out, whatever the feed lists.
bool NextCalls::mayBeAhead(const Waiting& call) const {
    switch (call.one->progress) {
        case Progress::CANCELLED: return _now.seconds() <= static_cast<double>(call.scheduled) + kStaysCancelled;
        case Progress::NOT_BEGUN: return _now.seconds() <= static_cast<double>(call.expected()) + kNeverRan;
        default: return true;
    }
}

/// Of a call that may be. What the feed says of a train counts for more than the time: one that runs stays until it
/// has left. Where it does not say what lies ahead, time decides.
bool NextCalls::isAhead(const Call& call) const {
    if (call.isCancelled()) return true;
    const std::optional<bool> listed = call.isListed();
    if (listed || progressOf(call.service->getState()) == Progress::NOT_BEGUN) return listed.value_or(true);
    return _now.seconds() <= static_cast<double>(call.expected()) + kRunsUnseen;
}

bool NextCalls::isDeparture(const TripStop& stop, const Pattern& pattern, std::size_t place) {
    const bool begins = place == 0;
    const bool ends = place + 1 == pattern.stops.size();
    return !ends && (!begins || stop.isStopping());
}

// --- The calls ----------------------------------------------------------------------------------

std::vector<Call> NextCalls::at(const std::vector<int>& platforms, std::size_t limit) {
    std::vector<Waiting> waiting;
    for (const int platformId : platforms) {
        const auto* platform = _reader.record<PlatformInfo>(platformId);
        if (platform == nullptr) continue;
        for (const int stopId : _reader.tripStopsAtPlatform(platformId)) addCalls(stopId, *platform, waiting);
    }

    // Lists are long, and most calls lie behind the limit: only those in front are looked into.
    const auto isLater = [](const Waiting& a, const Waiting& b) { return b.order() < a.order(); };
    std::make_heap(waiting.begin(), waiting.end(), isLater);
    std::vector<Call> calls;
    while (!waiting.empty() && calls.size() < limit) {
        std::pop_heap(waiting.begin(), waiting.end(), isLater);
        const std::optional<Call> call = departureOf(waiting.back());
        waiting.pop_back();
        if (call && isAhead(*call)) calls.push_back(*call);
    }
    return calls;
}

/// What calls at a stop and may be ahead.
void NextCalls::addCalls(int tripStopId, const PlatformInfo& platform, std::vector<Waiting>& waiting) {
    const CallsAtStop& at = _reader.callsAt(tripStopId);
    for (const CallsAtStop::One& one : at.calls) {
        const std::int64_t start = one.startTime + _now.shiftOf(one.startTime, one.progress == Progress::BEGUN);
        const Waiting call{start + at.offset, start, &one, tripStopId, &platform};
        if (mayBeAhead(call)) waiting.push_back(call);
    }
}

/// Nothing where the call is no departure.
std::optional<Call> NextCalls::departureOf(const Waiting& waiting) {
    const auto& stop = *_reader.record<TripStop>(waiting.tripStopId);
    const Pattern& pattern = patternWith(stop);
    const std::size_t place = *pattern.placeOf(stop.getId());
    if (!isDeparture(stop, pattern, place)) return std::nullopt;

    const CallsAtStop::One& one = *waiting.one;
    const auto& service = *_reader.record<Service>(one.serviceId);
    const auto* serviceStop = one.serviceStopId != 0 ? _reader.record<ServiceStop>(one.serviceStopId) : nullptr;
    return Call{&service,          &stop,     serviceStop,     waiting.platform, waiting.start,
                waiting.scheduled, one.delay, &runOf(service), &pattern,         place};
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

Pattern NextCalls::listedPattern(int tripId) {
    const auto* trip = _reader.record<Trip>(tripId);
    return trip != nullptr ? patternOf(idsOf(trip->getStopsListAsString())) : Pattern();
}

Pattern NextCalls::timedPattern(int tripId) {
    using Time = std::tuple<std::int64_t, std::int64_t, int>;
    std::vector<Time> times;
    for (const int id : _reader.tripStopsOfTrip(tripId)) {
        const auto& stop = *_reader.record<TripStop>(id);
        times.emplace_back(secondsOf(stop.getSchDepOffset()), secondsOf(stop.getSchArvOffset()), id);
    }
    std::sort(times.begin(), times.end());
    std::vector<int> stops;
    stops.reserve(times.size());
    for (const Time& time : times) stops.push_back(std::get<int>(time));
    return patternOf(std::move(stops));
}

const Run& NextCalls::runOf(const Service& service) {
    const auto [place, isNew] = _runs.try_emplace(service.getId());
    Run& run = place->second;
    if (!isNew) return run;
    run.trip = _reader.record<Trip>(service.getTripId());
    if (run.trip == nullptr) run.trip = &service;
    run.following = idsOf(service.getFollowingStopsListAsString());
    if (!run.following.empty()) run.next = run.following.front();
    for (const int id : run.following) {
        const auto* stop = _reader.record<ServiceStop>(id);
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
