// Makes the link that the operator names.
#ifndef PIS_SERVICE_MAKELINK_H
#define PIS_SERVICE_MAKELINK_H

#include <memory>
#include <string>

#include "signalling/SignallingLink.h"
#include "simulator/SimulationOptions.h"

namespace pis::service {

struct LinkOptions {
    std::string link;  ///< "file:PATH" ("-" and "file:-" for standard input), "tcp://HOST:PORT" or "sim:FILE".
    double speed = 0;  ///< Of a file: times the recorded pace; 0 for as fast as possible.
    simulator::SimulationOptions simulation;  ///< Of "sim:FILE", which fills in the network file.
};

/// @throws std::runtime_error that says what is wrong and, for a form that is none, which forms there are;
///         also for a network file with faults. A file that cannot be read is the link's to report.
std::unique_ptr<signalling::SignallingLink> makeLink(const LinkOptions& options);

}  // namespace pis::service

#endif
