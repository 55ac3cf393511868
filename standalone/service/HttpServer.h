// Listens, answers requests and feeds the readers of changes. Everything runs on the thread that runs the
// io_context.
#ifndef PIS_SERVICE_HTTPSERVER_H
#define PIS_SERVICE_HTTPSERVER_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "base/RareLog.h"
#include "service/AnswerWriter.h"
#include "service/Api.h"
#include "service/HttpLimits.h"
#include "service/Problem.h"
#include "service/ServiceMetrics.h"
#include "service/TextAccount.h"
#include "service/TrustedProxies.h"

namespace pis::service {

class HttpConnection;

class HttpServer {
public:
    /// What the server hands out, all of which outlives it.
    struct Sources {
        Api& api;
        AnswerWriter::Sources texts;
        const TextAccount& account;
        const picture::PublishedPicture& published;
    };

    HttpServer(boost::asio::io_context& context, HttpLimits limits, Sources sources, ServiceMetrics& metrics,
               TrustedProxies proxies = {});
    ~HttpServer();

    /// Listens; port 0 takes a free one.
    /// @return the port. @throws std::runtime_error that says what the address is in the way of.
    unsigned short listen(const std::string& address, unsigned short port);

    /// A new picture stands: readers of changes that wait hear of it.
    void pictureChanged();

    /// Ends every connection: streams with their last chunk, answers under way as soon as they are out,
    /// and everything that is left after a second at once.
    void stop();

    /// What a client is told whose address has no connection left.
    static Problem tooManyOfAddress();

private:
    friend class HttpConnection;

    /// The time, as of the latest look at the clock: some times a second and at each picture.
    std::chrono::steady_clock::time_point now() const { return _now; }

    void accept();
    void acceptWhoWaits();
    void accepted(boost::asio::ip::tcp::socket socket);
    void refuse(const std::shared_ptr<HttpConnection>& connection, const Problem& noRoom);
    void leaveOwnProbes(HttpConnection& connection);
    void closed(HttpConnection& connection);
    void streamBegan(HttpConnection& connection);
    void streamEnded(HttpConnection& connection);
    void tellSome();
    void writeLater(std::shared_ptr<HttpConnection> connection);
    void writeSome();
    std::function<bool()> sliceOfTime();
    void awaitTurn(HttpConnection& connection);
    void giveTurns();
    void textsMayHaveGone();
    bool admit(const boost::asio::ip::address& client);
    void release(const boost::asio::ip::address& client);
    void watch();

    boost::asio::io_context& _context;
    const HttpLimits _limits;
    const Sources _sources;
    ServiceMetrics& _metrics;
    const TrustedProxies _proxies;
    boost::asio::ip::tcp::acceptor _acceptor;
    boost::asio::steady_timer _timer;
    boost::asio::steady_timer _pause;  // after accepting failed
    base::RareLog _acceptFaults;
    std::unordered_set<std::shared_ptr<HttpConnection>> _connections;
    std::vector<HttpConnection*> _streams;  // of _connections; each knows its place here
    std::size_t _toTell = 0;                // of them, from the front, that have not heard of a picture yet
    bool _tellAgain = false;                // there is a newer one
    std::deque<std::shared_ptr<HttpConnection>> _toWrite;
    bool _writesSoon = false;
    std::deque<std::weak_ptr<HttpConnection>> _awaitTurn;
    bool _turnsAreNear = false;
    std::chrono::steady_clock::time_point _now = std::chrono::steady_clock::now();
    std::size_t _admitted = 0;
    std::size_t _refusals = 0;                               // only hear why there is no room
    std::deque<std::shared_ptr<HttpConnection>> _ownProbes;  // the longest there first
    std::map<boost::asio::ip::address, std::size_t> _perAddress;
    bool _stopping = false;
    std::chrono::steady_clock::time_point _giveUp;
};

}  // namespace pis::service

#endif
