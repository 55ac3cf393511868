#include "feeding/ServiceObserver.h"

namespace pis::feeding {

std::array<std::pair<const char*, std::uint64_t>, ServiceObserver::kOperations> ServiceObserver::calls() const {
    constexpr std::array<const char*, kOperations> names{
        "onServerStatusUpdated", "onLineUpdated",    "onLineRemoved",    "onVehicleUpdated",
        "onVehicleRemoved",      "onStationUpdated", "onStationRemoved", "onPlatformInfoUpdated",
        "onPlatformInfoRemoved", "onServiceUpdated", "onServiceRemoved", "onTripUpdated",
        "onTripRemoved"};
    std::array<std::pair<const char*, std::uint64_t>, kOperations> calls{};
    for (std::size_t operation = 0; operation < kOperations; ++operation) {
        calls[operation] = {names[operation], _calls[operation].load(std::memory_order_relaxed)};
    }
    return calls;
}

}  // namespace pis::feeding
