// `pis serve`: the store as a live service.
#ifndef PIS_SERVICE_SERVE_H
#define PIS_SERVICE_SERVE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/ExitStatus.h"
#include "feeding/FeedingThread.h"
#include "picture/ServiceClock.h"
#include "service/HttpLimits.h"
#include "service/MakeLink.h"

namespace pis::service {

struct ServeOptions {
    LinkOptions link;
    std::string listen = "127.0.0.1:8080";
    std::vector<std::string> allowedHosts;
    std::vector<std::string> trustedProxies;  ///< Addresses, or ADDRESS/BITS.
    HttpLimits limits;
    bool connectionsAsked = false;  ///< The operator said how many connections, so fewer are worth a complaint.
    bool openMetrics = false;
    picture::ClockOptions clock;
    double staleAfter = 90;  ///< Seconds.
    std::size_t maxElements = feeding::FeedingOptions().maxElements;
    std::uint64_t maxBytes = feeding::FeedingOptions().maxBytes;
    std::string logFile;
    long debugLevel = -1;
};

/// Runs until SIGINT or SIGTERM. Faults of the options are reported on standard error.
base::ExitStatus serve(const ServeOptions& options);

}  // namespace pis::service

#endif
