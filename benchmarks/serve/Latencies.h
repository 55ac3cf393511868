// Times from a record's way in to a reader's hands, kept one by one until percentiles are asked for.
#ifndef BENCHMARKS_SERVE_LATENCIES_H
#define BENCHMARKS_SERVE_LATENCIES_H

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

/// The one clock of the run: the signalling side and the readers are threads of one program.
using Clock = std::chrono::steady_clock;

class Latencies {
public:
    void add(Clock::duration time) {
        _microseconds.push_back(static_cast<std::uint32_t>(
            std::max<std::int64_t>(0, std::chrono::duration_cast<std::chrono::microseconds>(time).count())));
    }

    std::size_t count() const { return _microseconds.size(); }

    /// In milliseconds, 0 where there are none; the share is from 0 to 1.
    double percentile(double share) {
        if (_microseconds.empty()) return 0;
        const auto last = static_cast<double>(_microseconds.size() - 1);
        const auto place = _microseconds.begin() + static_cast<std::ptrdiff_t>(share * last);
        std::nth_element(_microseconds.begin(), place, _microseconds.end());
        return *place * 1e-3;
    }

private:
    std::vector<std::uint32_t> _microseconds;
};

#endif
