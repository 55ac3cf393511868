// What the programs that measure have in common: their arguments, and the lines in which they hand their figures to
// the reports: one figure a line, values separated by tabs, the kind first.
//
//     case   NAME NANOSECONDS
//     ratio  SUBJECT YARDSTICK AT_MOST CASE_NAME CASE_NANOSECONDS YARDSTICK_NANOSECONDS
//     day    NAME RECORDS
//     lock   DAY KIND MEAN P999 CLOCK           nanoseconds
//     json   READER RECORDS BYTES SECONDS BYTES_A_SECOND
//     size   WHICH BYTES
//     fact   NAME TEXT                          what was measured on
//
// Of the service, by phase or moment of the measurement (times in milliseconds):
//
//     latency     PHASE READERS BURSTS TIMES P50 P90 P99 MOST
//     load        PHASE SECONDS RECORDS EVENTS BYTES CORES CORES_OF_LOAD      each a second
//     memory      MOMENT READERS BYTES KERNEL_BYTES
//     standstill  READERS SECONDS_UNTIL_CLOSED MOST_BYTES
//     compared    READERS ROWS DIFFERING ENDED ALL_KNOW RECORDS RESETS COALESCED
//     end         MILLISECONDS READERS CLOSED
//     size-of     RAILWAY ROWS SERVICE_STOPS STATIONS SECONDS_UNTIL_SHOWN BYTES
//     fanout      SERVER READERS A_SECOND P50 P99 READ_P99 CPU_MICROSECONDS_OF_EVENT BYTES_OF_EVENT CORES CORES_OF_LOAD
//                 BEHIND_AT_THE_END OVERTAKEN
//     endured     WHAT READERS SECONDS MOST_BYTES MOST_KERNEL_BYTES CORES FAILED KEPT_P50 KEPT_P99 ANEW_P50 ANEW_P99
//     ANEW_MOST closed      WHAT READERS boards      BOARDS STATIONS CORES P50 P99 ANSWERS_A_SECOND SHARE_NOT_MODIFIED
//     FAILED ended       BOARDS READERS SLOW_READERS MILLISECONDS LEFT request     CASE A_SECOND P50 P99 MOST
//     SHARE_NOT_MODIFIED FAILED
#ifndef BENCHMARKS_RESULTS_H
#define BENCHMARKS_RESULTS_H

#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

/// A file of figures.
class Results {
public:
    explicit Results(const std::string& path) : _path(path), _file(path) {
        _file.exceptions(std::ofstream::failbit | std::ofstream::badbit);
        _file.precision(12);
    }

    template <typename... Value>
    void write(const char* kind, const Value&... values) {
        _file << kind;
        ((_file << '\t' << values), ...);
        _file << std::endl;
    }

    const std::string& path() const { return _path; }

private:
    const std::string _path;
    std::ofstream _file;
};

/// What the programs for the store are called with: OUTPUT [--only TEXT] [FEED...].
struct Arguments {
    std::string output;
    std::string only;  ///< Measure only what bears this text in its name.
    std::vector<std::string> feeds;

    bool wants(const std::string& name) const { return name.find(only) != std::string::npos; }
};

/// @throws std::runtime_error how to call the program, where it was called otherwise.
inline Arguments argumentsOf(int argc, char** argv) {
    Arguments arguments;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument == "--only" && i + 1 < argc) {
            arguments.only = argv[++i];
        } else if (arguments.output.empty()) {
            arguments.output = argument;
        } else {
            arguments.feeds.push_back(argument);
        }
    }
    if (arguments.output.empty()) throw std::runtime_error("usage: OUTPUT [--only TEXT] [FEED...]");
    return arguments;
}

/// What main does: 0 when the action ended, 2 with a message where it failed.
template <typename Action>
int runProgram(const char* name, const Action& action) {
    try {
        action();
        return 0;
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "%s: %s\n", name, fault.what());
        return 2;
    }
}

#endif
