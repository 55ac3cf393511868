#include "service/Serve.h"

#include <fmt/format.h>
#include <sys/resource.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address_v6.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <csignal>
#include <cstdint>
#include <stdexcept>

#include "base/Output.h"
#include "debug.h"
#include "feeding/FeedingThread.h"
#include "feeding/ServiceObserver.h"
#include "platform/HostLog.h"
#include "platform/LockWatch.h"
#include "service/Api.h"
#include "service/HttpServer.h"
#include "service/ServiceMetrics.h"

namespace pis::service {

namespace asio = boost::asio;

namespace {

struct ListenAddress {
    std::string host;
    unsigned short port;

    /// As it stands in an address for a browser.
    std::string inUrl() const { return host.find(':') == std::string::npos ? host : "[" + host + "]"; }
};

ListenAddress listenAddressOf(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    const std::string fault =
        "--listen: must be ADDRESS:PORT such as 127.0.0.1:8080 or [::1]:8080, not " + base::quoted(text);
    if (colon == std::string::npos) throw std::runtime_error(fault);
    std::string host = text.substr(0, colon);
    if (host.size() > 2 && host.front() == '[' && host.back() == ']') host = host.substr(1, host.size() - 2);
    const std::string port = text.substr(colon + 1);
    constexpr unsigned long kHighestPort = 65535;
    if (host.empty() || port.empty() || port.size() > 5 || port.find_first_not_of("0123456789") != std::string::npos ||
        std::stoul(port) > kHighestPort) {
        throw std::runtime_error(fault);
    }
    return {host == "localhost" ? "127.0.0.1" : host, static_cast<unsigned short>(std::stoul(port))};
}

/// Sees to it that every connection can have its descriptor, or that there are no more than descriptors.
void provideDescriptors(HttpLimits& limits) {
    constexpr rlim_t kOthers = 128;  // link, log, those that are being refused
    const rlim_t wanted = limits.connections + kOthers;
    rlimit allowed{};
    if (getrlimit(RLIMIT_NOFILE, &allowed) != 0 || allowed.rlim_cur >= wanted) return;
    rlimit raised = allowed;
    raised.rlim_cur = allowed.rlim_max == RLIM_INFINITY ? wanted : std::min(wanted, allowed.rlim_max);
    if (setrlimit(RLIMIT_NOFILE, &raised) != 0) raised = allowed;
    if (raised.rlim_cur >= wanted) return;
    limits.connections = raised.rlim_cur > 2 * kOthers ? raised.rlim_cur - kOthers : kOthers;
    base::complain(fmt::format("this system allows {} open files: the service takes {} connections at most",
                               raised.rlim_cur, limits.connections));
}

/// A name or address as a `Host` bears it, without its port, in lower case.
std::string asInHostHeader(std::string host) {
    for (char& character : host) {
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
    }
    if (host.find(':') == std::string::npos || (host.front() == '[' && host.back() == ']')) return host;
    boost::system::error_code notAnAddress;
    asio::ip::make_address_v6(host, notAnAddress);
    if (notAnAddress)
        throw std::runtime_error("--allow-host: must be a name or address without port, not " + base::quoted(host));
    return "[" + host + "]";
}

std::set<std::string> hostsOf(const ServeOptions& options, const ListenAddress& address) {
    std::set<std::string> hosts{"localhost", "127.0.0.1", "[::1]", asInHostHeader(address.inUrl())};
    for (const std::string& host : options.allowedHosts) hosts.insert(asInHostHeader(host));
    return hosts;
}

LinkOptions linkOf(const ServeOptions& options) {
    LinkOptions link = options.link;
    link.speed = link.simulation.speed.value_or(0);
    return link;
}

/// The service from its first to its last moment. Members end in the reverse of this order: nobody is told
/// by something that is gone.
class LiveService {
public:
    explicit LiveService(const ServeOptions& options)
        : _address(listenAddressOf(options.listen)),
          _clock(options.clock),
          _tokens(std::chrono::system_clock::now()),
          _report(_tokens, _clock, options.staleAfter),
          _feeding(gPassengerInformationServer, makeLink(linkOf(options)), _published, {options.maxElements}),
          _api(
              {_published, _clock, _report, _tokens, [this] { return _metrics.text(sources(), wallTime()); }, wallTime},
              {hostsOf(options, _address), options.openMetrics}),
          _changes(_tokens, [this](const picture::Picture& picture) { return _report.tick(picture, wallTime()); }),
          _signals(_context, SIGINT, SIGTERM, SIGHUP) {
        HttpLimits limits = options.limits;
        provideDescriptors(limits);
        _server.emplace(_context, limits, _api, _changes, _published, _metrics);
    }

    void run() {
        const unsigned short port = _server->listen(_address.host, _address.port);
        awaitSignal();
        _published.setListener([this] { announce(); });
        platform::LockWatch::switchOn();
        gPassengerInformationServer.registerObserver(&observer());
        sayWhere(port);
        startFeeding();
        _context.run();
        _feeding.stop();
    }

    LiveService(const LiveService&) = delete;
    LiveService& operator=(const LiveService&) = delete;

private:
    static base::WallTime wallTime() { return std::chrono::system_clock::now(); }

    /// The store cannot forget an observer: this one lives as long as the program.
    static feeding::ServiceObserver& observer() {
        static feeding::ServiceObserver theObserver;
        return theObserver;
    }

    ServiceMetrics::Sources sources() const { return {_feeding, observer(), _published, _report}; }

    /// Threads inherit what is blocked here: signals are for the main thread.
    void startFeeding() {
        sigset_t ours;
        sigset_t before;
        sigemptyset(&ours);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&ours, signal);
        pthread_sigmask(SIG_BLOCK, &ours, &before);
        _feeding.start();
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
    }

    void sayWhere(unsigned short port) const {
        const std::string root = fmt::format("http://{}:{}/", _address.inUrl(), port);
        base::remark(
            fmt::format("listening on {}\n  boards   {}\n  API      {}api/v1/status, described in "
                        "{}api/v1/openapi.json\n  changes  {}api/v1/changes\n  link     {}\n",
                        root, root, root, root, root, _feeding.linkName()));
    }

    /// On the feeding thread: one note on its way is enough, however many pictures come meanwhile.
    void announce() {
        if (_announced.exchange(true)) return;
        asio::post(_context, [this] {
            _announced = false;
            _server->pictureChanged();
        });
    }

    void awaitSignal() {
        _signals.async_wait([this](boost::system::error_code error, int signal) {
            if (error) return;
            if (signal == SIGHUP) {
                reopenLog();
                return awaitSignal();
            }
            _feeding.stop();
            _server->stop();
        });
    }

    /// A log that cannot be opened again goes on where it was; the service goes on either way.
    static void reopenLog() {
        try {
            platform::HostLog::reopen();
        } catch (const std::exception& error) {
            handleError(2, "%s: %s", "SIGHUP", error.what());
        }
    }

    const ListenAddress _address;
    const picture::ServiceClock _clock;
    const RevisionTokens _tokens;
    const FeedReport _report;
    ServiceMetrics _metrics;
    asio::io_context _context{1};
    std::atomic<bool> _announced{false};
    picture::PublishedPicture _published;
    feeding::FeedingThread _feeding;
    Api _api;
    ChangeStream _changes;
    asio::signal_set _signals;
    std::optional<HttpServer> _server;
};

}  // namespace

base::ExitStatus serve(const ServeOptions& options) {
    std::signal(SIGPIPE, SIG_IGN);  // whoever reads the log may go; the service stays
    platform::HostLog::setLevel(options.debugLevel);
    if (!options.logFile.empty()) platform::HostLog::writeTo(options.logFile);
    LiveService(options).run();
    platform::HostLog::finish();
    return base::DONE;
}

}  // namespace pis::service
