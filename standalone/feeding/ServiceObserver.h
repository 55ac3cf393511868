// The service's own observer: counts what the store tells, and how long that takes.
#ifndef PIS_FEEDING_SERVICEOBSERVER_H
#define PIS_FEEDING_SERVICEOBSERVER_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "SignallingController.h"
#include "platform/TimeHistogram.h"

namespace pis::feeding {

/// [Threading] Told by the feeding thread, read by any.
class ServiceObserver : public PassengerInformationObserver {
public:
    static constexpr std::size_t kOperations = 13;

    /// Calls by operation, in the order of the interface.
    std::array<std::pair<const char*, std::uint64_t>, kOperations> calls() const;

    /// From a call's first to its last instruction here.
    platform::TimeHistogram::Values times() const { return _times.values(); }

    void onServerStatusUpdated(bool) override { told(0); }
    void onLineUpdated(Line) override { told(1); }
    void onLineRemoved(Line) override { told(2); }
    void onVehicleUpdated(Vehicle) override { told(3); }
    void onVehicleRemoved(Vehicle) override { told(4); }
    void onStationUpdated(Station) override { told(5); }
    void onStationRemoved(Station) override { told(6); }
    void onPlatformInfoUpdated(PlatformInfo) override { told(7); }
    void onPlatformInfoRemoved(PlatformInfo) override { told(8); }
    void onServiceUpdated(Service) override { told(9); }
    void onServiceRemoved(Service) override { told(10); }
    void onTripUpdated(Trip) override { told(11); }
    void onTripRemoved(Trip) override { told(12); }

private:
    void told(std::size_t operation) {
        const auto begin = std::chrono::steady_clock::now();
        _calls[operation].fetch_add(1, std::memory_order_relaxed);
        _times.observe(std::chrono::steady_clock::now() - begin);
    }

    std::array<std::atomic<std::uint64_t>, kOperations> _calls{};
    platform::TimeHistogram _times;
};

}  // namespace pis::feeding

#endif
