// The feed records of a simulated railway's elements, fields in the order that receivers expect.
#ifndef STANDALONE_SIMULATOR_RAILWAYRECORDS_H
#define STANDALONE_SIMULATOR_RAILWAYRECORDS_H

#include <cstddef>
#include <functional>
#include <string>

#include "FeedRecord.h"
#include "Railway.h"
#include "SignallingCodes.h"

namespace railway {

/// A platform's record names so many of its passers.
constexpr std::size_t kPassersTold = 4;

FeedRecord serverStatusRecord(const std::string& signalBox, bool online);
FeedRecord autoMessageRecord(bool enabled);
FeedRecord lineRecord(const Line& line);
FeedRecord stationRecord(const Station& station);
FeedRecord platformRecord(const Platform& platform);
FeedRecord platformStateRecord(const Platform& platform);
FeedRecord tripRecord(const Trip& trip);
FeedRecord tripStopRecord(const TripStop& stop);
FeedRecord serviceRecord(const Service& service);
FeedRecord serviceStateRecord(const Service& service);
FeedRecord serviceStopRecord(const ServiceStop& stop);
FeedRecord vehicleRecord(const Vehicle& vehicle);
FeedRecord vehicleStateRecord(const Vehicle& vehicle);

/// @param id 0 for every element of the type.
FeedRecord deletionRecord(SignallingCodes::Element type, int id);

/// Name of a service state, as it goes with its number.
const char* nameOf(Service::State state);

/// A record or two of every element, between the marks of a snapshot.
void snapshot(const Railway& railway, const std::function<void(FeedRecord)>& report);

}  // namespace railway

#endif
