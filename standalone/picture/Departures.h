// The next departures of a station or a platform, and the places that have them, read from a picture.
#ifndef PIS_PICTURE_DEPARTURES_H
#define PIS_PICTURE_DEPARTURES_H

#include <cstddef>
#include <string>

#include "picture/Picture.h"
#include "picture/ServiceClock.h"

namespace pis::picture {

/// A request for departures, of a station or of a platform.
struct DepartureQuery {
    int stationId = 0;   ///< Every platform of this station, or
    int platformId = 0;  ///< this platform alone.
    std::size_t limit = 20;
};

/// Whether the picture knows the station or platform that is asked for. Always true before the feed is
/// ready: nobody can say yet.
bool knows(const Picture& picture, const DepartureQuery& query);

/// The answer as one JSON object; the same text as long as nothing in it changes. Costs the calls at the
/// platforms asked for, not the tables.
std::string departuresJson(const Picture& picture, const DepartureQuery& query, const ServiceMoment& now);

/// Every station with its platforms, in the order of the ids, as one JSON object: what departures can be asked for,
/// under the names that the departures bear. Platforms without a station of the picture are left out.
std::string boardsJson(const Picture& picture);

}  // namespace pis::picture

#endif
