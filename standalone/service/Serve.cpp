#include "service/Serve.h"

#include <fmt/format.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address_v6.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "base/HostAndPort.h"
#include "base/Interrupt.h"
#include "base/Output.h"
#include "base/Text.h"
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

base::HostAndPort listenAddressOf(const std::string& text) {
    try {
        base::HostAndPort address = base::hostAndPortIn(text);
        if (address.host == "localhost") address.host = "127.0.0.1";
        return address;
    } catch (const std::invalid_argument& fault) {
        throw std::runtime_error("--listen: must be ADDRESS:PORT such as 127.0.0.1:8080 or [::1]:8080, not " +
                                 base::quoted(text) + ": " + fault.what());
    }
}

/// Files that are open already, those that whoever started the program left open among them.
rlim_t openFiles() {
    std::error_code error;
    const std::filesystem::directory_iterator files("/proc/self/fd", error);
    return static_cast<rlim_t>(std::distance(begin(files), end(files)));
}

/// Sees to it that every connection can have its descriptor, or that no more of them are promised than there are. Some
/// are kept for the link, the log and whatever else the service opens as it goes on.
/// @param asked whether the operator asked for so many connections.
void provideDescriptors(HttpLimits& limits, bool asked) {
    constexpr rlim_t kToCome = 24;  // event loops, the listening socket, link, look-ups, log
    constexpr rlim_t kFewest = 8;   // connections
    const rlim_t own = openFiles() + kToCome + limits.ownProbes;
    const rlim_t wanted = limits.connections + limits.refusals + own;
    rlimit allowed{};
    if (getrlimit(RLIMIT_NOFILE, &allowed) != 0 || allowed.rlim_cur >= wanted) return;
    rlimit raised = allowed;
    raised.rlim_cur = std::min(wanted, allowed.rlim_max);
    if (setrlimit(RLIMIT_NOFILE, &raised) != 0) raised = allowed;
    if (raised.rlim_cur >= wanted) return;
    if (raised.rlim_cur < own + kFewest) {
        throw std::runtime_error(
            fmt::format("this system allows {} open files, the service needs {} at least: see "
                        "ulimit -n",
                        raised.rlim_cur, own + kFewest));
    }
    const rlim_t left = raised.rlim_cur - own;
    const rlim_t before = limits.connections;
    limits.refusals = std::min(limits.refusals, left / 4);
    limits.connections = std::min(limits.connections, left - limits.refusals);
    if (limits.connections == before) return;
    const std::string what = fmt::format("this system allows {} open files: the service takes {} connections at most",
                                         raised.rlim_cur, limits.connections);
    asked ? base::complain(fmt::format("--connections {}: {}; see ulimit -n", before, what))
          : base::remark(what + "\n");
}

/// A name or address as a `Host` bears it, without its port, in lower case.
std::string asInHostHeader(const std::string& given) {
    std::string host = base::lowered(given);
    if (host.find(':') == std::string::npos || (host.front() == '[' && host.back() == ']')) return host;
    boost::system::error_code notAnAddress;
    asio::ip::make_address_v6(host, notAnAddress);
    if (notAnAddress)
        throw std::runtime_error("--allow-host: must be a name or address without port, not " + base::quoted(given));
    return base::bracketed(host);
}

std::set<std::string> hostsOf(const ServeOptions& options, const base::HostAndPort& address) {
    std::set<std::string> hosts{"localhost", "127.0.0.1", "[::1]", asInHostHeader(address.host)};
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
          _account(options.limits.bytesInFlight),
          _report(_tokens, _clock, options.staleAfter),
          _feeding(gPassengerInformationServer, makeLink(linkOf(options)), _published,
                   {options.maxElements, options.maxBytes}),
          _api({_published, _clock, _report, _tokens, [this] { return _metrics.text(sources()); },
                [this] { return _feeding.counts(); }, wallTime, _account},
               {hostsOf(options, _address), options.openMetrics}),
          _changes(_tokens, _account, _documents,
                   [this](const picture::Picture& picture) { return _report.tick(picture, wallTime()); }),
          _stop(_context, dup(base::Interrupt::stopSignal().descriptor())),
          _hangUps(_context, SIGHUP) {
        _server.emplace(_context, options.limits,
                        HttpServer::Sources{_api, {_changes, _documents}, _account, _published}, _metrics,
                        TrustedProxies(options.trustedProxies));
    }

    /// False when the store still holds the feeding thread: no destructor may run then.
    bool run() {
        const unsigned short port = _server->listen(_address.host, _address.port);
        awaitStop();
        awaitHangUp();
        _published.setListener([this] { announce(); });
        platform::LockWatch::switchOn();
        gPassengerInformationServer.registerObserver(&observer());
        sayWhere(port);
        startFeeding();
        _context.run();
        return _feeding.stopWithin(kPatienceWithStore);
    }

    /// What stays undone when the store holds the feeding thread, for the log.
    std::string undone() const {
        const feeding::FeedingFigures left = _feeding.figures();
        return fmt::format(
            "the service ends while the store, or somebody that it tells, still holds the feeding thread, which nothing "
            "can interrupt: the record at hand is not done to its end, {} items of the link and {} requests behind it "
            "are not taken",
            left.inbox, left.requestsWaiting);
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

    ServiceMetrics::Sources sources() const {
        return {_feeding, observer(), _published, _report, _api.departureCache()};
    }

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
        const std::string root = fmt::format("http://{}/", textOf(base::HostAndPort{_address.host, port}));
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

    void awaitStop() {
        _stop.async_wait(asio::posix::stream_descriptor::wait_read, [this](boost::system::error_code error) {
            if (error) return;
            _hangUps.cancel();
            _feeding.askToStop();
            _server->stop();
        });
    }

    void awaitHangUp() {
        _hangUps.async_wait([this](boost::system::error_code error, int) {
            if (error) return;
            reopenLog();
            awaitHangUp();
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

    /// Once everybody at the server has had HttpLimits::lastWords; together less than two seconds.
    static constexpr std::chrono::milliseconds kPatienceWithStore{400};

    const base::HostAndPort _address;
    const picture::ServiceClock _clock;
    const RevisionTokens _tokens;
    TextAccount _account;
    DocumentTexts _documents{_account};
    const FeedReport _report;
    ServiceMetrics _metrics;
    asio::io_context _context{1};
    std::atomic<bool> _announced{false};
    picture::PublishedPicture _published;
    feeding::FeedingThread _feeding;
    Api _api;
    ChangeStream _changes;
    asio::posix::stream_descriptor _stop;
    asio::signal_set _hangUps;
    std::optional<HttpServer> _server;
};

/// Ends the process while a thread is still held, which must find everything as it was: no destructor runs. Should it
/// be the log that holds it, the log's last words are not waited for.
[[noreturn]] void endWithout(const std::string& undone) {
    constexpr std::chrono::milliseconds kLastWords{300};
    std::future<base::ExitStatus> said = std::async(std::launch::async, [&undone] {
        try {
            platform::HostLog::warn(undone);
            platform::HostLog::finish();
            return base::DONE;
        } catch (const std::exception& error) {
            base::reportFault(error.what());
            return base::FAILED;
        }
    });
    const bool isSaid = said.wait_for(kLastWords) == std::future_status::ready;
    std::_Exit(isSaid ? said.get() : base::FAILED);
}

}  // namespace

base::ExitStatus serve(const ServeOptions& options) {
    base::Interrupt::watch();
    std::signal(SIGPIPE, SIG_IGN);  // whoever reads the log may go; the service stays
    platform::HostLog::setLevel(options.debugLevel);
    if (!options.logFile.empty()) platform::HostLog::writeTo(options.logFile);
    ServeOptions possible = options;
    provideDescriptors(possible.limits, possible.connectionsAsked);
    {
        LiveService service(possible);
        if (!service.run()) endWithout(service.undone());
    }
    platform::HostLog::finish();
    return base::DONE;
}

}  // namespace pis::service
