// The feed records of a simulated railway's elements, fields in the order that receivers expect.
#ifndef PIS_SIMULATOR_RAILWAYRECORDS_H
#define PIS_SIMULATOR_RAILWAYRECORDS_H

#include <cstddef>
#include <functional>
#include <string>

#include "SignallingCodes.h"
#include "feed/FeedRecord.h"
#include "simulator/Railway.h"

namespace pis::simulator::railway {

/// A platform's record names so many of its passers.
constexpr std::size_t kPassersTold = 4;

feed::FeedRecord serverStatusRecord(const std::string& signalBox, bool online);
feed::FeedRecord autoMessageRecord(bool enabled);
feed::FeedRecord lineRecord(const Line& line);
feed::FeedRecord stationRecord(const Station& station);
feed::FeedRecord platformRecord(const Platform& platform);
feed::FeedRecord platformStateRecord(const Platform& platform);
feed::FeedRecord tripRecord(const Trip& trip);
feed::FeedRecord tripStopRecord(const TripStop& stop);
feed::FeedRecord serviceRecord(const Service& service);
feed::FeedRecord serviceStateRecord(const Service& service);
feed::FeedRecord serviceStopRecord(const ServiceStop& stop);
feed::FeedRecord vehicleRecord(const Vehicle& vehicle);
feed::FeedRecord vehicleStateRecord(const Vehicle& vehicle);

/// @param id 0 for every element of the type.
feed::FeedRecord deletionRecord(SignallingCodes::Element type, int id);

/// A record or two of every element, between the marks of a snapshot.
void snapshot(const Railway& railway, const std::function<void(feed::FeedRecord)>& report);

}  // namespace pis::simulator::railway

#endif
