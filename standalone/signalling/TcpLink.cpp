#include "signalling/TcpLink.h"

#include <netinet/tcp.h>
#include <sys/socket.h>

#include <atomic>
#include <boost/asio/buffer.hpp>
#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include "base/Mutex.h"
#include "feed/ByteSource.h"
#include "feed/RecordReader.h"
#include "platform/HostLog.h"
#include "signalling/ReconnectPause.h"

namespace pis::signalling {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

using Clock = std::chrono::steady_clock;
using Endpoints = std::vector<tcp::endpoint>;

/// What is found under a host's name.
struct Found {
    std::string fault;
    Endpoints endpoints;
};

/// What became of looking up a name. That cannot be called off: a thread of its own does it, and leaves the answer
/// here, where nobody may wait for it any more.
struct LookUpAnswer {
    base::Mutex mutex;
    std::condition_variable_any arrival;
    bool isOver PIS_GUARDED_BY(mutex) = false;  ///< The answer is here, or nobody wants it.
    std::vector<std::string> addresses PIS_GUARDED_BY(mutex);
    std::string fault PIS_GUARDED_BY(mutex);

    void end() {
        {
            const base::MutexLock lock(mutex);
            isOver = true;
        }
        arrival.notify_all();
    }
};

void startToLookUp(const TcpLink::LookUp& lookUp, const std::string& host, std::shared_ptr<LookUpAnswer> answer) {
    std::thread([lookUp, host, answer = std::move(answer)] {
        std::vector<std::string> addresses;
        std::string fault;
        try {
            addresses = lookUp(host);
        } catch (const std::exception& error) {
            fault = error.what();
        }
        {
            const base::MutexLock lock(answer->mutex);
            answer->addresses = std::move(addresses);
            answer->fault = std::move(fault);
        }
        answer->end();
    }).detach();
}

/// A connection on which nothing comes for long is looked after: a dead peer is noticed within a minute.
void keepAlive(tcp::socket& socket) {
    const auto set = [&socket](int level, int option, int value) {
        setsockopt(socket.native_handle(), level, option, &value, sizeof value);
    };
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, 20);
    set(IPPROTO_TCP, TCP_KEEPINTVL, 10);
    set(IPPROTO_TCP, TCP_KEEPCNT, 3);
    set(IPPROTO_TCP, TCP_NODELAY, 1);
}

}  // namespace

/// One link's connection, made again and again. Its event loop runs on the link's thread whenever that one
/// waits: for a connection, for bytes, for the end of a pause. Operations go out meanwhile.
class TcpLink::Connection : private feed::ByteSource {
public:
    Connection(base::HostAndPort address, const TcpTiming& timing, LookUp lookUp)
        : _address(std::move(address)),
          _name(textOf(_address)),
          _lookUp(std::move(lookUp)),
          _timing(timing),
          _pause(timing.firstPause, timing.longestPause, timing.seed) {}

    const std::string& name() const { return _name; }

    void run(Inbox& inbox) {
        std::string lastFault;
        while (!_stopped) {
            std::string fault = connect();
            if (fault.empty()) {
                fault = receive(inbox);
                lastFault.clear();
            }
            if (_stopped) return;
            if (fault != lastFault && !inbox.put(LinkChange{feed::FeedStatus::DOWN, fault})) return;
            lastFault = fault;
            waitFor(_pause.next());
        }
    }

    bool send(const platform::SendOperation& operation) {
        {
            const base::MutexLock lock(_mutex);
            if (_connected && _waiting.size() < kMostWaiting) {
                _waiting.push_back(toJsonLine(operation) + "\n");
                if (_waiting.size() == 1) asio::post(_context, [this] { write(); });
                return true;
            }
            if (_connected) {
                sayOperationLost(operation,
                                 std::to_string(kMostWaiting) + " operations wait for " + _name + " already");
                return false;
            }
        }
        sayOperationLost(operation, "there is no connection to " + _name);
        return false;
    }

    void stop() {
        _stopped = true;
        std::shared_ptr<LookUpAnswer> answer;
        {
            const base::MutexLock lock(_mutex);
            answer = _answer;
        }
        if (answer != nullptr) answer->end();
        asio::post(_context, [this] {
            _timer.cancel();
            error_code ignored;
            _socket.close(ignored);
        });
    }

private:
    /// Runs the event loop until an operation that this thread waits for is over. An operation is over at the
    /// latest when stop() has closed the socket.
    void runUntil(const bool& isOver) {
        _context.restart();
        while (!isOver) _context.run_one();
    }

    /// Finds the addresses of the host. An address needs no looking up.
    Found find(Clock::time_point deadline) {
        Found found;
        error_code notNumeric;
        const asio::ip::address numeric = asio::ip::make_address(_address.host, notNumeric);
        if (!notNumeric) return {"", {tcp::endpoint(numeric, _address.port)}};

        const auto answer = std::make_shared<LookUpAnswer>();
        {
            const base::MutexLock lock(_mutex);
            _answer = answer;
        }
        if (_stopped) answer->end();  // stop() may have come before there was anything to end
        startToLookUp(_lookUp, _address.host, answer);
        base::MutexLock lock(answer->mutex);
        while (!answer->isOver) {
            if (answer->arrival.wait_until(lock, deadline) != std::cv_status::timeout) continue;
            return {"its address was not found within " + std::to_string(_timing.connectLimit.count()) + " ms", {}};
        }
        found.fault = answer->fault;
        for (const std::string& address : answer->addresses) {
            error_code none;
            const asio::ip::address each = asio::ip::make_address(address, none);
            if (none) return {address + " is no address", {}};
            found.endpoints.emplace_back(each, _address.port);
        }
        if (found.endpoints.empty() && found.fault.empty()) found.fault = "it has no address";
        return found;
    }

    /// Connects. Returns an empty text, or why it failed.
    std::string connect() {
        const Clock::time_point deadline = Clock::now() + _timing.connectLimit;
        const std::string failed = "cannot connect to " + _name + ": ";
        const Found found = find(deadline);
        if (!found.fault.empty()) return failed + found.fault;

        bool isOver = false;
        bool timeIsUp = false;
        error_code result;
        _socket = tcp::socket(_context);
        _timer.expires_at(deadline);
        _timer.async_wait([&](error_code cancelled) {
            if (cancelled || isOver) return;
            timeIsUp = true;
            error_code ignored;
            _socket.close(ignored);
        });
        asio::async_connect(
            _socket, found.endpoints, [&](const error_code&, const tcp::endpoint&) { return !timeIsUp && !_stopped; },
            [&](const error_code& error, const tcp::endpoint&) {
                result = error;
                isOver = true;
                _timer.cancel();
            });
        runUntil(isOver);
        _context.poll();  // the timer's handler speaks of what stands here
        if (timeIsUp) return failed + "no answer within " + std::to_string(_timing.connectLimit.count()) + " ms";
        if (result) return failed + result.message();
        keepAlive(_socket);
        return {};
    }

    /// Puts what comes into the inbox until the connection falls. Returns why it fell.
    std::string receive(Inbox& inbox) {
        std::string why;
        try {
            _failure.clear();
            if (inbox.put(LinkChange{feed::FeedStatus::UP, ""})) {
                setConnected(true);
                takeRecords(inbox);
            }
            why = _name + (_failure.empty() ? " closed the connection" : ": " + _failure);
        } catch (const std::exception& error) {
            why = std::string("the connection was given up: ") + error.what();
        }
        disconnect();
        return why;
    }

    void takeRecords(Inbox& inbox) {
        feed::RecordReader records(*this);
        while (!_stopped) {
            feed::FeedRecord record;
            switch (records.next(record)) {
                case feed::RecordReader::Next::RECORD:
                    _pause.reset();
                    if (!inbox.put(std::move(record))) return;
                    break;
                case feed::RecordReader::Next::MALFORMED:
                    if (!inbox.put(MalformedLine{record.type, records.fault()})) return;
                    break;
                case feed::RecordReader::Next::UNREADABLE:
                case feed::RecordReader::Next::END: return;
            }
        }
    }

    void disconnect() {
        setConnected(false);
        error_code ignored;
        _socket.close(ignored);
        _context.restart();
        while (_isWriting) _context.run_one();
    }

    void setConnected(bool connected) {
        std::size_t lost = 0;
        {
            const base::MutexLock lock(_mutex);
            _connected = connected;
            lost = _waiting.size();
            _waiting.clear();
        }
        if (lost > 0)
            platform::HostLog::say(std::to_string(lost) + " operations are lost: the connection to " + _name + " fell");
    }

    void waitFor(std::chrono::milliseconds pause) {
        bool isOver = false;
        _timer.expires_after(pause);
        _timer.async_wait([&isOver](error_code) { isOver = true; });
        if (_stopped) _timer.cancel();
        runUntil(isOver);
    }

    // --- The bytes that come in -----------------------------------------------------------------

    std::size_t read(char* to, std::size_t room) override {
        if (_stopped || !_failure.empty()) return 0;
        bool isOver = false;
        std::size_t count = 0;
        error_code result;
        _socket.async_read_some(asio::buffer(to, room), [&](const error_code& error, std::size_t got) {
            result = error;
            count = got;
            isOver = true;
        });
        runUntil(isOver);
        if (result && result != asio::error::eof && _failure.empty()) _failure = result.message();
        _received += count;
        return count;
    }

    const std::string& failure() const override { return _failure; }
    std::uint64_t consumed() const override { return _received; }

    // --- The operations that go out -------------------------------------------------------------

    /// Writes the first operation that waits, and goes on with the next. Runs in the event loop.
    void write() {
        if (_isWriting) return;
        {
            const base::MutexLock lock(_mutex);
            if (_waiting.empty()) return;
            _line = _waiting.front();
        }
        _isWriting = true;
        asio::async_write(_socket, asio::buffer(_line), [this](const error_code& error, std::size_t) {
            _isWriting = false;
            if (error) {
                if (_failure.empty()) _failure = error.message();
                error_code ignored;
                _socket.close(ignored);
                return;
            }
            {
                const base::MutexLock lock(_mutex);
                if (!_waiting.empty()) _waiting.pop_front();
            }
            write();
        });
    }

    const base::HostAndPort _address;
    const std::string _name;
    const LookUp _lookUp;
    const TcpTiming _timing;
    ReconnectPause _pause;
    std::atomic<bool> _stopped{false};

    // The link's thread alone, but for posting.
    asio::io_context _context;
    tcp::socket _socket{_context};
    asio::steady_timer _timer{_context};
    std::string _failure;
    std::uint64_t _received = 0;
    std::string _line;  // that is being written
    bool _isWriting = false;

    base::Mutex _mutex;
    std::deque<std::string> _waiting PIS_GUARDED_BY(_mutex);  // lines to be written
    bool _connected PIS_GUARDED_BY(_mutex) = false;
    std::shared_ptr<LookUpAnswer> _answer PIS_GUARDED_BY(_mutex);  // of the look-up begun last; null before
};

std::vector<std::string> addressesOf(const std::string& host) {
    asio::io_context context;
    tcp::resolver resolver(context);
    error_code error;
    std::vector<std::string> addresses;
    for (const auto& entry : resolver.resolve(host, "", error)) {
        addresses.push_back(entry.endpoint().address().to_string());
    }
    if (error) throw std::runtime_error(error.message());
    return addresses;
}

TcpLink::TcpLink(const base::HostAndPort& address, const TcpTiming& timing, LookUp lookUp)
    : _connection(std::make_unique<Connection>(address, timing, std::move(lookUp))) {}

TcpLink::~TcpLink() = default;

void TcpLink::run(Inbox& inbox) {
    try {
        _connection->run(inbox);
    } catch (const std::exception& error) {
        inbox.put(LinkChange{feed::FeedStatus::DOWN, std::string("the link gave up: ") + error.what()});
    }
}

bool TcpLink::send(const platform::SendOperation& operation) {
    return _connection->send(operation);
}

void TcpLink::stop() {
    _connection->stop();
}

std::string TcpLink::name() const {
    return "tcp://" + _connection->name();
}

}  // namespace pis::signalling
