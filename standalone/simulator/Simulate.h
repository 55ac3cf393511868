// `pis simulate`: a simulated signalling side on standard output or on a TCP port.
#ifndef STANDALONE_SIMULATOR_SIMULATE_H
#define STANDALONE_SIMULATOR_SIMULATE_H

#include <string>

#include "ExitStatus.h"
#include "SimulationOptions.h"

struct SimulateOptions {
    SimulationOptions simulation;
    std::string listen;  ///< HOST:PORT; empty for standard output.
};

/// Adds FILE, --listen and the options of every simulation; `options` must live until the command line has
/// been parsed.
void addSimulateOptions(CLI::App& command, SimulateOptions& options);

/// Runs the railway. Faults of the network file and of the output are reported on standard error.
ExitStatus simulate(const SimulateOptions& options);

#endif
