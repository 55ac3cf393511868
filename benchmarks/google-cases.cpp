// bench-cases OUTPUT [--only TEXT] [FEED...]: every case and its yardsticks under Google Benchmark.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <map>

#include "Arguments.h"
#include "FeedFile.h"
#include "Results.h"
#include "Scenes.h"

namespace {

// Many short repetitions, of which the least counts, rather than few long ones that others interrupt.
constexpr double kMinSeconds = 0.001;
constexpr int kRepetitions = 20;
constexpr int kPreparedRepetitions = 10;

/// Keeps the least time of each name's repetitions: the manual one, or else that of the thread.
class LeastTimes : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration) continue;
            const bool isManual = run.run_name.time_type == "manual_time";
            const double nanoseconds = isManual ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
            const auto known = _times.emplace(run.run_name.function_name, nanoseconds).first;
            known->second = std::min(known->second, nanoseconds);
        }
    }
    double of(const std::string& name) const { return _times.at(name); }

private:
    std::map<std::string, double> _times;
};

void registerBody(const Body& body) {
    if (!body.prepare) {
        benchmark::RegisterBenchmark(body.name.c_str(),
                                     [body](benchmark::State& state) {
                                         for ([[maybe_unused]] auto _ : state) body.step();
                                     })
            ->MinTime(kMinSeconds)
            ->Repetitions(kRepetitions);
        return;
    }
    benchmark::RegisterBenchmark(body.name.c_str(),
                                 [body](benchmark::State& state) {
                                     for ([[maybe_unused]] auto _ : state)
                                         state.SetIterationTime(timeRound(body, 1) * 1e-9);
                                 })
        ->UseManualTime()
        ->Iterations(1)
        ->Repetitions(kPreparedRepetitions);
}

void measure(const Scene& scene, Results& results) {
    const std::vector<Body> bodies = scene.set();
    for (const Body& body : bodies) registerBody(body);
    LeastTimes times;
    benchmark::RunSpecifiedBenchmarks(&times);
    benchmark::ClearRegisteredBenchmarks();
    for (const Body& body : bodies) results.write("case", body.name, times.of(body.name));
}

bool measureAll(const Arguments& arguments) {
    Results results(arguments.output);
    std::vector<Day> days{dayOf("harbour", harbourRecords())};
    for (const std::string& feed : arguments.feeds) days.push_back(readDay(feed));

    for (const Scene& scene : scenesOfHandlersAndTables()) {
        if (arguments.wants(scene.name)) measure(scene, results);
    }
    for (const Day& day : days) {
        results.write("day", day.name, day.records.size());
        const Scene scene = dayScene(day);
        if (arguments.wants(scene.name)) measure(scene, results);
    }
    return results.good();
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    return runProgram(argv[0], [&] { return measureAll(argumentsOf(argc, argv)); });
}
