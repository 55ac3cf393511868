// A simulated signalling side on a TCP port: every connection sees the same railway.
#ifndef PIS_SIMULATOR_SIMULATEDPORT_H
#define PIS_SIMULATOR_SIMULATEDPORT_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>

#include "base/StopSignal.h"
#include "simulator/SimulationOptions.h"

namespace pis::simulator {

/// Serves JSON Lines both ways: on each connection the whole state, then records as they come; operations in,
/// answered to all. A connection that does not read is dropped once kMostWaiting bytes wait for it.
class SimulatedPort {
public:
    static constexpr std::size_t kMostWaiting = std::size_t{8} << 20;
    static constexpr std::size_t kLongestLine = std::size_t{1} << 20;  ///< Bytes of an operation with its line end.

    /// Takes what is worth a line in a log: who came and went, what became of operations. Called by the thread
    /// in run().
    using Remark = std::function<void(const std::string& remark)>;

    /// Listens from here on; connections are taken by run().
    /// @param address HOST:PORT, [HOST]:PORT for an IPv6 address; port 0 for any that is free.
    /// @throws std::runtime_error for a network file with faults, or where nothing can listen.
    SimulatedPort(const SimulationOptions& options, const std::string& address, Remark remark);
    ~SimulatedPort();

    /// HOST:PORT as it listens.
    std::string address() const;

    /// Ends run() once the signal is given, too. It must outlive this.
    void endOn(const base::StopSignal& stop);

    /// Runs the railway and serves connections until stop().
    void run();

    /// Closes all connections and ends run(). Thread-safe.
    void stop();

private:
    class Server;

    std::unique_ptr<Server> _server;
};

}  // namespace pis::simulator

#endif
