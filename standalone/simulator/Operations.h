// How a signalling server answers the operations of its clients.
#ifndef STANDALONE_SIMULATOR_OPERATIONS_H
#define STANDALONE_SIMULATOR_OPERATIONS_H

#include <functional>
#include <string>

#include "Positioning.h"
#include "Simulation.h"
#include "Traffic.h"

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

#endif
