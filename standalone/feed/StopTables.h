// The service stops as the store holds them, for whoever has to show them: the store hands them out to nobody.
#ifndef PIS_FEED_STOPTABLES_H
#define PIS_FEED_STOPTABLES_H

#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

#include "SignallingController.h"
#include "feed/FeedRecord.h"

namespace pis::feed {

/// Hears what the store hears of stops, and does with it what the store does: a service stop takes over what its
/// trip stop says at the moment when its own record comes, and keeps it until the next one.
class StopTables {
public:
    /// An update that the store took; types other than stops are passed over.
    void update(const FeedRecord& record);

    /// A deletion that the store made; type 0 stands for every type, id 0 for every element.
    void remove(int type, int id);

    /// In the order of the store's table, which is that of their arrival.
    std::vector<ServiceStop> serviceStops() const;

private:
    void updateServiceStop(const ServiceStop& said);

    std::unordered_map<int, TripStop> _tripStops;
    std::map<std::uint64_t, ServiceStop> _serviceStops;  // by arrival
    std::unordered_map<int, std::uint64_t> _arrivals;    // of service stops, by id
    std::uint64_t _arrived = 0;
};

}  // namespace pis::feed

#endif
