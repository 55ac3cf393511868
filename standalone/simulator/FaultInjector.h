// Spoils a connection on request: lines of records go in, and come out lost, doubled, damaged or late.
#ifndef PIS_SIMULATOR_FAULTINJECTOR_H
#define PIS_SIMULATOR_FAULTINJECTOR_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <random>
#include <string>
#include <string_view>

namespace pis::simulator {

/// What goes wrong on a connection.
struct FaultPlan {
    double drop = 0, duplicate = 0, garble = 0;  ///< Share of the lines, 0 to 1.
    double stall = 0;                            ///< Seconds; after each five times as long nothing gets through.
    double disconnect = 0;                       ///< Seconds after which the connection is cut.

    bool any() const { return drop > 0 || duplicate > 0 || garble > 0 || stall > 0 || disconnect > 0; }
};

/// Reads "drop=0.01,duplicate=0.01,garble=0.01,stall=2,disconnect=30", in any order, each at most once.
/// @throws std::invalid_argument with a message for people.
FaultPlan parseFaultPlan(std::string_view text);

/// One connection's faults, the same ones for the same seed and lines. Times are seconds since the
/// connection was made. For one thread.
class FaultInjector {
public:
    using Output = std::function<void(std::string_view line)>;

    enum class Line {
        LIVE,        ///< May come to harm.
        WHOLE_STATE  ///< Passes unharmed, so that everything is right again behind it.
    };

    struct Counts {
        std::uint64_t lines = 0;  ///< Taken in.
        std::uint64_t dropped = 0, duplicated = 0, garbled = 0, held = 0;
    };

    FaultInjector(const FaultPlan& plan, std::uint32_t seed);

    /// Takes a line without its end. Output may be none, one or two lines, before that those held so far.
    void pass(std::string_view line, Line kind, double time, const Output& output);

    /// Puts out what was held, unless the stall goes on.
    void release(double time, const Output& output);

    /// True when the connection is to be cut.
    bool cut(double time) const;

    /// The next time at which release() or cut() has something to do; infinity for never.
    double nextChange(double time) const;

    /// Bytes of the lines held.
    std::size_t heldBytes() const { return _heldBytes; }

    const Counts& counts() const { return _counts; }

private:
    bool stalled(double time) const;
    void deliver(std::string line, double time, const Output& output);
    bool happens(double share);
    std::size_t below(std::size_t bound);
    std::string garbled(std::string_view line);

    FaultPlan _plan;
    std::mt19937 _random;
    std::deque<std::string> _held;
    std::size_t _heldBytes = 0;
    Counts _counts;
};

}  // namespace pis::simulator

#endif
