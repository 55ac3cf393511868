#include "service/HttpServer.h"

#include <algorithm>
#include <boost/asio/error.hpp>
#include <boost/asio/post.hpp>
#include <stdexcept>
#include <utility>
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

HttpServer::HttpServer(asio::io_context& context, HttpLimits limits, Sources sources, ServiceMetrics& metrics,
                       TrustedProxies proxies)
    : _context(context),
      _limits(limits),
      _sources(sources),
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
    _acceptor.non_blocking(true, error);
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
            acceptWhoWaits();
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

/// Where one comes, many may: those who wait are taken in one go.
void HttpServer::acceptWhoWaits() {
    constexpr int kAtOnce = 64;
    error_code noMore;
    for (int taken = 0; taken < kAtOnce && !noMore; ++taken) {
        asio::ip::tcp::socket socket(_context);
        _acceptor.accept(socket, noMore);  // a fault comes again with the next one that is awaited
        if (!noMore) accepted(std::move(socket));
    }
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
    textsMayHaveGone();
    if (connection._isStream) streamEnded(connection);
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

// --- Work that takes long -------------------------------------------------------------------------

void HttpServer::pictureChanged() {
    _tellAgain = _toTell > 0;
    if (_tellAgain) return;  // those who have been told already come once more when all have
    _toTell = _streams.size();
    tellSome();
}

/// From the last to the first: whoever leaves meanwhile is replaced by one that has been told already.
void HttpServer::tellSome() {
    const std::shared_ptr<const picture::Picture> picture = _sources.published.current();
    const auto isOver = sliceOfTime();
    for (_toTell = std::min(_toTell, _streams.size()); _toTell > 0 && !isOver();) {
        _streams[--_toTell]->pictureChanged(picture);
    }
    if (_toTell > 0) return asio::post(_context, [this] { tellSome(); });
    giveTurns();
    if (std::exchange(_tellAgain, false)) pictureChanged();
}

void HttpServer::writeLater(std::shared_ptr<HttpConnection> connection) {
    _toWrite.push_back(std::move(connection));
    if (!std::exchange(_writesSoon, true)) asio::post(_context, [this] { writeSome(); });
}

/// Each writes what its socket takes, and stands at the end of the line for the next time.
void HttpServer::writeSome() {
    const auto isOver = sliceOfTime();
    for (std::size_t all = _toWrite.size(); all > 0 && !isOver(); --all) {
        const std::shared_ptr<HttpConnection> next = std::move(_toWrite.front());
        _toWrite.pop_front();
        next->writeOn(_sources.published.current());
    }
    _writesSoon = !_toWrite.empty();
    if (_writesSoon) asio::post(_context, [this] { writeSome(); });
}

/// Says when whoever works for many has to let others have their turn. Looks at the clock every now and then.
std::function<bool()> HttpServer::sliceOfTime() {
    constexpr std::chrono::milliseconds kSlice{3};
    constexpr unsigned kSteps = 8;
    _now = std::chrono::steady_clock::now();
    return [until = _now + kSlice, steps = 0U]() mutable {
        return ++steps % kSteps == 0 && std::chrono::steady_clock::now() >= until;
    };
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
        _acceptFaults.writeWhatIsDue(_now);
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
