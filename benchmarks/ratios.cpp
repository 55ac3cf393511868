// bench-ratios OUTPUT [--only TEXT] [FEED...]: measures the ratios that the store has to keep and how long
// it holds its lock.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <deque>

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

void measureRatios(const std::vector<RatioRow>& rows, const std::string& only, Results& results) {
    for (const RatioRow& row : rows) {
        if (row.subject.find(only) == std::string::npos) continue;
        double worst = 0;
        for (const Scene& scene : row.scenes) {
            const std::vector<Body> bodies = scene.set();
            const std::vector<double> times = timeInTurns(bodies, row.effort);
            for (std::size_t i = 0; i < bodies.size(); ++i) {
                if (bodies[i].name.compare(0, row.against.size(), row.against) == 0) {
                    results.write("ratio", row.subject, row.yardstick, row.atMost, scene.name, times[0], times[i]);
                    worst = std::max(worst, times[0] / times[i]);
                    std::printf("    %5.2f  %s  %.1f / %.1f ns\n", times[0] / times[i], scene.name.c_str(), times[0],
                                times[i]);
                }
                if (scene.name.compare(0, 4, "day/") == 0) results.write("case", bodies[i].name, times[i]);
            }
        }
        std::printf("%5.2f of %.1f  %s\n", worst, row.atMost, row.subject.c_str());
        std::fflush(stdout);
    }
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
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

/// Median over several rounds of each round's figures, so that a round disturbed from outside is left out.
void measureHolds(const Day& day, int rounds, Results& results) {
    for (const bool deletions : {false, true}) {
        std::vector<double> mean;
        std::vector<double> rare;
        std::vector<double> most;
        for (int round = 0; round < rounds; ++round) {
            const LockHolds holds = lockHoldsFromEmpty(day);
            std::vector<double> times = deletions ? holds.deletions : holds.updates;
            if (times.empty()) return;
            std::sort(times.begin(), times.end());
            double sum = 0;
            for (const double time : times) sum += time;
            mean.push_back(sum / static_cast<double>(times.size()));
            rare.push_back(times[times.size() * 999 / 1000]);
            most.push_back(times.back());
        }
        const char* kind = deletions ? "deletion" : "update";
        results.write("lock", day.name, kind, median(mean), median(rare), median(most), clockCost());
        std::printf("lock held per %s, %s: mean %.0f ns, 99.9th percentile %.0f ns\n", kind, day.name.c_str(),
                    median(mean), median(rare));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench-ratios OUTPUT [--only TEXT] [FEED...]\n");
        return 2;
    }
    Results results(argv[1]);
    std::string only;
    const std::vector<FeedRecord> harbour = harbourRecords();
    const Day sample = dayOf("harbour", harbour);
    const Day network = dayOf("harbour-x40", multiplied(harbour, kNetworkCopies));
    std::vector<Day> small{dayOf("harbour-x4", multiplied(harbour, kSmallCopies))};
    for (int i = 2; i < argc; ++i) {
        if (std::strcmp(argv[i], "--only") == 0 && i + 1 < argc) {
            only = argv[++i];
            continue;
        }
#ifdef PIS_STANDALONE
        small.push_back(readDay(argv[i]));
#endif
    }

    for (const Day* day : {&sample, &network}) results.write("day", day->name, day->records.size());
    for (const Day& day : small) results.write("day", day.name, day.records.size());
    measureRatios(ratioRows(small, network), only, results);
    if (only.empty() || only == "lock") {
        measureHolds(sample, kLockRounds, results);
        for (const Day& day : small) measureHolds(day, kLockRounds, results);
    }
    return results.good() ? 0 : 2;
}
