#include "simulator/SimulatedPort.h"

#include <unistd.h>

#include <algorithm>
#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/write.hpp>
#include <list>
#include <stdexcept>
#include <utility>

#include "base/HostAndPort.h"
#include "simulator/OperationLine.h"
#include "simulator/RunningRailway.h"

namespace pis::simulator {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;
using Clock = RunningRailway::Clock;

namespace {

constexpr int kStepsAtOnce = 100;  // seconds of railway time between two looks at the connections
constexpr std::chrono::hours kLongestWait{1};
constexpr std::chrono::milliseconds kBeforeAcceptingAgain{100};

std::string textOf(const tcp::endpoint& endpoint) {
    return base::textOf({endpoint.address().to_string(), endpoint.port()});
}

/// One connection. Lines wait here until the receiver takes them; operations are handed on line by line.
class Session : public std::enable_shared_from_this<Session> {
public:
    using OnLine = std::function<void(const Session& session, std::string_view line)>;
    using OnOver = std::function<void()>;

    Session(tcp::socket socket, OnLine onLine, OnOver onOver)
        : _socket(std::move(socket)), _onLine(std::move(onLine)), _onOver(std::move(onOver)) {
        Error error;
        const tcp::endpoint peer = _socket.remote_endpoint(error);
        _name = error ? "a connection" : textOf(peer);
        _socket.set_option(tcp::no_delay(true), error);  // a railway second goes out when it happens
    }

    const std::string& name() const { return _name; }
    std::size_t waiting() const { return _filling.size() + _sending.size(); }

    /// Why the connection is over; empty while it lasts.
    const std::string& over() const { return _over; }

    void send(std::string_view line) {
        if (!_over.empty()) return;
        _filling.append(line).push_back('\n');
        if (_sending.empty()) write();
    }

    void receive() {
        asio::async_read_until(
            _socket, asio::dynamic_buffer(_received, SimulatedPort::kLongestLine), '\n',
            [self = shared_from_this()](Error error, std::size_t length) { self->received(error, length); });
    }

    void end(const std::string& why) {
        if (!_over.empty()) return;
        _over = why;
        Error error;
        _socket.shutdown(tcp::socket::shutdown_both, error);
        _socket.close(error);
        _onOver();
    }

private:
    void write() {
        _sending.swap(_filling);
        asio::async_write(_socket, asio::buffer(_sending), [self = shared_from_this()](Error error, std::size_t) {
            self->_sending.clear();
            if (error) return self->end(error.message());
            if (!self->_filling.empty() && self->_over.empty()) self->write();
        });
    }

    void received(Error error, std::size_t length) {
        if (!_over.empty()) return;
        if (error == asio::error::not_found) return end("an operation is longer than 1 MiB");
        if (error) return end(error == asio::error::eof ? "closed by the other side" : error.message());
        std::string_view line(_received.data(), length - 1);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (!line.empty()) _onLine(*this, line);
        _received.erase(0, length);
        if (_over.empty()) receive();
    }

    tcp::socket _socket;
    OnLine _onLine;
    OnOver _onOver;
    std::string _name;
    std::string _filling, _sending;  // lines that wait, lines that are being written
    std::string _received;
    std::string _over;
};

}  // namespace

class SimulatedPort::Server {
public:
    Server(const SimulationOptions& options, const std::string& address, Remark remark)
        : _remark(std::move(remark)), _railway(options, RunningRailway::Use::LINK) {
        listen(address);
        while (_railway.warmUp()) {
        }
    }

    std::string address() const { return textOf(_acceptor.local_endpoint()); }

    void endOn(const base::StopSignal& stop) {
        _stop.assign(dup(stop.descriptor()));
        _stop.async_wait(asio::posix::stream_descriptor::wait_read, [this](Error error) {
            if (!error) end();
        });
    }

    void run() {
        _railway.start(Clock::now());
        accept();
        goOn();
        _context.run();
    }

    void stop() {
        asio::post(_context, [this] { end(); });
    }

private:
    struct Receiver {
        std::shared_ptr<Session> session;
        RunningRailway::Connection* connection;
    };

    void listen(const std::string& address) {
        try {
            const base::HostAndPort where = base::hostAndPortIn(address);
            const auto found =
                tcp::resolver(_context).resolve(where.host, std::to_string(where.port), tcp::resolver::passive);
            const tcp::endpoint endpoint = found.begin()->endpoint();
            _acceptor.open(endpoint.protocol());
            _acceptor.set_option(tcp::acceptor::reuse_address(true));
            _acceptor.bind(endpoint);
            _acceptor.listen();
        } catch (const std::invalid_argument& error) {
            throw std::runtime_error("cannot listen on " + address + ": " + error.what());
        } catch (const boost::system::system_error& error) {
            throw std::runtime_error("cannot listen on " + address + ": " + error.code().message());
        }
    }

    void accept() {
        _acceptor.async_accept([this](Error error, tcp::socket socket) {
            if (_ended) return;
            if (!error) {
                welcome(std::move(socket));
                return accept();
            }
            _remark("a connection could not be accepted: " + error.message());
            _acceptAgain.expires_after(kBeforeAcceptingAgain);
            _acceptAgain.async_wait([this](Error cancelled) {
                if (!cancelled) accept();
            });
        });
    }

    void welcome(tcp::socket socket) {
        const auto session = std::make_shared<Session>(
            std::move(socket), [this](const Session& from, std::string_view line) { answer(from, line); },
            [this] { asio::post(_context, [this] { sweep(Clock::now()); }); });
        _remark(session->name() + ": connected");
        RunningRailway::Connection& connection =
            _railway.connect([session](std::string_view line) { session->send(line); }, Clock::now());
        _receivers.push_back({session, &connection});
        session->receive();
        goOn();
    }

    void answer(const Session& from, std::string_view line) {
        try {
            const OperationLine operation = parseOperationLine(line);
            _remark(from.name() + ": " + _railway.answer(operation.operation, operation.text, Clock::now()).text);
        } catch (const std::invalid_argument& error) {
            _remark(from.name() + ": a line is no operation, refused: it " + error.what());
        }
        goOn();
    }

    /// Does what is due and waits for what comes next.
    void goOn() {
        if (_ended) return;
        const Clock::time_point now = Clock::now();
        int steps = 0;
        while (steps < kStepsAtOnce && _railway.step(now)) ++steps;
        sweep(now);
        _timer.expires_at(steps == kStepsAtOnce ? now : std::min(_railway.nextDue(now), now + kLongestWait));
        _timer.async_wait([this](Error cancelled) {
            if (!cancelled) goOn();
        });
    }

    /// Lets go of connections that are over, or are to be cut, or do not read.
    void sweep(Clock::time_point now) {
        for (const Receiver& receiver : _receivers) {
            if (receiver.connection->cut(now)) receiver.session->end("cut, as the faults ask for");
            if (receiver.session->waiting() + receiver.connection->heldBytes() > kMostWaiting) {
                receiver.session->end("dropped: it does not read, and more than 8 MiB wait for it");
            }
        }
        _receivers.remove_if([this](const Receiver& receiver) {
            if (receiver.session->over().empty()) return false;
            const std::string faults = receiver.connection->faultsDone();
            if (!faults.empty()) _remark(receiver.session->name() + ": " + faults);
            _remark(receiver.session->name() + ": " + receiver.session->over());
            _railway.disconnect(*receiver.connection);
            return true;
        });
    }

    void end() {
        _ended = true;
        Error error;
        _acceptor.close(error);
        _acceptAgain.cancel();
        _timer.cancel();
        _stop.close(error);
        for (const Receiver& receiver : _receivers) receiver.session->end("the simulation ends");
        sweep(Clock::now());
    }

    Remark _remark;
    asio::io_context _context{1};
    tcp::acceptor _acceptor{_context};
    asio::posix::stream_descriptor _stop{_context};
    asio::steady_timer _timer{_context};
    asio::steady_timer _acceptAgain{_context};
    RunningRailway _railway;
    std::list<Receiver> _receivers;
    bool _ended = false;
};

SimulatedPort::SimulatedPort(const SimulationOptions& options, const std::string& address, Remark remark)
    : _server(std::make_unique<Server>(options, address, std::move(remark))) {}
SimulatedPort::~SimulatedPort() = default;

std::string SimulatedPort::address() const {
    return _server->address();
}

void SimulatedPort::endOn(const base::StopSignal& stop) {
    _server->endOn(stop);
}

void SimulatedPort::run() {
    _server->run();
}

void SimulatedPort::stop() {
    _server->stop();
}

}  // namespace pis::simulator
