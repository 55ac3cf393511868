// How a simulated railway is to be run.
#ifndef PIS_SIMULATOR_SIMULATIONOPTIONS_H
#define PIS_SIMULATOR_SIMULATIONOPTIONS_H

#include <cstdint>
#include <optional>
#include <string>

#include "simulator/FaultInjector.h"

namespace pis::simulator {

struct SimulationOptions {
    std::string networkFile;
    std::optional<double> speed;  ///< Times real time; without it a link keeps real time.
    std::optional<int> start;     ///< Seconds since midnight of the day's beginning; before it nothing is told.
    std::optional<int> until;     ///< Likewise; then the railway stands still.
    std::uint32_t seed = 1;
    int snapshotMinutes = 0;  ///< Minutes of railway time between whole states; 0 for none in between.
    FaultPlan faults;
};

}  // namespace pis::simulator

#endif
