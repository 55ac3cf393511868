// How a signalling server answers the operations of its clients.
#ifndef PIS_SIMULATOR_OPERATIONS_H
#define PIS_SIMULATOR_OPERATIONS_H

#include <functional>
#include <string>

#include "simulator/Positioning.h"
#include "simulator/Simulation.h"
#include "simulator/Traffic.h"

namespace pis::simulator {

/// What an operation may act on.
struct Controls {
    Traffic& traffic;
    PositioningReassembly& positioning;
    int now;      ///< Seconds of the operating day.
    int dayEnds;  ///< Likewise.
    std::function<void(bool enabled)> enableMessages;
};

/// Answers one operation with the records that it leads to. One that cannot be understood is refused and
/// changes nothing.
OperationReport answer(int operation, const std::string& text, const Controls& controls);

}  // namespace pis::simulator

#endif
