// The lines in which the programs of the benchmarks hand their figures to the report: one figure a line,
// values separated by tabs, the kind first.
//
//     case   NAME NANOSECONDS
//     ratio  SUBJECT YARDSTICK AT_MOST CASE_NAME CASE_NANOSECONDS YARDSTICK_NANOSECONDS
//     day    NAME RECORDS
//     lock   DAY KIND MEAN P999 CLOCK           nanoseconds
//     json   READER SECONDS BYTES RECORDS
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
//     request     CASE REQUESTS A_SECOND P50 P99 MOST NOT_MODIFIED FAILED
#ifndef BENCHMARKS_RESULTS_H
#define BENCHMARKS_RESULTS_H

#include <fstream>
#include <sstream>
#include <string>

/// A file of figures.
class Results {
public:
    explicit Results(const std::string& path) : _file(path) {}

    template <typename... Value>
    void write(const char* kind, const Value&... values) {
        std::ostringstream line;
        line.precision(12);
        line << kind;
        ((line << '\t' << values), ...);
        _file << line.str() << std::endl;
    }

    bool good() const { return _file.good(); }

private:
    std::ofstream _file;
};

#endif
