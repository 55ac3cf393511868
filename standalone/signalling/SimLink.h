// The simulated signalling side in this process.
#ifndef STANDALONE_SIGNALLING_SIMLINK_H
#define STANDALONE_SIGNALLING_SIMLINK_H

#include <atomic>
#include <string>

#include "SignallingLink.h"
#include "SimulatedSide.h"

class SimLink : public SignallingLink {
public:
    /// @throws std::runtime_error for a network file with faults.
    explicit SimLink(const SimulationOptions& options);

    void run(Inbox& inbox) override;

    /// False while a fault that was asked for has cut the connection.
    bool send(const SendOperation& operation) override;
    void stop() override { _side.stop(); }
    std::string name() const override { return "sim:" + _file; }

private:
    std::string _file;
    SimulatedSide _side;
    std::atomic<bool> _connected{false};
};

#endif
