// A simulated signalling side in step with the wall clock, for one receiver in the same process.
#ifndef PIS_SIMULATOR_SIMULATEDSIDE_H
#define PIS_SIMULATOR_SIMULATEDSIDE_H

#include <memory>
#include <string>
#include <string_view>

#include "base/StopSignal.h"
#include "simulator/RunningRailway.h"
#include "simulator/SimulationOptions.h"

namespace pis::simulator {

/// Who receives the lines of a signalling side. Called by the thread in SimulatedSide::run alone.
class SignallingLines {
public:
    virtual ~SignallingLines() = default;

    /// A connection stands; the whole state follows.
    virtual void onConnected() = 0;

    /// One line of the feed without its end. May block: the railway runs late then and catches up.
    virtual void onLine(std::string_view line) = 0;

    /// The connection was cut.
    virtual void onDisconnected(const std::string& why) = 0;

    /// Something for the log: what became of an operation, what the faults of a connection did.
    virtual void onRemark(const std::string& remark) = 0;
};

class SimulatedSide {
public:
    /// @param program ends run() as stop() does, once it is given; may be null.
    /// @throws std::runtime_error for a network file with faults, or times outside its operating day.
    explicit SimulatedSide(const SimulationOptions& options, RunningRailway::Use use = RunningRailway::Use::LINK,
                           const base::StopSignal* program = nullptr);
    ~SimulatedSide();

    /// Runs the railway until stop(), on the calling thread; a recording ends by itself. After a cut connection
    /// it pauses for a moment and connects again. What the receiver throws passes through. To be called once.
    void run(SignallingLines& receiver);

    /// Hands over an operation; it is answered from run(). Thread-safe.
    void answer(int operation, std::string text);

    /// Ends run() as soon as the receiver returns; a run() that comes later returns at once.
    /// Thread-safe.
    void stop();

private:
    class Run;

    std::unique_ptr<Run> _run;
};

}  // namespace pis::simulator

#endif
