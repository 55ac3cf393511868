// The simulated signalling side in this process.
#ifndef PIS_SIMULATOR_SIMLINK_H
#define PIS_SIMULATOR_SIMLINK_H

#include <atomic>
#include <string>

#include "signalling/SignallingLink.h"
#include "simulator/SimulatedSide.h"

namespace pis::simulator {

class SimLink : public signalling::SignallingLink {
public:
    /// @throws std::runtime_error for a network file with faults.
    explicit SimLink(const SimulationOptions& options);

    void run(signalling::Inbox& inbox) override;

    /// False while a fault that was asked for has cut the connection.
    bool send(const platform::SendOperation& operation) override;
    void stop() override { _side.stop(); }
    std::string name() const override { return "sim:" + _file; }

private:
    std::string _file;
    SimulatedSide _side;
    std::atomic<bool> _connected{false};
};

}  // namespace pis::simulator

#endif
