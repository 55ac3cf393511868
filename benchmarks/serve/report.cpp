// bench-serve-report FILE RESULTS PICTURE: rewrites what stands between the markers of a Markdown file with the
// figures of the service and the table of what a picture costs. Exit status 1 where a goal was missed.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "Figures.h"

namespace {

constexpr double kGoalMilliseconds = 250;

/// The line of a kind whose first value is this.
const Values& lineNamed(const Run& run, const std::string& kind, const std::string& name) {
    for (const Values& line : linesOf(run, kind)) {
        if (line.at(0) == name) return line;
    }
    throw std::runtime_error("the results have no " + kind + " of " + name);
}

const Values& onlyLine(const Run& run, const std::string& kind) {
    const std::vector<Values>& lines = linesOf(run, kind);
    if (lines.size() != 1) throw std::runtime_error("the results have not one line of " + kind);
    return lines.front();
}

double number(const Values& line, std::size_t place) {
    return std::stod(line.at(place));
}

std::string megabytes(double bytes) {
    return fixed(bytes / 1e6, 1);
}

/// In milliseconds.
double p99Of(const Run& run, const std::string& phase) {
    return number(lineNamed(run, "latency", phase), 6);
}

// --- Goals

struct Goal {
    std::string what;
    std::string wanted;
    std::string measured;
    bool reached;
};

std::vector<Goal> goalsOf(const Run& run) {
    constexpr double kMostTimes = 2;
    const double sample = p99Of(run, "the sample");
    const double withTen = p99Of(run, "the sample and ten that never read");
    const double without = std::max(sample, p99Of(run, "after those were closed"));
    const Values& compared = onlyLine(run, "compared");
    const double readers = number(compared, 0);
    const double differing = number(compared, 2);
    const double ended = number(compared, 3);
    double failed = 0;
    for (const Values& line : linesOf(run, "request")) failed += number(line, 7);

    const std::string limit = "under " + fixed(kGoalMilliseconds, 0) + " ms";
    return {{"from record in to bytes out, 99th percentile, " + withThousands(readers) + " readers", limit,
             fixed(sample, 1) + " ms", sample < kGoalMilliseconds},
            {"the same with ten readers more that never read", limit, fixed(withTen, 1) + " ms",
             withTen < kGoalMilliseconds},
            {"that as a multiple of the worse one of before and after them", "at most " + fixed(kMostTimes, 1),
             fixed(withTen / without, 2), withTen <= kMostTimes * without},
            {"readers whose rows differ from the tables at the end", "0", withThousands(differing),
             differing == 0 && compared.at(4) == "yes"},
            {"readers whose stream ended on the way", "0", withThousands(ended), ended == 0},
            {"plain requests that failed", "0", withThousands(failed), failed == 0}};
}

std::string goalTable(const std::vector<Goal>& goals) {
    std::string text = tableHead({"", "wanted", "measured", "reached"});
    for (const Goal& goal : goals) {
        text += tableRow({goal.what, goal.wanted, goal.measured, goal.reached ? "yes" : "**no**"});
    }
    return text;
}

// --- Readers

std::string latencyTable(const Run& run) {
    constexpr std::size_t kFirstPercentile = 4;
    std::string text = tableHead({"phase", "bursts", "times taken", "p50", "p90", "p99", "most"});
    for (const Values& line : linesOf(run, "latency")) {
        if (number(line, 3) == 0) continue;
        Values cells{line.at(0), withThousands(number(line, 2)), withThousands(number(line, 3))};
        for (std::size_t i = kFirstPercentile; i < line.size(); ++i) cells.push_back(fixed(number(line, i), 1));
        text += tableRow(cells);
    }
    return text;
}

std::string loadTable(const Run& run) {
    std::string text = tableHead(
        {"phase", "seconds", "records in /s", "events out /s", "MB out /s", "cores, service", "cores, load program"});
    for (const Values& line : linesOf(run, "load")) {
        text +=
            tableRow({line.at(0), fixed(number(line, 1), 1), shortly(number(line, 2)), withThousands(number(line, 3)),
                      megabytes(number(line, 4)), fixed(number(line, 5), 2), fixed(number(line, 6), 2)});
    }
    return text;
}

std::string memoryTable(const Run& run) {
    std::string text = tableHead({"moment", "readers", "service, MB", "kernel, all TCP sockets, MB"});
    for (const Values& line : linesOf(run, "memory")) {
        text += tableRow(
            {line.at(0), withThousands(number(line, 1)), megabytes(number(line, 2)), megabytes(number(line, 3))});
    }
    const double before = number(lineNamed(run, "memory", "before the readers came"), 2);
    const Values& with = lineNamed(run, "memory", "with them, the feed still");
    text += "\nPer reader, from the first two lines: " + fixed((number(with, 2) - before) / number(with, 1) / 1e3, 1) +
            " kB in the service.\n";
    return text;
}

std::string standstillText(const Run& run) {
    const Values& line = onlyLine(run, "standstill");
    return "The " + line.at(0) + " readers that never read were all closed by the service after " +
           fixed(number(line, 1), 0) + " s; until then its memory was " + megabytes(number(line, 2)) + " MB at most.\n";
}

std::string comparedText(const Run& run) {
    const Values& line = onlyLine(run, "compared");
    const Values& end = onlyLine(run, "end");
    return withThousands(number(line, 0)) + " readers, each compared with the " + withThousands(number(line, 1)) +
           " rows of the eight tables after " + withThousands(number(line, 5)) +
           " records: " + withThousands(number(line, 2)) +
           " differ. Whole pictures sent: " + withThousands(number(line, 6)) +
           ". Changes that a reader did not see one by one because a later one of the same record came with them: " +
           withThousands(number(line, 7)) + ".\n\nSIGTERM ended the service in " + withThousands(number(end, 0)) +
           " ms; " + withThousands(number(end, 2)) + " of " + withThousands(number(end, 1)) + " streams were closed.\n";
}

// --- Plain requests

std::string requestTable(const Run& run) {
    std::string text = tableHead(
        {"departures of a major station", "requests/s", "p50 ms", "p99 ms", "most ms", "304 of all", "failed"});
    for (const Values& line : linesOf(run, "request")) {
        const double share = number(line, 6) / number(line, 1);
        text +=
            tableRow({line.at(0), withThousands(number(line, 2)), fixed(number(line, 3), 2), fixed(number(line, 4), 2),
                      fixed(number(line, 5), 1), fixed(share * 100, 1) + " %", line.at(7)});
    }
    return text;
}

std::string report(const Run& run, const std::vector<Goal>& goals, const std::string& picture) {
    return "\n## Measured on\n\n" + facts(run) +                                          //
           "\n## What was to be reached\n\n" + goalTable(goals) +                         //
           "\n## From record in to bytes out\n\nMilliseconds.\n\n" + latencyTable(run) +  //
           "\n" + standstillText(run) +                                                   //
           "\n## What it takes\n\n" + loadTable(run) +                                    //
           "\n## Memory\n\n" + memoryTable(run) +                                         //
           "\n## Nothing lost\n\n" + comparedText(run) +                                  //
           "\n## Plain requests\n\n" + requestTable(run) +                                //
           "\n## What an update costs the picture\n\n" + picture + "\n";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: bench-serve-report FILE RESULTS PICTURE\n");
        return 2;
    }
    try {
        const Run run = readRun(argv[2]);
        const std::vector<Goal> goals = goalsOf(run);
        rewrite(argv[1], report(run, goals, readFile(argv[3])));
        int status = 0;
        for (const Goal& goal : goals) {
            if (goal.reached) continue;
            std::fprintf(stderr, "missed: %s: %s, not %s\n", goal.what.c_str(), goal.measured.c_str(),
                         goal.wanted.c_str());
            status = 1;
        }
        return status;
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "bench-serve-report: %s\n", fault.what());
        return 2;
    }
}
