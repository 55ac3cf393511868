// Reads the records of trip stops and service stops as the store's own handlers read them: the store
// tells nobody of these two, so the picture takes them from the feed.
#ifndef PIS_FEED_STOPRECORDS_H
#define PIS_FEED_STOPRECORDS_H

#include "SignallingController.h"
#include "feed/FeedRecord.h"

namespace pis::feed {

/// Fields: trip, platform, stopping (Y), scheduled arrival and departure offset. One that is missing,
/// empty or "(null)" leaves 0 or false.
TripStop tripStopOf(int id, const FieldTexts& fields);

/// Fields: service, trip stop, service start time, arrival and departure delay; unusable ones as above.
/// What the trip stop says is left at 0 and false.
ServiceStop serviceStopOf(int id, const FieldTexts& fields);

/// Gives a service stop what a trip stop says: trip, platform, stopping flag and scheduled offsets.
void join(ServiceStop& stop, const TripStop& tripStop);

}  // namespace pis::feed

#endif
