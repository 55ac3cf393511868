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
#include <map>
#include <memory>
#include <string>
#include <unordered_set>

#include "base/RareLog.h"
#include "service/Api.h"
#include "service/ChangeStream.h"
#include "service/HttpLimits.h"
#include "service/Problem.h"
#include "service/ServiceMetrics.h"
#include "service/TrustedProxies.h"

namespace pis::service {

class HttpConnection;

class HttpServer {
public:
    HttpServer(boost::asio::io_context& context, HttpLimits limits, Api& api, ChangeStream& changes,
               const picture::PublishedPicture& published, ServiceMetrics& metrics, TrustedProxies proxies = {});
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

    void accept();
    void accepted(boost::asio::ip::tcp::socket socket);
    void refuse(const std::shared_ptr<HttpConnection>& connection, const Problem& noRoom);
    void leaveOwnProbes(HttpConnection& connection);
    void closed(HttpConnection& connection);
    bool admit(const boost::asio::ip::address& client);
    void release(const boost::asio::ip::address& client);
    void watch();

    boost::asio::io_context& _context;
    const HttpLimits _limits;
    Api& _api;
    ChangeStream& _changes;
    const picture::PublishedPicture& _published;
    ServiceMetrics& _metrics;
    const TrustedProxies _proxies;
    boost::asio::ip::tcp::acceptor _acceptor;
    boost::asio::steady_timer _timer;
    boost::asio::steady_timer _pause;  // after accepting failed
    base::RareLog _acceptFaults;
    std::unordered_set<std::shared_ptr<HttpConnection>> _connections;
    std::size_t _admitted = 0;
    std::size_t _refusals = 0;                               // only hear why there is no room
    std::deque<std::shared_ptr<HttpConnection>> _ownProbes;  // the longest there first
    std::map<boost::asio::ip::address, std::size_t> _perAddress;
    bool _stopping = false;
    std::chrono::steady_clock::time_point _giveUp;
};

}  // namespace pis::service

#endif
