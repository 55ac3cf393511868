#include "Measure.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <limits>

namespace {

using Clock = std::chrono::steady_clock;

/// Readings of the thread's own clock take too long for rounds that are shorter.
constexpr double kLongRound = 1e6;

double nanosecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

/// Time that this thread has run for, whatever else the machine did.
double threadNanoseconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
}

}  // namespace

double timeRound(const Body& body, std::uint64_t steps) {
    if (body.prepare) {
        body.prepare();
        steps = body.stepsPerRound;
    }
    const double threadStart = threadNanoseconds();
    const auto start = Clock::now();
    for (std::uint64_t i = 0; i < steps; ++i) body.step();
    double taken = nanosecondsSince(start);
    if (taken > kLongRound) taken = threadNanoseconds() - threadStart;
    return taken / static_cast<double>(steps);
}

std::uint64_t stepsFor(const Body& body, double nanoseconds) {
    if (body.prepare) return body.stepsPerRound;
    std::uint64_t steps = 1;
    while (true) {
        const double taken = timeRound(body, steps) * static_cast<double>(steps);
        if (taken >= nanoseconds) return steps;
        const double times = std::clamp(1.2 * nanoseconds / std::max(taken, 1.0), 1.5, 10.0);
        steps = static_cast<std::uint64_t>(static_cast<double>(steps) * times) + 1;
    }
}

std::vector<double> timeInTurns(const std::vector<Body>& bodies, const Effort& effort) {
    const auto start = Clock::now();
    std::vector<std::uint64_t> steps;
    for (const Body& body : bodies) steps.push_back(stepsFor(body, effort.roundNanoseconds));

    std::vector<double> least(bodies.size(), std::numeric_limits<double>::infinity());
    for (int round = 0; round < effort.rounds; ++round) {
        if (round >= 3 && nanosecondsSince(start) > effort.seconds * 1e9) break;
        for (std::size_t i = 0; i < bodies.size(); ++i) {
            const std::size_t turn = round % 2 == 0 ? i : bodies.size() - 1 - i;
            least[turn] = std::min(least[turn], timeRound(bodies[turn], steps[turn]));
        }
    }
    return least;
}
