#include "simulator/Simulate.h"

#include <cstdio>
#include <stdexcept>
#include <string_view>

#include "base/Interrupt.h"
#include "base/Output.h"
#include "simulator/SimulatedPort.h"
#include "simulator/SimulatedSide.h"

namespace pis::simulator {

namespace {

/// Writes the feed on standard output and stops the railway when nobody takes it any more.
class LinesToOutput : public SignallingLines {
public:
    explicit LinesToOutput(SimulatedSide& side) : _side(side) {}

    void onConnected() override {}
    void onLine(std::string_view line) override {
        base::printLine(line);
        if (std::ferror(stdout) != 0) _side.stop();
    }
    void onDisconnected(const std::string& why) override { base::complain(why); }
    void onRemark(const std::string& remark) override { base::complain(remark); }

private:
    SimulatedSide& _side;
};

base::ExitStatus writeOut(const SimulationOptions& options) {
    base::Interrupt::watch();
    SimulatedSide side(options, RunningRailway::Use::RECORDING, &base::Interrupt::stopSignal());
    // Paced lines are read as they come.
    if (options.speed) std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    LinesToOutput output(side);
    side.run(output);
    const int signal = base::Interrupt::requested();
    return signal == 0 ? base::DONE : static_cast<base::ExitStatus>(base::INTERRUPTED + signal);
}

base::ExitStatus serve(const SimulateOptions& options) {
    SimulatedPort port(options.simulation, options.listen, base::complain);
    base::Interrupt::watch();
    port.endOn(base::Interrupt::stopSignal());
    base::remark("listening on " + port.address() + "\n");
    port.run();
    return base::DONE;
}

}  // namespace

base::ExitStatus simulate(const SimulateOptions& options) {
    try {
        return options.listen.empty() ? writeOut(options.simulation) : serve(options);
    } catch (const std::runtime_error& error) {
        base::reportFault(error.what());
        return base::FAILED;
    }
}

}  // namespace pis::simulator
