// The operations by which the store tells its observers, as data, and an observer that hears them all in one place.
#ifndef PIS_RECORDS_OBSERVEROPERATIONS_H
#define PIS_RECORDS_OBSERVEROPERATIONS_H

#include <array>
#include <cstddef>
#include <utility>

#include "SignallingController.h"

namespace pis::records {

/// In the order of the interface.
enum class ObserverOperation : std::size_t {
    SERVER_STATUS_UPDATED,
    LINE_UPDATED,
    LINE_REMOVED,
    VEHICLE_UPDATED,
    VEHICLE_REMOVED,
    STATION_UPDATED,
    STATION_REMOVED,
    PLATFORM_INFO_UPDATED,
    PLATFORM_INFO_REMOVED,
    SERVICE_UPDATED,
    SERVICE_REMOVED,
    TRIP_UPDATED,
    TRIP_REMOVED
};

/// The operations' names, in their order.
inline constexpr std::array kObserverOperations{
    "onServerStatusUpdated", "onLineUpdated",    "onLineRemoved",         "onVehicleUpdated",      "onVehicleRemoved",
    "onStationUpdated",      "onStationRemoved", "onPlatformInfoUpdated", "onPlatformInfoRemoved", "onServiceUpdated",
    "onServiceRemoved",      "onTripUpdated",    "onTripRemoved"};

constexpr std::size_t indexOf(ObserverOperation operation) {
    return static_cast<std::size_t>(operation);
}

constexpr bool tellsOfRemoval(ObserverOperation operation) {
    return operation != ObserverOperation::SERVER_STATUS_UPDATED && indexOf(operation) % 2 == 0;
}

/// Hands every operation to `Observer::told(operation, what)`, where `what` is the record, or the server's status.
template <typename Observer>
class ObserverOfAll : public PassengerInformationObserver {
public:
    using Operation = ObserverOperation;

    void onServerStatusUpdated(bool online) override { tell(Operation::SERVER_STATUS_UPDATED, online); }
    void onLineUpdated(Line line) override { tell(Operation::LINE_UPDATED, line); }
    void onLineRemoved(Line line) override { tell(Operation::LINE_REMOVED, line); }
    void onVehicleUpdated(Vehicle vehicle) override { tell(Operation::VEHICLE_UPDATED, vehicle); }
    void onVehicleRemoved(Vehicle vehicle) override { tell(Operation::VEHICLE_REMOVED, vehicle); }
    void onStationUpdated(Station station) override { tell(Operation::STATION_UPDATED, station); }
    void onStationRemoved(Station station) override { tell(Operation::STATION_REMOVED, station); }
    void onPlatformInfoUpdated(PlatformInfo platform) override { tell(Operation::PLATFORM_INFO_UPDATED, platform); }
    void onPlatformInfoRemoved(PlatformInfo platform) override { tell(Operation::PLATFORM_INFO_REMOVED, platform); }
    void onServiceUpdated(Service service) override { tell(Operation::SERVICE_UPDATED, service); }
    void onServiceRemoved(Service service) override { tell(Operation::SERVICE_REMOVED, service); }
    void onTripUpdated(Trip trip) override { tell(Operation::TRIP_UPDATED, trip); }
    void onTripRemoved(Trip trip) override { tell(Operation::TRIP_REMOVED, trip); }

private:
    template <typename What>
    void tell(Operation operation, const What& what) {
        static_cast<Observer*>(this)->told(operation, what);
    }
};

}  // namespace pis::records

#endif
