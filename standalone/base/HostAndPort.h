// Where something listens on a network, as an operator writes it.
#ifndef PIS_BASE_HOSTANDPORT_H
#define PIS_BASE_HOSTANDPORT_H

#include <cstdint>
#include <string>
#include <string_view>

namespace pis::base {

/// A name or an address, and a port.
struct HostAndPort {
    std::string host;  ///< A name, or an address without brackets.
    std::uint16_t port = 0;

    bool operator==(const HostAndPort& other) const { return host == other.host && port == other.port; }
};

/// The host as it stands in an address for a browser: an IPv6 address in brackets.
std::string bracketed(const std::string& host);

/// "HOST:PORT", "[::1]:PORT".
std::string textOf(const HostAndPort& place);

/// Reads "HOST:PORT" or "[IPV6]:PORT", the port from 0 to 65535.
/// @throws std::invalid_argument that says what is missing or wrong: "the port is missing".
HostAndPort hostAndPortIn(std::string_view text);

}  // namespace pis::base

#endif
