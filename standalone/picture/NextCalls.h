// Which trains are still to depart from some platforms, and in which order: the rules of the board.
// Read from one picture; called by departuresJson().
#ifndef PIS_PICTURE_NEXTCALLS_H
#define PIS_PICTURE_NEXTCALLS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "picture/Picture.h"
#include "picture/ServiceClock.h"
#include "records/Members.h"

namespace pis::picture {

/// A trip's stops in the order in which it calls.
struct Pattern {
    struct Stop {
        int id;
        const TripStop* record;  ///< Null where the trip names a stop that the picture does not hold.
    };

    std::vector<Stop> stops;
    std::unordered_map<int, std::size_t> places;  ///< Of the stops, by id.
};

/// A service with what the feed says of its stops.
struct Run {
    const Service* service = nullptr;
    const Trip* trip = nullptr;  ///< Its trip; where that is not held, what the service took over from it.
    std::int64_t start = 0;      ///< In service time of the moment that is looked at.
    std::unordered_map<int, const ServiceStop*> stops;  ///< By trip stop.
    std::vector<int> following;       ///< Service stops still ahead, ascending; empty where nobody says.
    int next = 0;                     ///< The first of them as listed.
    int firstHeld = 0;                ///< The trip stop of the first of them that the picture holds, or 0.
    std::size_t beforeFirstHeld = 0;  ///< How many are listed before that.

    /// The service stop that realises a trip stop, or null. A service calls wherever its trip does, whether or
    /// not that has come: there is no more to say of such a call.
    const ServiceStop* stopAt(int tripStopId) const;

    bool isCancelled() const { return service->getState() == Service::CANCELLED; }
};

/// One call of a service at a platform, with its times of departure in service time.
struct Call {
    const Run* run;
    const Pattern* pattern;
    std::size_t place;  ///< In the pattern.
    const TripStop* stop;
    const ServiceStop* serviceStop;  ///< Null where it has not come.
    const PlatformInfo* platform;
    std::int64_t scheduled;
    std::int64_t delay;

    std::int64_t expected() const { return scheduled + delay; }

    /// Whether the train stands there, as far as its service's state says.
    bool isAtPlatform() const;

    /// Whether the feed lists this call among those still ahead; nothing where that cannot be told.
    std::optional<bool> isListed() const;

private:
    std::optional<std::size_t> placeOfNext() const;
};

using records::secondsOf;

/// Numbers of a list string, "11!12"; none at all where an item is not the id of an element.
std::vector<int> idsOf(const std::string& list);

/// Looks into one picture at one time. The calls it hands out are valid as long as it and the picture.
class NextCalls {
public:
    NextCalls(const Picture& picture, const ServiceMoment& now) : _picture(picture), _now(now) {}

    /// Departures still to come, the next one first. No departure is where a trip ends, and where a
    /// passing train begins.
    std::vector<Call> at(const std::vector<int>& platforms);

private:
    void addCalls(const TripStop& stop, const PlatformInfo& platform, std::vector<Call>& calls);
    bool isAhead(const Call& call) const;
    static bool isDeparture(const Call& call);
    const Pattern& patternWith(const TripStop& stop);
    Pattern listedPattern(int tripId) const;
    Pattern timedPattern(int tripId) const;
    const Run& runOf(const Service& service);

    const Picture& _picture;
    ServiceMoment _now;
    std::unordered_map<int, Pattern> _listed;  // by trip
    std::unordered_map<int, Pattern> _timed;   // by trip
    std::unordered_map<int, Run> _runs;        // by service
};

}  // namespace pis::picture

#endif
