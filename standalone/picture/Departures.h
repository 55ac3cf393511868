// The next departures of a station or a platform, and the places that have them, read from a picture.
#ifndef PIS_PICTURE_DEPARTURES_H
#define PIS_PICTURE_DEPARTURES_H

#include <cstddef>
#include <memory>
#include <string>

#include "picture/CallBook.h"
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

/// Whether there is anything that could depart: without it, an answer says that there is no data.
bool hasTimetable(const Picture& picture);

/// The answer of the book's picture as one JSON object; the same text as long as nothing in it changes. It follows
/// from what it puts into `reads`, from hasTimetable(), the query and the moment, and from nothing else.
std::string departuresJson(CallBook& book, const DepartureQuery& query, const ServiceMoment& now, Reads& reads);

/// The same for whoever asks once.
std::string departuresJson(std::shared_ptr<const Picture> picture, const DepartureQuery& query,
                           const ServiceMoment& now);

/// Every station with its platforms, in the order of the ids, as one JSON object: what departures can be asked for,
/// under the names that the departures bear. Platforms without a station of the picture are left out.
std::string boardsJson(const Picture& picture);

}  // namespace pis::picture

#endif
