// `pis replay`: recorded feeds go through the store, and what came of it is printed.
#ifndef PIS_REPLAY_REPLAY_H
#define PIS_REPLAY_REPLAY_H

#include <string>
#include <vector>

#include "base/ExitStatus.h"

namespace pis::replay {

struct ReplayOptions {
    enum Output { SUMMARY, JSON_SUMMARY, DUMP, TRACE };

    std::vector<std::string> files;  ///< "-" for standard input. One feed, in this order.
    double speed = 0;                ///< Times the recorded pace; 0 for as fast as possible.
    bool keepGoing = false;          ///< Count and skip lines that are no records.
    Output output = SUMMARY;         ///< What standard output carries. With DUMP and TRACE the summary
                                     ///< goes to standard error.
    long debugLevel = -1;            ///< What the store logs: 0 registrations, 1 deletions too, 2 every change.
    std::string logFile;             ///< Where log lines are appended; empty for standard error.
};

/// Replays the feeds through `gPassengerInformationServer`. Faults go to standard error.
base::ExitStatus replay(const ReplayOptions& options);

}  // namespace pis::replay

#endif
