// `pis simulate`: a simulated signalling side on standard output or on a TCP port.
#ifndef PIS_SIMULATOR_SIMULATE_H
#define PIS_SIMULATOR_SIMULATE_H

#include <string>

#include "base/ExitStatus.h"
#include "simulator/SimulationOptions.h"

namespace pis::simulator {

struct SimulateOptions {
    SimulationOptions simulation;
    std::string listen;  ///< HOST:PORT; empty for standard output.
};

/// Runs the railway. Faults of the network file and of the output are reported on standard error.
base::ExitStatus simulate(const SimulateOptions& options);

}  // namespace pis::simulator

#endif
