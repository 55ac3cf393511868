// What is measured, and the timer of our own: it works on every width, and it times a case and its
// yardsticks in turns, many short rounds each, so that whatever else the machine does meets them alike.
#ifndef BENCHMARKS_MEASURE_H
#define BENCHMARKS_MEASURE_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// Keeps the compiler from leaving out what led to this value.
template <typename Value>
inline void keep(const Value& value) {
    asm volatile("" : : "g"(&value) : "memory");
}

/// One thing to time.
struct Body {
    std::string name;            ///< "unchanged/platform/1000"
    std::function<void()> step;  ///< One iteration.
    /// Where one iteration changes what the next one meets: puts everything back, untimed, before every
    /// `stepsPerRound` iterations. Otherwise empty.
    std::function<void()> prepare = {};
    std::uint64_t stepsPerRound = 1;
};

/// A state of the store and what is timed in it: first the case, then its yardsticks.
struct Scene {
    std::string name;  ///< The case's.
    std::function<std::vector<Body>()> set;
};

/// Nanoseconds per step over one round: `steps` of them, or where there is something to prepare, as many
/// as the body says. A round longer than a millisecond is timed by the clock of the thread, since others
/// interrupt it; shorter ones are either interrupted or not, and the least time is one that was not.
double timeRound(const Body& body, std::uint64_t steps);

/// Number of steps that take about so long.
std::uint64_t stepsFor(const Body& body, double nanoseconds);

/// How long to measure.
struct Effort {
    double roundNanoseconds = 0;  ///< Length of a round, where nothing is prepared.
    int rounds = 0;
    double seconds = 0;  ///< No further round after so long, but three at least.
};

/// Least nanoseconds per step of each body, all of them timed in turns.
std::vector<double> timeInTurns(const std::vector<Body>& bodies, const Effort& effort);

#endif
