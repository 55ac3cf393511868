// bench-cases OUTPUT [--only TEXT] [FEED...]: every case and its yardsticks, under Google Benchmark or, where that is
// not at hand, for the 32-bit host, under the timer of our own.
#ifdef PIS_STANDALONE
#include <benchmark/benchmark.h>
#endif

#include <algorithm>
#include <limits>

#include "Results.h"
#include "Scenes.h"

namespace {

#ifdef PIS_STANDALONE

// Many short repetitions, of which the least counts, rather than few long ones that others interrupt.
constexpr double kMinSeconds = 0.001;
constexpr int kRepetitions = 20;
constexpr int kPreparedRepetitions = 10;

/// Keeps the least time of the repetitions: the manual one, or else that of the thread.
class LeastTime : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            const bool isManual = run.run_name.time_type == "manual_time";
            least = std::min(least, isManual ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime());
        }
    }

    double least = std::numeric_limits<double>::infinity();
};

std::vector<double> timesOf(const std::vector<Body>& bodies) {
    std::vector<double> times;
    for (const Body& body : bodies) {
        if (body.prepare) {
            const auto loop = [&body](benchmark::State& state) {
                for ([[maybe_unused]] auto _ : state) state.SetIterationTime(timeRound(body, 1) * 1e-9);
            };
            benchmark::RegisterBenchmark(body.name.c_str(), loop)
                ->UseManualTime()
                ->Iterations(1)
                ->Repetitions(kPreparedRepetitions);
        } else {
            const auto loop = [&body](benchmark::State& state) {
                for ([[maybe_unused]] auto _ : state) body.step();
            };
            benchmark::RegisterBenchmark(body.name.c_str(), loop)->MinTime(kMinSeconds)->Repetitions(kRepetitions);
        }
        LeastTime time;
        benchmark::RunSpecifiedBenchmarks(&time);
        benchmark::ClearRegisteredBenchmarks();
        times.push_back(time.least);
    }
    return times;
}

#else

std::vector<double> timesOf(const std::vector<Body>& bodies) {
    constexpr Effort kEffort{2'000'000, 10, 1.0};
    return timeInTurns(bodies, kEffort);
}

#endif

void measureAll(const Arguments& arguments) {
    Results results(arguments.output);
    std::vector<Day> days = daysIn(arguments.feeds);
    days.insert(days.begin(), dayOf("harbour", harbourRecords()));
    std::vector<Scene> scenes = scenesOfHandlersAndTables();
    for (const Day& day : days) {
        results.write("day", day.name, day.records.size());
        scenes.push_back(dayScene(day));
    }
    for (const Scene& scene : scenes) {
        if (!arguments.wants(scene.name)) continue;
        const std::vector<Body> bodies = scene.set();
        const std::vector<double> times = timesOf(bodies);
        for (std::size_t i = 0; i < bodies.size(); ++i) results.write("case", bodies[i].name, times[i]);
    }
}

}  // namespace

int main(int argc, char** argv) {
#ifdef PIS_STANDALONE
    benchmark::Initialize(&argc, argv);
#endif
    return runProgram(argv[0], [&] { measureAll(argumentsOf(argc, argv)); });
}
