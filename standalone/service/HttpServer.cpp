#include "service/HttpServer.h"

#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
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

}  // namespace

HttpServer::HttpServer(asio::io_context& context, HttpLimits limits, Sources sources, ServiceMetrics& metrics,
                       TrustedProxies proxies)
    : _context(context),
      _limits(limits),
      _sources(sources),
      _metrics(metrics),
      _proxies(std::move(proxies)),
      _acceptor(context),
      _timer(context),
      _pause(context) {}

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
        handleError(2, "%s: a connection could not be accepted: %s", "accept", error.message().c_str());
        _pause.expires_after(kPauseAfterFault);
        _pause.async_wait([this](error_code stopped) {
            if (!stopped) accept();
        });
    });
}

void HttpServer::accepted(asio::ip::tcp::socket socket) {
    error_code error;
    const auto peer = socket.remote_endpoint(error).address();
    if (error) return;  // gone already
    const auto connection = std::make_shared<HttpConnection>(*this, std::move(socket), peer);
    const bool full = _admitted >= _limits.connections;
    // Whom a proxy speaks for shows with the request.
    if (!full && (_proxies.trust(peer) || connection->countFor(peer))) {
        _connections.insert(connection);
        ++_admitted;
        _metrics.connections(_admitted);
        return connection->start();
    }
    _metrics.refused();
    if (_connections.size() - _admitted >= _limits.refusals) return;
    _connections.insert(connection);
    connection->refuse(
        full ? Problem{503, "The service has as many connections as it takes.", "", "", {{"Retry-After", "10"}}}
             : tooManyOfAddress());
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
    textsMayHaveGone();
    if (connection._isStream) streamEnded(connection);
    _connections.erase(connection.shared_from_this());
    if (connection.isRefused()) return;
    _metrics.connections(--_admitted);
}

void HttpServer::streamBegan(HttpConnection& connection) {
    connection._placeAmongStreams = _streams.size();
    _streams.push_back(&connection);
    _metrics.streamBegan();
}

void HttpServer::streamEnded(HttpConnection& connection) {
    _streams[connection._placeAmongStreams] = _streams.back();
    _streams.back()->_placeAmongStreams = connection._placeAmongStreams;
    _streams.pop_back();
    _metrics.streamEnded();
}

/// From the last to the first: whoever leaves meanwhile is replaced by one that has been told already.
void HttpServer::pictureChanged() {
    _now = std::chrono::steady_clock::now();
    const std::shared_ptr<const picture::Picture> picture = _sources.published.current();
    for (std::size_t left = _streams.size(); left > 0; --left) _streams[left - 1]->pictureChanged(picture);
    giveTurns();
}

// --- Turns --------------------------------------------------------------------------------------

void HttpServer::awaitTurn(HttpConnection& connection) {
    _awaitTurn.push_back(connection.weak_from_this());
    _metrics.waiting(_awaitTurn.size());
}

/// Who has waited longest comes first, as long as there is room for new texts.
void HttpServer::giveTurns() {
    for (std::size_t turns = _awaitTurn.size(); turns > 0 && _sources.account.hasRoom(); --turns) {
        const std::shared_ptr<HttpConnection> first = _awaitTurn.front().lock();
        _awaitTurn.pop_front();
        if (first != nullptr) first->takeTurn();
    }
    _metrics.waiting(_awaitTurn.size());
    _metrics.inFlight(_sources.account.bytes());
}

/// Somebody has taken in what it was sent.
void HttpServer::textsMayHaveGone() {
    if (_awaitTurn.empty() || _turnsAreNear || !_sources.account.hasRoom()) return;
    _turnsAreNear = true;
    asio::post(_context, [this] {
        _turnsAreNear = false;
        giveTurns();
    });
}

// --- Time ---------------------------------------------------------------------------------------

void HttpServer::watch() {
    _timer.expires_after(kWatchEvery);
    _timer.async_wait([this](error_code error) {
        if (error) return;
        _now = std::chrono::steady_clock::now();
        const std::vector<std::shared_ptr<HttpConnection>> all(_connections.begin(), _connections.end());
        const bool giveUp = _stopping && _now >= _giveUp;
        for (const auto& connection : all) giveUp ? connection->close() : connection->watch(_now);
        giveTurns();
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
