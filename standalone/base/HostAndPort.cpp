#include "base/HostAndPort.h"

#include <boost/url/parse.hpp>
#include <optional>
#include <stdexcept>

#include "base/Numbers.h"

namespace pis::base {

std::string bracketed(const std::string& host) {
    return host.find(':') == std::string::npos ? host : "[" + host + "]";
}

std::string textOf(const HostAndPort& place) {
    return bracketed(place.host) + ":" + std::to_string(place.port);
}

HostAndPort hostAndPortIn(std::string_view text) {
    const auto authority = boost::urls::parse_authority({text.data(), text.size()});
    if (authority.has_error() || authority->has_userinfo()) throw std::invalid_argument("that is no HOST:PORT");
    if (authority->encoded_host().empty()) throw std::invalid_argument("the host is missing");
    if (authority->port().empty()) throw std::invalid_argument("the port is missing");
    // The library's own number is what is left of a larger one in 16 bits.
    const auto port = numberIn<std::uint16_t>({authority->port().data(), authority->port().size()});
    if (!port) throw std::invalid_argument("the port is no number up to 65535");
    return {authority->host_address(), *port};
}

}  // namespace pis::base
