// Which trains are still to depart from some platforms, and in which order: the rules of the board.
// Read from one picture; called by departuresJson().
#ifndef PIS_PICTURE_NEXTCALLS_H
#define PIS_PICTURE_NEXTCALLS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "picture/Picture.h"

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
    std::unordered_map<int, const ServiceStop*> stops;  ///< By trip stop.
    std::vector<int> following;  ///< Service stops still ahead, ascending; empty where nobody says.
    int next = 0;                ///< The first of them.

    /// The service stop that realises a trip stop, or null.
    const ServiceStop* stopAt(int tripStopId) const;

    /// A service without stops of its own calls wherever its trip does.
    bool callsAt(int tripStopId) const { return stops.empty() || stopAt(tripStopId) != nullptr; }

    bool isCancelled() const { return service->getState() == Service::CANCELLED; }
};

/// One call of a service at a platform, with its times of departure in service time.
struct Call {
    const Run* run;
    const Pattern* pattern;
    std::size_t place;  ///< In the pattern.
    const TripStop* stop;
    const ServiceStop* serviceStop;  ///< Null where the service has none at all.
    const PlatformInfo* platform;
    std::int64_t scheduled;
    std::int64_t delay;

    std::int64_t expected() const { return scheduled + delay; }

    /// Whether the train stands there, as far as its service's state says.
    bool isAtPlatform() const;
};

/// A time of the feed in seconds. The store keeps its 32 bits without their sign: 4294967236 is -60.
inline std::int64_t secondsOf(unsigned long time) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(time));
}

/// Numbers of a list string, "11!12"; none at all where an item is not the id of an element.
std::vector<int> idsOf(const std::string& list);

/// Looks into one picture at one time. The calls it hands out are valid as long as it and the picture.
class NextCalls {
public:
    NextCalls(const Picture& picture, double now) : _picture(picture), _now(now) {}

    /// Departures still to come, the next one first. No departure is where a trip ends, and where a
    /// passing train begins.
    std::vector<Call> at(const std::vector<int>& platforms);

private:
    void addCalls(const TripStop& stop, const PlatformInfo& platform, std::vector<Call>& calls);
    bool isAhead(const Call& call) const;
    bool isDeparture(const Call& call) const;
    const Pattern& patternWith(const TripStop& stop);
    Pattern listedPattern(int tripId) const;
    Pattern timedPattern(int tripId) const;
    const Run& runOf(const Service& service);

    const Picture& _picture;
    double _now;
    std::unordered_map<int, Pattern> _listed;  // by trip
    std::unordered_map<int, Pattern> _timed;   // by trip
    std::unordered_map<int, Run> _runs;        // by service
};

}  // namespace pis::picture

#endif
