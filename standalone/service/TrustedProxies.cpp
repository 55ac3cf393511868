#include "service/TrustedProxies.h"

#include <algorithm>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <stdexcept>
#include <string_view>

#include "base/Numbers.h"
#include "base/Output.h"
#include "base/Text.h"

namespace pis::service {

namespace asio = boost::asio;
namespace http = boost::beast::http;

namespace {

constexpr unsigned kBitsInFront = 96;  // of an IPv4 address, where it stands among those of IPv6

asio::ip::address_v6 asV6(const asio::ip::address& address) {
    return address.is_v6() ? address.to_v6() : asio::ip::make_address_v6(asio::ip::v4_mapped, address.to_v4());
}

/// The lines of a header as one list.
std::string listOf(const http::fields& headers, std::string_view name) {
    std::string list;
    const auto [begin, end] = headers.equal_range({name.data(), name.size()});
    for (auto line = begin; line != end; ++line) {
        list.append(list.empty() ? "" : ",").append(line->value().data(), line->value().size());
    }
    return list;
}

/// The last item of a list.
std::string_view lastOf(std::string_view list) {
    return base::trimmed(list.substr(list.rfind(',') + 1));
}

}  // namespace

TrustedProxies::TrustedProxies(const std::vector<std::string>& places) {
    for (const std::string& place : places) {
        const std::size_t slash = place.find('/');
        boost::system::error_code error;
        const asio::ip::address address = asio::ip::make_address(place.substr(0, slash), error);
        const unsigned whole = address.is_v6() ? 128 : 32;
        const auto bits = slash == std::string::npos ? whole : base::numberIn<unsigned>(place.substr(slash + 1));
        if (error || !bits || *bits > whole) {
            throw std::runtime_error("--trusted-proxy: must be an address, or ADDRESS/BITS, not " +
                                     base::quoted(place));
        }
        _networks.push_back({asV6(address).to_bytes(), *bits + (address.is_v6() ? 0 : kBitsInFront)});
    }
}

bool TrustedProxies::trust(const asio::ip::address& address) const {
    const Bytes bytes = asV6(address).to_bytes();
    return std::any_of(_networks.begin(), _networks.end(), [&bytes](const Network& network) {
        for (unsigned bit = 0; bit < network.bits; ++bit) {
            const unsigned difference = bytes[bit / 8] ^ network.first[bit / 8];
            if ((difference & (0x80U >> bit % 8)) != 0) return false;
        }
        return true;
    });
}

asio::ip::address TrustedProxies::clientOf(const asio::ip::address& peer, const http::fields& headers) const {
    asio::ip::address client = peer;
    std::string list = listOf(headers, "X-Forwarded-For");
    while (!list.empty() && trust(client)) {
        boost::system::error_code error;
        const asio::ip::address before = asio::ip::make_address(std::string(lastOf(list)), error);
        if (error) break;
        client = before;
        const std::size_t comma = list.rfind(',');
        list.resize(comma == std::string::npos ? 0 : comma);
    }
    return client;
}

std::optional<std::string> forwardedHost(const http::fields& headers) {
    std::optional<std::string> host;
    if (headers.count("X-Forwarded-Host") > 0) host = lastOf(listOf(headers, "X-Forwarded-Host"));
    const std::string elements = listOf(headers, "Forwarded");
    const std::string parameters = ";" + std::string(lastOf(elements));
    for (const auto& [name, value] : http::param_list(parameters)) {
        if (!boost::beast::iequals(name, "host")) continue;
        const std::string other(value);
        if (host && base::lowered(*host) != base::lowered(other)) return std::string();
        host = other;
    }
    return host;
}

}  // namespace pis::service
