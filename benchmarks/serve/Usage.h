// What a phase of the measurement takes: time, and processors.
#ifndef BENCHMARKS_SERVE_USAGE_H
#define BENCHMARKS_SERVE_USAGE_H

#include <sys/resource.h>

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <string>

#include "ChildProcess.h"
#include "Latencies.h"

/// Seconds on a processor that this program took so far.
inline double ownCpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto inSeconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return inSeconds(usage.ru_utime) + inSeconds(usage.ru_stime);
}

/// Bytes that the kernel holds for every TCP socket of the machine.
inline double kernelSocketBytes() {
    constexpr double kPage = 4096;
    std::ifstream file("/proc/net/sockstat");
    for (std::string word; file >> word;) {
        if (word != "mem") continue;
        double pages = 0;
        file >> pages;
        return pages * kPage;
    }
    return 0;
}

/// Since it was made.
class Usage {
public:
    explicit Usage(const ChildProcess& process)
        : _process(process), _began(Clock::now()), _cpu(process.cpuSeconds()), _ownCpu(ownCpuSeconds()) {}

    double seconds() const { return std::chrono::duration<double>(Clock::now() - _began).count(); }
    double cpuSeconds() const { return _process.cpuSeconds() - _cpu; }
    double cores() const { return cpuSeconds() / seconds(); }
    double ownCores() const { return (ownCpuSeconds() - _ownCpu) / seconds(); }

private:
    const ChildProcess& _process;
    const Clock::time_point _began;
    const double _cpu;
    const double _ownCpu;
};

/// Every reader is a file.
inline void provideDescriptors(std::size_t readers) {
    constexpr std::size_t kBesides = 200;
    rlimit allowed{};
    getrlimit(RLIMIT_NOFILE, &allowed);
    allowed.rlim_cur = allowed.rlim_max;
    setrlimit(RLIMIT_NOFILE, &allowed);
    if (allowed.rlim_max < readers + kBesides) {
        throw std::runtime_error("this system does not allow so many open files");
    }
}

#endif
