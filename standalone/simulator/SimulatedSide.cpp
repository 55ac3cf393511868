#include "simulator/SimulatedSide.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>
#include <utility>
#include <vector>

#include "base/Mutex.h"

namespace pis::simulator {

namespace {

constexpr std::chrono::milliseconds kBeforeReconnect{200};
constexpr std::chrono::milliseconds kLongestWait{std::chrono::hours(1)};  // poll() does not reach the far future

/// Polls readable from a ring to the answer.
class Bell {
public:
    Bell() : _descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (_descriptor < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
    }
    ~Bell() { close(_descriptor); }
    Bell(const Bell&) = delete;
    Bell& operator=(const Bell&) = delete;

    void ring() const { eventfd_write(_descriptor, 1); }
    void answer() const {
        eventfd_t rings = 0;
        eventfd_read(_descriptor, &rings);
    }
    int descriptor() const { return _descriptor; }

private:
    int _descriptor;
};

}  // namespace

class SimulatedSide::Run {
public:
    using Clock = RunningRailway::Clock;

    Run(const SimulationOptions& options, RunningRailway::Use use, const base::StopSignal* program)
        : _railway(options, use), _use(use), _program(program) {}

    void run(SignallingLines& receiver) {
        while (_railway.warmUp()) {
            if (stopped()) return;
        }
        Clock::time_point now = Clock::now();
        _railway.start(now);
        while (!stopped()) {
            now = Clock::now();
            keepConnection(receiver, now);
            answerOperations(receiver, now);
            if (_railway.step(now)) continue;
            if (isOver()) break;
            waitUntil(_railway.nextDue(now));
        }
        if (_connection != nullptr) remarkFaults(receiver);
    }

    void answer(int operation, std::string text) {
        {
            const base::MutexLock lock(_mutex);
            _operations.push_back({operation, std::move(text)});
        }
        _bell.ring();
    }

    void stop() { _stop.give(); }

private:
    struct Operation {
        int code;
        std::string text;
    };

    bool stopped() const { return _stop.given() || (_program != nullptr && _program->given()); }

    /// Connects, and cuts the connection when its fault asks for that.
    void keepConnection(SignallingLines& receiver, Clock::time_point now) {
        if (_connection != nullptr && _connection->cut(now)) {
            remarkFaults(receiver);
            _railway.disconnect(*_connection);
            _connection = nullptr;
            _connectAt = now + kBeforeReconnect;
            receiver.onDisconnected("the connection was cut, as the faults ask for");
        }
        if (_connection != nullptr || now < _connectAt) return;
        receiver.onConnected();
        _connection = &_railway.connect([&receiver](std::string_view line) { receiver.onLine(line); }, now);
    }

    void remarkFaults(SignallingLines& receiver) const {
        const std::string done = _connection->faultsDone();
        if (!done.empty()) receiver.onRemark(done);
    }

    void answerOperations(SignallingLines& receiver, Clock::time_point now) {
        _bell.answer();
        std::vector<Operation> operations;
        {
            const base::MutexLock lock(_mutex);
            operations.swap(_operations);
        }
        for (const Operation& operation : operations) {
            receiver.onRemark(_railway.answer(operation.code, operation.text, now).text);
        }
    }

    bool isOver() const {
        if (_use != RunningRailway::Use::RECORDING || !_railway.ended()) return false;
        return _connection != nullptr && _connection->heldBytes() == 0;
    }

    /// Waits for the time, for an operation, or for the end.
    void waitUntil(Clock::time_point due) const {
        if (_connection == nullptr) due = std::min(due, _connectAt);
        const Clock::time_point now = Clock::now();
        const auto wait = std::chrono::ceil<std::chrono::milliseconds>(std::clamp(due, now, now + kLongestWait) - now);
        const int program = _program != nullptr ? _program->descriptor() : -1;
        std::array<pollfd, 3> watched{
            {{_bell.descriptor(), POLLIN, 0}, {_stop.descriptor(), POLLIN, 0}, {program, POLLIN, 0}}};
        poll(watched.data(), watched.size(), static_cast<int>(wait.count()));
    }

    RunningRailway _railway;
    const RunningRailway::Use _use;
    RunningRailway::Connection* _connection = nullptr;
    Clock::time_point _connectAt{};
    base::StopSignal _stop;
    const base::StopSignal* _program;  // the program's own, which stops it as well; may be null
    Bell _bell;                        // rings for operations
    base::Mutex _mutex;
    std::vector<Operation> _operations PIS_GUARDED_BY(_mutex);
};

SimulatedSide::SimulatedSide(const SimulationOptions& options, RunningRailway::Use use, const base::StopSignal* program)
    : _run(std::make_unique<Run>(options, use, program)) {}
SimulatedSide::~SimulatedSide() = default;

void SimulatedSide::run(SignallingLines& receiver) {
    _run->run(receiver);
}

void SimulatedSide::answer(int operation, std::string text) {
    _run->answer(operation, std::move(text));
}

void SimulatedSide::stop() {
    _run->stop();
}

}  // namespace pis::simulator
