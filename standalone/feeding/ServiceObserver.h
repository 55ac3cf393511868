// The service's own observer: counts what the store tells, and how long that takes.
#ifndef PIS_FEEDING_SERVICEOBSERVER_H
#define PIS_FEEDING_SERVICEOBSERVER_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>

#include "platform/TimeHistogram.h"
#include "records/ObserverOperations.h"

namespace pis::feeding {

/// [Threading] Told by the feeding thread, read by any.
class ServiceObserver : public records::ObserverOfAll<ServiceObserver> {
public:
    /// How often an operation was called.
    std::uint64_t calls(Operation operation) const {
        return _calls[indexOf(operation)].load(std::memory_order_relaxed);
    }

    /// From a call's first to its last instruction here.
    platform::TimeHistogram::Values times() const { return _times.values(); }

    template <typename What>
    void told(Operation operation, const What&) {
        const auto begin = std::chrono::steady_clock::now();
        _calls[indexOf(operation)].fetch_add(1, std::memory_order_relaxed);
        _times.observe(std::chrono::steady_clock::now() - begin);
    }

private:
    std::array<std::atomic<std::uint64_t>, records::kObserverOperations.size()> _calls{};
    platform::TimeHistogram _times;
};

}  // namespace pis::feeding

#endif
