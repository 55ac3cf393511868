// A signalling side on a TCP connection: records come in as lines of JSON, operations go out likewise. Connects
// again whenever the connection falls.
#ifndef PIS_SIGNALLING_TCPLINK_H
#define PIS_SIGNALLING_TCPLINK_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/HostAndPort.h"
#include "signalling/SignallingLink.h"

namespace pis::signalling {

/// How patiently to connect.
struct TcpTiming {
    std::chrono::milliseconds connectLimit{5000};  ///< For one attempt, finding the address included.
    std::chrono::milliseconds firstPause{500};     ///< Between two attempts; see ReconnectPause.
    std::chrono::milliseconds longestPause{30000};
    std::uint32_t seed = 1;  ///< Of the pauses' jitter.
};

/// The addresses of a host, asked of the system. @throws std::exception that says why there are none.
std::vector<std::string> addressesOf(const std::string& host);

class TcpLink : public SignallingLink {
public:
    using LookUp = std::function<std::vector<std::string>(const std::string& host)>;

    static constexpr std::size_t kMostWaiting = 1024;  ///< Operations that wait to go out.

    /// @param lookUp finds the addresses of a name; it is left alone where it takes longer than the limit.
    explicit TcpLink(const base::HostAndPort& address, const TcpTiming& timing = {}, LookUp lookUp = addressesOf);
    ~TcpLink() override;

    void run(Inbox& inbox) override;

    /// False when there is no connection, or when kMostWaiting operations wait already. Those that wait
    /// when the connection falls are lost; the log says how many.
    bool send(const platform::SendOperation& operation) override;
    void stop() override;
    std::string name() const override;

private:
    class Connection;

    std::unique_ptr<Connection> _connection;
};

}  // namespace pis::signalling

#endif
