#include "simulator/SimulatedSide.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace pis::simulator {

namespace {

constexpr std::chrono::milliseconds kBeforeReconnect{200};
constexpr std::chrono::hours kLongestWait{1};  // clocks of condition variables do not reach the far future

}  // namespace

class SimulatedSide::Run {
public:
    using Clock = RunningRailway::Clock;

    Run(const SimulationOptions& options, RunningRailway::Use use) : _railway(options, use), _use(use) {}

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
            const std::lock_guard<std::mutex> guard(_mutex);
            _operations.push_back({operation, std::move(text)});
        }
        _something.notify_all();
    }

    void stop() {
        {
            const std::lock_guard<std::mutex> guard(_mutex);
            _stopped = true;
        }
        _something.notify_all();
    }

private:
    struct Operation {
        int code;
        std::string text;
    };

    bool stopped() {
        const std::lock_guard<std::mutex> guard(_mutex);
        return _stopped;
    }

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
        std::vector<Operation> operations;
        {
            const std::lock_guard<std::mutex> guard(_mutex);
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

    void waitUntil(Clock::time_point due) {
        if (_connection == nullptr) due = std::min(due, _connectAt);
        due = std::min(due, Clock::now() + kLongestWait);
        std::unique_lock<std::mutex> lock(_mutex);
        _something.wait_until(lock, due, [this] { return _stopped || !_operations.empty(); });
    }

    RunningRailway _railway;
    const RunningRailway::Use _use;
    RunningRailway::Connection* _connection = nullptr;
    Clock::time_point _connectAt{};
    std::mutex _mutex;
    std::condition_variable _something;
    std::vector<Operation> _operations;  // guarded by _mutex
    bool _stopped = false;               // guarded by _mutex
};

SimulatedSide::SimulatedSide(const SimulationOptions& options, RunningRailway::Use use)
    : _run(std::make_unique<Run>(options, use)) {}
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
