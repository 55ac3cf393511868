// The signalling side of a simulated railway: time is given, records come out, operations are answered.
// No clock, no threads, no files; who calls sees to these.
#ifndef PIS_SIMULATOR_SIMULATION_H
#define PIS_SIMULATOR_SIMULATION_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "feed/FeedRecord.h"
#include "simulator/Network.h"

namespace pis::simulator {

/// What became of an operation.
struct OperationReport {
    bool accepted = false;
    std::string text;  ///< For the log: "operation 21: line 3 added", or why it was refused.
};

/// A railway that runs by its timetable, the same way for the same network, seed and operations on every
/// machine. For one thread. An `emit` that throws ends the simulation: it may only be destroyed then.
class Simulation {
public:
    using Emit = std::function<void(const feed::FeedRecord&)>;

    /// Begins with the operating day. Keeps a copy of the network.
    /// @throws std::runtime_error "FILE: PLACE: why" for a timetable that cannot be run.
    Simulation(const Network& network, std::uint32_t seed);
    ~Simulation();

    /// Seconds of the operating day. Falls back by 86,400 when the next day begins.
    int now() const;

    /// Days that have gone by since the simulation began.
    int day() const;

    /// When something is due next, at or after now(). The end of the day is always due, so there is
    /// always something.
    int nextAt() const;

    /// Does everything that is due up to then and hands out each record, with its time in `at`.
    /// @param time seconds of the present operating day, not before now(); those behind its end belong to
    ///             the next.
    void advanceTo(int time, const Emit& emit);

    /// Hands out what a receiver needs to know everything: server status, automatic message state, and the
    /// elements between snapshot marks.
    void reportWholeState(const Emit& emit);

    /// True while the record that is handed out is part of a whole state.
    bool inWholeState() const;

    /// Answers an operation as a signalling server does. One that cannot be understood changes nothing.
    OperationReport answer(int operation, const std::string& text, const Emit& emit);

private:
    class Side;

    std::unique_ptr<Side> _side;
};

}  // namespace pis::simulator

#endif
