// `pis serve`: the store as a live service.
#ifndef STANDALONE_SERVICE_SERVE_H
#define STANDALONE_SERVICE_SERVE_H

#include <cstddef>
#include <string>
#include <vector>

#include "ExitStatus.h"
#include "HttpLimits.h"
#include "MakeLink.h"
#include "ServiceClock.h"

namespace CLI {
class App;
}

struct ServeOptions {
    LinkOptions link;
    std::string listen = "127.0.0.1:8080";
    std::vector<std::string> allowedHosts;
    HttpLimits limits;
    bool openMetrics = false;
    ClockOptions clock;
    double staleAfter = 90;  ///< Seconds.
    std::size_t maxElements = 1000000;
    std::string logFile;
    long debugLevel = -1;
};

/// Adds the command's options; `options` must live until the command line has been parsed.
void addServeOptions(CLI::App& command, ServeOptions& options);

/// Runs until SIGINT or SIGTERM. Faults of the options are reported on standard error.
ExitStatus serve(const ServeOptions& options);

#endif
