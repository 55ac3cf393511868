// Proxies in front of the service, and whom they speak for.
#ifndef PIS_SERVICE_TRUSTEDPROXIES_H
#define PIS_SERVICE_TRUSTEDPROXIES_H

#include <boost/asio/ip/address.hpp>
#include <boost/asio/ip/address_v6.hpp>
#include <boost/beast/http/fields.hpp>
#include <optional>
#include <string>
#include <vector>

namespace pis::service {

/// Those whose word the operator takes: anybody may send the headers that proxies send.
class TrustedProxies {
public:
    TrustedProxies() = default;

    /// @param places addresses, or ADDRESS/BITS for all that begin alike.
    /// @throws std::runtime_error that names the one that is none.
    explicit TrustedProxies(const std::vector<std::string>& places);

    bool trust(const boost::asio::ip::address& address) const;

    /// Whom a request comes from. Each proxy adds its own client at the end of `X-Forwarded-For`, so the list is
    /// believed from its end as long as those who wrote it are trusted.
    boost::asio::ip::address clientOf(const boost::asio::ip::address& peer,
                                      const boost::beast::http::fields& headers) const;

private:
    using Bytes = boost::asio::ip::address_v6::bytes_type;

    struct Network {
        Bytes first;
        unsigned bits;
    };

    std::vector<Network> _networks;
};

/// The host that the browser came by, as the last proxy says it: `X-Forwarded-Host` or the `host` of `Forwarded`.
/// Nothing where it does not say; empty where the two differ, one of them being the client's own invention.
std::optional<std::string> forwardedHost(const boost::beast::http::fields& headers);

}  // namespace pis::service

#endif
