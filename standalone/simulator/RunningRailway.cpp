#include "simulator/RunningRailway.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <stdexcept>
#include <utility>

#include "base/Numbers.h"
#include "feed/FeedWriter.h"
#include "simulator/Network.h"

namespace pis::simulator {

namespace {

constexpr int kDay = 24 * 3600;

/// A time given on the command line, within the operating day: what lies before its beginning is meant for
/// after midnight.
int timeOfDay(const Network& network, int time, const char* option) {
    const int ofDay = time < network.dayBegins ? time + kDay : time;
    if (ofDay < network.dayEnds()) return ofDay;
    throw std::runtime_error(network.source + ": " + option + " lies beyond the end of the operating day");
}

RunningRailway::Clock::duration wallSeconds(double seconds) {
    constexpr double kFar = 1e9;
    return std::chrono::duration_cast<RunningRailway::Clock::duration>(
        std::chrono::duration<double>(std::min(seconds, kFar)));
}

}  // namespace

RunningRailway::Connection::Connection(const FaultPlan& plan, std::uint32_t seed, Clock::time_point since,
                                       FaultInjector::Output output)
    : _faults(plan, seed), _faulty(plan.any()), _since(since), _output(std::move(output)) {}

std::string RunningRailway::Connection::faultsDone() const {
    if (!_faulty) return "";
    const FaultInjector::Counts& counts = _faults.counts();
    return "faults on " + base::counted(counts.lines, "line") + ": " + base::grouped(counts.dropped) + " dropped, " +
           base::grouped(counts.duplicated) + " duplicated, " + base::grouped(counts.garbled) + " garbled, " +
           base::grouped(counts.held) + " held back";
}

RunningRailway::RunningRailway(const SimulationOptions& options, Use use)
    : _options(options), _use(use), _speed(options.speed.value_or(use == Use::LINK ? 1 : 0)) {
    const Network network = readNetwork(options.networkFile);
    _start = options.start ? timeOfDay(network, *options.start, "--start") : network.dayBegins;
    if (options.until) {
        _until = timeOfDay(network, *options.until, "--until");
    } else if (use == Use::RECORDING) {
        _until = network.dayEnds() - 1;  // the next day begins at its end
    }
    if (_until <= _start) throw std::runtime_error("--until must lie behind --start");
    if (options.snapshotMinutes > 0) _nextSnapshot = _start + options.snapshotMinutes * 60;
    _simulation = std::make_unique<Simulation>(network, options.seed);
}

bool RunningRailway::warmUp() {
    const bool left = _simulation->nextAt() <= _start;
    advance(left ? _simulation->nextAt() : _start, [](const feed::FeedRecord&) {});
    return left;
}

void RunningRailway::start(Clock::time_point now) {
    _startedAt = now;
}

RunningRailway::Connection& RunningRailway::connect(FaultInjector::Output output, Clock::time_point now) {
    const std::uint32_t seed = _options.seed + ++_connectionsMade;
    Connection made(_options.faults, seed, now, std::move(output));
    _simulation->reportWholeState([&](const feed::FeedRecord& record) {
        made._faults.pass(toJsonLine(record), FaultInjector::Line::WHOLE_STATE, made.age(now), made._output);
    });
    return _connections.emplace_back(std::move(made));
}

void RunningRailway::disconnect(Connection& connection) {
    _connections.remove_if([&connection](const Connection& each) { return &each == &connection; });
}

bool RunningRailway::step(Clock::time_point now) {
    for (Connection& connection : _connections) connection._faults.release(connection.age(now), connection._output);
    const std::int64_t next = nextSecond();
    if (next == kNever || timeOf(next) > now) return false;
    advance(next, toAll(now));
    if (next == _until) {
        _ended = true;
        if (_use == Use::LINK) tellWholeState(now);
    } else if (next == _nextSnapshot) {
        _nextSnapshot += _options.snapshotMinutes * 60;
        tellWholeState(now);
    }
    return true;
}

RunningRailway::Clock::time_point RunningRailway::nextDue(Clock::time_point now) const {
    const std::int64_t next = nextSecond();
    Clock::time_point due = next == kNever ? Clock::time_point::max() : timeOf(next);
    for (const Connection& connection : _connections) {
        const double change = connection._faults.nextChange(connection.age(now));
        if (std::isfinite(change)) due = std::min(due, connection._since + wallSeconds(change));
    }
    return due;
}

OperationReport RunningRailway::answer(int operation, const std::string& text, Clock::time_point now) {
    return _simulation->answer(operation, text, toAll(now));
}

std::int64_t RunningRailway::nextSecond() const {
    if (_ended) return kNever;
    return std::min({std::int64_t{_simulation->day()} * kDay + _simulation->nextAt(), _nextSnapshot, _until});
}

RunningRailway::Clock::time_point RunningRailway::timeOf(std::int64_t second) const {
    if (_speed <= 0) return _startedAt;
    return _startedAt + wallSeconds(static_cast<double>(second - _start) / _speed);
}

void RunningRailway::advance(std::int64_t second, const Simulation::Emit& emit) {
    _simulation->advanceTo(static_cast<int>(second - std::int64_t{_simulation->day()} * kDay), emit);
}

Simulation::Emit RunningRailway::toAll(Clock::time_point now) {
    return [this, now](const feed::FeedRecord& record) {
        if (_connections.empty()) return;
        const std::string line = toJsonLine(record);
        const auto kind = _simulation->inWholeState() ? FaultInjector::Line::WHOLE_STATE : FaultInjector::Line::LIVE;
        for (Connection& connection : _connections) {
            connection._faults.pass(line, kind, connection.age(now), connection._output);
        }
    };
}

void RunningRailway::tellWholeState(Clock::time_point now) {
    _simulation->reportWholeState(toAll(now));
}

}  // namespace pis::simulator
