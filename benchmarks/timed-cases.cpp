// bench-cases OUTPUT [--only TEXT]: every case and its yardsticks under the timer of our own, where Google Benchmark is
// not at hand: for the 32-bit host.
#include "Arguments.h"
#include "Results.h"
#include "Scenes.h"

namespace {

constexpr Effort kEffort{2'000'000, 10, 1.0};

void measure(const Scene& scene, Results& results) {
    const std::vector<Body> bodies = scene.set();
    const std::vector<double> times = timeInTurns(bodies, kEffort);
    for (std::size_t i = 0; i < bodies.size(); ++i) results.write("case", bodies[i].name, times[i]);
}

bool measureAll(const Arguments& arguments) {
    Results results(arguments.output);
    for (const Scene& scene : scenesOfHandlersAndTables()) {
        if (arguments.wants(scene.name)) measure(scene, results);
    }
    const Day sample = dayOf("harbour", harbourRecords());
    results.write("day", sample.name, sample.records.size());
    const Scene scene = dayScene(sample);
    if (arguments.wants(scene.name)) measure(scene, results);
    return results.good();
}

}  // namespace

int main(int argc, char** argv) {
    return runProgram(argv[0], [&] { return measureAll(argumentsOf(argc, argv)); });
}
