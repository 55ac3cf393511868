// Which trains are still to depart from some platforms, and in which order: the rules of the board.
// Read from one picture; called by departuresJson().
#ifndef PIS_PICTURE_NEXTCALLS_H
#define PIS_PICTURE_NEXTCALLS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "picture/CallBook.h"
#include "picture/ServiceClock.h"

namespace pis::picture {

/// A trip's stops in the order in which it calls, each once, whether or not the picture holds it.
struct Pattern {
    std::vector<int> stops;
    std::vector<std::pair<int, std::size_t>> byId;  ///< Ids of the stops, ascending, and where in the list they are.

    std::optional<std::size_t> placeOf(int tripStopId) const;
};

/// A service with what the feed says of where it is.
struct Run {
    const Trip* trip = nullptr;       ///< Its trip; where that is not held, what the service took over from it.
    std::vector<int> following;       ///< Service stops still ahead, ascending; empty where nobody says.
    int next = 0;                     ///< The first of them as listed.
    int firstHeld = 0;                ///< The trip stop of the first of them that the picture holds, or 0.
    std::size_t beforeFirstHeld = 0;  ///< How many are listed before that.
};

/// One call of a service at a platform, with its times of departure in service time. A service calls wherever its
/// trip does, whether or not the service stop has come: there is no more to say of a call without.
struct Call {
    const Service* service;
    const TripStop* stop;
    const ServiceStop* serviceStop;  ///< Null where it has not come.
    const PlatformInfo* platform;
    std::int64_t start;  ///< Of the service, in service time of the moment that is looked at.
    std::int64_t scheduled;
    std::int64_t delay;

    const Run* run;
    const Pattern* pattern;
    std::size_t place;  ///< In the pattern.

    std::int64_t expected() const { return scheduled + delay; }
    bool isCancelled() const { return service->getState() == Service::CANCELLED; }

    /// Whether the train stands there, as far as its service's state says.
    bool isAtPlatform() const;

    /// Whether the feed lists this call among those still ahead; nothing where that cannot be told.
    std::optional<bool> isListed() const;

private:
    std::optional<std::size_t> placeOfNext() const;
};

/// Numbers of a list string, "11!12"; none at all where an item is not the id of an element.
std::vector<int> idsOf(const std::string& list);

/// Looks into one picture at one time. The calls it hands out are valid as long as it and what its reader gives.
class NextCalls {
public:
    NextCalls(PictureReader& reader, const ServiceMoment& now) : _reader(reader), _now(now) {}

    /// Departures still to come, the next one first, `limit` of them at the most. No departure is where a trip
    /// ends, and where a passing train begins. Costs the calls at the platforms by their progress and time; records
    /// and lists are read of those alone whose turn comes.
    std::vector<Call> at(const std::vector<int>& platforms, std::size_t limit);

private:
    struct Waiting;

    void addCalls(int tripStopId, const PlatformInfo& platform, std::vector<Waiting>& waiting);
    bool mayBeAhead(const Waiting& call) const;
    bool isAhead(const Call& call) const;
    static bool isDeparture(const TripStop& stop, const Pattern& pattern, std::size_t place);
    std::optional<Call> departureOf(const Waiting& waiting);
    const Pattern& patternWith(const TripStop& stop);
    Pattern listedPattern(int tripId);
    Pattern timedPattern(int tripId);
    const Run& runOf(const Service& service);

    PictureReader& _reader;
    ServiceMoment _now;
    std::map<int, Pattern> _listed;  // by trip
    std::map<int, Pattern> _timed;   // by trip
    std::map<int, Run> _runs;        // by service
};

}  // namespace pis::picture

#endif
