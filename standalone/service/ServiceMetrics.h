// What the service counts of itself, and everything that there is to measure in the text format of
// Prometheus.
#ifndef PIS_SERVICE_SERVICEMETRICS_H
#define PIS_SERVICE_SERVICEMETRICS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "feeding/FeedingThread.h"
#include "feeding/ServiceObserver.h"
#include "picture/PublishedPicture.h"
#include "service/DepartureCache.h"
#include "service/FeedReport.h"

namespace pis::service {

/// Counts of connections, answers and readers. [Threading] The server's thread alone.
class ServiceMetrics {
public:
    void answered(const std::string& route, int status) { ++_answers[{route, status}]; }
    void connections(std::size_t now) { _connections = now; }
    void refused() { ++_refused; }
    void streamBegan() { ++_readers; }
    void streamEnded() { --_readers; }
    void streamStoodStill() { ++_stoodStill; }
    void streamTooSlow() { ++_tooSlow; }
    void leftBehind() { ++_leftBehind; }
    void waiting(std::size_t now) { _waiting = now; }
    void inFlight(std::size_t bytes) { _bytesInFlight = bytes; }
    void coalesced(std::size_t changes) { _coalesced += changes; }

    /// Where the figures come from that are not counted here.
    struct Sources {
        const feeding::FeedingThread& feeding;
        const feeding::ServiceObserver& observer;
        const picture::PublishedPicture& published;
        const FeedReport& report;
        const DepartureCache& departures;
    };

    std::string text(const Sources& sources) const;

private:
    std::map<std::pair<std::string, int>, std::uint64_t> _answers;  // by route and status
    std::size_t _connections = 0;
    std::uint64_t _refused = 0;
    std::uint64_t _readers = 0;
    std::uint64_t _stoodStill = 0;
    std::uint64_t _tooSlow = 0;
    std::uint64_t _leftBehind = 0;
    std::uint64_t _coalesced = 0;
    std::size_t _waiting = 0;
    std::size_t _bytesInFlight = 0;
};

}  // namespace pis::service

#endif
