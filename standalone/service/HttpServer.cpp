#include "service/HttpServer.h"

#include <algorithm>
#include <boost/asio/error.hpp>
#include <stdexcept>
#include <vector>

#include "debug.h"
#include "service/HttpConnection.h"
#include "service/Problem.h"

namespace pis::service {

namespace asio = boost::asio;
using boost::system::error_code;

namespace {

constexpr std::chrono::milliseconds kWatchEvery{250};
constexpr std::chrono::milliseconds kPauseAfterFault{100};

/// An address as it is said, also where one socket listens for both kinds: 127.0.0.1, not ::ffff:127.0.0.1.
asio::ip::address plainAddress(const asio::ip::address& address) {
    if (!address.is_v6() || !address.to_v6().is_v4_mapped()) return address;
    return asio::ip::make_address_v4(asio::ip::v4_mapped, address.to_v6());
}

}  // namespace

HttpServer::HttpServer(asio::io_context& context, HttpLimits limits, Api& api, ChangeStream& changes,
                       const picture::PublishedPicture& published, ServiceMetrics& metrics, TrustedProxies proxies)
    : _context(context),
      _limits(limits),
      _api(api),
      _changes(changes),
      _published(published),
      _metrics(metrics),
      _proxies(std::move(proxies)),
      _acceptor(context),
      _timer(context),
      _pause(context),
      _acceptFaults([](const std::string& line) { handleError(2, "%s: %s", "accept", line.c_str()); }) {}

HttpServer::~HttpServer() = default;

unsigned short HttpServer::listen(const std::string& address, unsigned short port) {
    const std::string place = address + ":" + std::to_string(port);
    error_code error;
    const asio::ip::tcp::endpoint endpoint(asio::ip::make_address(address, error), port);
    if (error) throw std::runtime_error("--listen: " + address + " is no address of a network interface");
    const auto require = [&place](const error_code& failure) {
        if (failure) throw std::runtime_error("--listen: cannot listen on " + place + ": " + failure.message());
    };
    _acceptor.open(endpoint.protocol(), error);
    require(error);
    _acceptor.set_option(asio::socket_base::reuse_address(true), error);
    require(error);
    _acceptor.bind(endpoint, error);
    require(error);
    _acceptor.listen(asio::socket_base::max_listen_connections, error);
    require(error);
    accept();
    watch();
    return _acceptor.local_endpoint().port();
}

void HttpServer::accept() {
    _acceptor.async_accept([this](error_code error, asio::ip::tcp::socket socket) {
        if (_stopping || error == asio::error::operation_aborted) return;
        if (!error) {
            accepted(std::move(socket));
            return accept();
        }
        // No descriptors left, most likely: those that are open go on, new ones wait in the backlog.
        _acceptFaults.say("a connection could not be accepted: " + error.message(), base::RareLog::Clock::now());
        _pause.expires_after(kPauseAfterFault);
        _pause.async_wait([this](error_code stopped) {
            if (!stopped) accept();
        });
    });
}

void HttpServer::accepted(asio::ip::tcp::socket socket) {
    error_code error;
    const auto peer = plainAddress(socket.remote_endpoint(error).address());
    if (error) return;  // gone already
    const auto connection = std::make_shared<HttpConnection>(*this, std::move(socket), peer);
    const bool full = _admitted >= _limits.connections;
    const bool isProxy = _proxies.trust(peer);
    // Whom a proxy speaks for shows with the request.
    if (!full && (isProxy || connection->countFor(peer))) {
        _connections.insert(connection);
        ++_admitted;
        _metrics.connections(_admitted);
        return connection->start();
    }
    const Problem noRoom =
        full ? Problem{503, "The service has as many connections as it takes.", "", "", {{"Retry-After", "10"}}}
             : tooManyOfAddress();
    if (!peer.is_loopback() || isProxy || _limits.ownProbes == 0) return refuse(connection, noRoom);
    if (_ownProbes.size() >= _limits.ownProbes) {
        const std::shared_ptr<HttpConnection> longestThere = _ownProbes.front();
        longestThere->giveWay();
    }
    _connections.insert(connection);
    _ownProbes.push_back(connection);
    connection->startOwnProbe(noRoom);
}

void HttpServer::refuse(const std::shared_ptr<HttpConnection>& connection, const Problem& noRoom) {
    _metrics.refused();
    if (_refusals >= _limits.refusals) return connection->close();
    _connections.insert(connection);
    ++_refusals;
    connection->refuse(noRoom);
}

Problem HttpServer::tooManyOfAddress() {
    return {429,
            "There are as many connections from this address as the service takes; its operator can raise "
            "--connections-per-address.",
            "",
            "",
            {{"Retry-After", "10"}}};
}

bool HttpServer::admit(const asio::ip::address& client) {
    std::size_t& count = _perAddress[client];
    if (count >= _limits.connectionsPerAddress) return false;
    ++count;
    return true;
}

void HttpServer::release(const asio::ip::address& client) {
    const auto ofAddress = _perAddress.find(client);
    if (--ofAddress->second == 0) _perAddress.erase(ofAddress);
}

void HttpServer::closed(HttpConnection& connection) {
    const std::shared_ptr<HttpConnection> itself = connection.shared_from_this();
    _connections.erase(itself);
    switch (connection.place()) {
        case HttpConnection::ADMITTED: return _metrics.connections(--_admitted);
        case HttpConnection::REFUSED: --_refusals; return;
        case HttpConnection::OWN_PROBE: return leaveOwnProbes(connection);
        case HttpConnection::NOWHERE: return;
    }
}

void HttpServer::leaveOwnProbes(HttpConnection& connection) {
    const auto place = std::find(_ownProbes.begin(), _ownProbes.end(), connection.shared_from_this());
    if (place != _ownProbes.end()) _ownProbes.erase(place);
}

void HttpServer::pictureChanged() {
    const std::shared_ptr<const picture::Picture> picture = _published.current();
    const std::vector<std::shared_ptr<HttpConnection>> all(_connections.begin(), _connections.end());
    for (const auto& connection : all) connection->pictureChanged(picture);
}

void HttpServer::watch() {
    _timer.expires_after(kWatchEvery);
    _timer.async_wait([this](error_code error) {
        if (error) return;
        const auto now = std::chrono::steady_clock::now();
        _acceptFaults.writeWhatIsDue(now);
        const std::vector<std::shared_ptr<HttpConnection>> all(_connections.begin(), _connections.end());
        const bool giveUp = _stopping && now >= _giveUp;
        for (const auto& connection : all) giveUp ? connection->close() : connection->watch(now);
        if (!_stopping || !_connections.empty()) watch();
    });
}

void HttpServer::stop() {
    _stopping = true;
    _giveUp = std::chrono::steady_clock::now() + _limits.lastWords;
    error_code ignored;
    _acceptor.close(ignored);
    _pause.cancel();
    const std::vector<std::shared_ptr<HttpConnection>> all(_connections.begin(), _connections.end());
    for (const auto& connection : all) connection->finish();
    if (_connections.empty()) _timer.cancel();
}

}  // namespace pis::service
