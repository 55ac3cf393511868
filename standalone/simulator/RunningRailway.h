// A simulation in step with the wall clock, and the connections that it feeds. For one thread, which says what
// time it is: the in-process link and the TCP listener drive it.
#ifndef PIS_SIMULATOR_RUNNINGRAILWAY_H
#define PIS_SIMULATOR_RUNNINGRAILWAY_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <list>
#include <memory>
#include <string>
#include <string_view>

#include "simulator/FaultInjector.h"
#include "simulator/Simulation.h"
#include "simulator/SimulationOptions.h"

namespace pis::simulator {

class RunningRailway {
public:
    using Clock = std::chrono::steady_clock;

    enum class Use {
        LINK,      ///< Real time without --speed; at --until a last whole state, then silence, else day after day.
        RECORDING  ///< As fast as possible without --speed; ended at --until or with the operating day.
    };

    /// One receiver's lines on their way out, through faults of its own.
    class Connection {
    public:
        bool cut(Clock::time_point now) const { return _faults.cut(age(now)); }

        /// Bytes of the lines that faults hold back.
        std::size_t heldBytes() const { return _faults.heldBytes(); }

        /// What its faults have done so far, as a text; empty when it has none.
        std::string faultsDone() const;

    private:
        friend class RunningRailway;

        Connection(const FaultPlan& plan, std::uint32_t seed, Clock::time_point since, FaultInjector::Output output);
        double age(Clock::time_point now) const { return std::chrono::duration<double>(now - _since).count(); }

        FaultInjector _faults;
        bool _faulty;
        Clock::time_point _since;
        FaultInjector::Output _output;
    };

    /// @throws std::runtime_error for a network file with faults, or times outside its operating day.
    RunningRailway(const SimulationOptions& options, Use use);

    /// Runs up to the next event that lies before --start, told to nobody. False when none is left: now the
    /// clock may start.
    bool warmUp();

    /// The railway keeps pace with the clock from here.
    void start(Clock::time_point now);

    /// A receiver comes: it gets the whole state at once, then what happens.
    /// @param output gets lines without their end. What it throws passes through.
    Connection& connect(FaultInjector::Output output, Clock::time_point now);
    void disconnect(Connection& connection);

    /// Puts out what connections held back long enough, and does everything that is due at the next second of
    /// railway time, if that has come. False when nothing more is due yet.
    bool step(Clock::time_point now);

    /// When step() or Connection::cut() has something to do next; the far future for never.
    Clock::time_point nextDue(Clock::time_point now) const;

    /// True when --until, or the end of a recording, has been reached.
    bool ended() const { return _ended; }

    /// Answers an operation to all connections.
    OperationReport answer(int operation, const std::string& text, Clock::time_point now);

private:
    static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

    std::int64_t nextSecond() const;
    Clock::time_point timeOf(std::int64_t second) const;
    void advance(std::int64_t second, const Simulation::Emit& emit);
    Simulation::Emit toAll(Clock::time_point now);
    void tellWholeState(Clock::time_point now);

    SimulationOptions _options;
    Use _use;
    double _speed;  // times real time; 0 for as fast as possible
    std::unique_ptr<Simulation> _simulation;
    std::list<Connection> _connections;
    std::uint32_t _connectionsMade = 0;
    // Seconds of railway time, counted on from day to day.
    std::int64_t _start = 0;
    std::int64_t _until = kNever;
    std::int64_t _nextSnapshot = kNever;
    Clock::time_point _startedAt;
    bool _ended = false;
};

}  // namespace pis::simulator

#endif
