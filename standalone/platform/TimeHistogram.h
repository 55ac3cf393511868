// Counts how long something takes, by fixed bounds; written by some threads, read by others.
#ifndef PIS_PLATFORM_TIMEHISTOGRAM_H
#define PIS_PLATFORM_TIMEHISTOGRAM_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace pis::platform {

/// [Threading] Everything may be called from any thread. Values read while somebody observes may lack what
/// is just being observed.
class TimeHistogram {
public:
    /// Upper bounds of the buckets in microseconds; what takes longer is in the count alone.
    static constexpr std::array<std::uint32_t, 19> kBounds{
        1, 2, 5, 10, 20, 50, 100, 200, 500, 1000, 2000, 5000, 10000, 20000, 50000, 100000, 200000, 500000, 1000000};

    struct Values {
        std::array<std::uint64_t, kBounds.size()> upTo{};  ///< How many took no longer than each bound.
        std::uint64_t count = 0;
        double seconds = 0;  ///< All together.
    };

    void observe(std::chrono::nanoseconds taken) {
        std::size_t bucket = 0;
        while (bucket < kBounds.size() && taken > std::chrono::microseconds(kBounds[bucket])) ++bucket;
        _buckets[bucket].fetch_add(1, std::memory_order_relaxed);
        _nanoseconds.fetch_add(static_cast<std::uint64_t>(taken.count()), std::memory_order_relaxed);
    }

    Values values() const {
        Values values;
        for (std::size_t bucket = 0; bucket < _buckets.size(); ++bucket) {
            values.count += _buckets[bucket].load(std::memory_order_relaxed);
            if (bucket < kBounds.size()) values.upTo[bucket] = values.count;
        }
        values.seconds = static_cast<double>(_nanoseconds.load(std::memory_order_relaxed)) / 1e9;
        return values;
    }

private:
    std::array<std::atomic<std::uint64_t>, kBounds.size() + 1> _buckets{};  // not summed up; the last is the rest
    std::atomic<std::uint64_t> _nanoseconds{0};
};

}  // namespace pis::platform

#endif
