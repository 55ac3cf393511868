// bench-ratios OUTPUT [--only TEXT] [FEED...]: measures the ratios that the store has to keep and how long
// it holds its lock.
#include <algorithm>
#include <chrono>
#include <cstdio>

#include "Arguments.h"
#include "NetworkDay.h"
#include "Ratios.h"
#include "Results.h"
#ifdef PIS_STANDALONE
#include "FeedFile.h"
#endif

namespace {

constexpr int kSmallCopies = 4;     // of the sample: some 32,000 records
constexpr int kNetworkCopies = 40;  // some 320,000
constexpr int kLockRounds = 15;
constexpr int kNetworkLockRounds = 3;

/// Where only some scenes are wanted, the row's figure is the worst of those.
void measureRow(const RatioRow& row, const Arguments& arguments, Results& results) {
    double worst = 0;
    for (const Scene& scene : row.scenes) {
        if (!arguments.wants(scene.name)) continue;
        const std::vector<Body> bodies = scene.set();
        const std::vector<double> times = timeInTurns(bodies, row.effort);
        for (std::size_t i = 0; i < bodies.size(); ++i) {
            const bool isDay = scene.name.compare(0, 4, "day/") == 0;
            if (isDay) results.write("case", bodies[i].name, times[i]);
            if (bodies[i].name.compare(0, row.against.size(), row.against) != 0) continue;
            results.write("ratio", row.subject, row.yardstick, row.atMost, scene.name, times[0], times[i]);
            worst = std::max(worst, times[0] / times[i]);
            std::printf("    %5.2f  %s  %.1f / %.1f ns\n", times[0] / times[i], scene.name.c_str(), times[0], times[i]);
        }
    }
    if (worst > 0) std::printf("%5.2f of %.1f  %s\n", worst, row.atMost, row.subject.c_str());
    std::fflush(stdout);
}

/// Least time between two readings of the clock: it is part of every hold.
double clockCost() {
    using Clock = std::chrono::steady_clock;
    double least = 1e9;
    for (int i = 0; i < 1000; ++i) {
        const auto start = Clock::now();
        least = std::min(least, std::chrono::duration<double, std::nano>(Clock::now() - start).count());
    }
    return least;
}

/// Of each record the median over the rounds: what disturbs one round from outside is left out.
std::vector<double> mediansPerRecord(const std::vector<std::vector<double>>& rounds) {
    std::vector<double> medians;
    for (std::size_t record = 0; record < rounds.front().size(); ++record) {
        std::vector<double> times;
        for (const std::vector<double>& round : rounds) times.push_back(round[record]);
        const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
        std::nth_element(times.begin(), middle, times.end());
        medians.push_back(*middle);
    }
    return medians;
}

void reportHolds(const char* kind, const Day& day, std::vector<double> times, Results& results) {
    if (times.empty()) return;
    std::sort(times.begin(), times.end());
    double sum = 0;
    for (const double time : times) sum += time;
    const double mean = sum / static_cast<double>(times.size());
    const double rare = times[times.size() * 999 / 1000];
    results.write("lock", day.name, kind, mean, rare, clockCost());
    std::printf("lock held per %s, %s: mean %.0f ns, 99.9th percentile %.0f ns\n", kind, day.name.c_str(), mean, rare);
    std::fflush(stdout);
}

void measureHolds(const Day& day, int rounds, Results& results) {
    std::vector<std::vector<double>> updates;
    std::vector<std::vector<double>> deletions;
    for (int round = 0; round < rounds; ++round) {
        LockHolds holds = lockHoldsFromEmpty(day);
        updates.push_back(std::move(holds.updates));
        deletions.push_back(std::move(holds.deletions));
    }
    reportHolds("update", day, mediansPerRecord(updates), results);
    reportHolds("deletion", day, mediansPerRecord(deletions), results);
}

bool measureAll(const Arguments& arguments) {
    Results results(arguments.output);
    const std::vector<FeedRecord> harbour = harbourRecords();
    const Day sample = dayOf("harbour", harbour);
    const Day network = dayOf("harbour-x40", multiplied(harbour, kNetworkCopies));
    std::vector<Day> small{dayOf("harbour-x4", multiplied(harbour, kSmallCopies))};
#ifdef PIS_STANDALONE
    for (const std::string& feed : arguments.feeds) small.push_back(readDay(feed));
#endif

    std::vector<const Day*> days{&sample};
    for (const Day& day : small) days.push_back(&day);
    days.push_back(&network);
    for (const Day* day : days) results.write("day", day->name, day->records.size());
    for (const RatioRow& row : ratioRows(small, network)) measureRow(row, arguments, results);
    for (const Day* day : days) {
        if (arguments.wants("lock/" + day->name)) {
            measureHolds(*day, day == &network ? kNetworkLockRounds : kLockRounds, results);
        }
    }
    return results.good();
}

}  // namespace

int main(int argc, char** argv) {
    return runProgram(argv[0], [&] { return measureAll(argumentsOf(argc, argv)); });
}
