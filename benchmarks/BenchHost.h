// The host around the store while it is measured: a lock, counters, no log. It does as little as a host
// can, so that what is measured is the store.
#ifndef BENCHMARKS_BENCHHOST_H
#define BENCHMARKS_BENCHHOST_H

#include <cstdint>

#include "SignallingController.h"

/// What the store asked of its host.
struct HostCounters {
    std::uint64_t events;
    std::uint64_t logLines;
    std::uint64_t faults;
    std::uint64_t operations;
};

extern HostCounters hostCounters;

/// From now on, or no longer, every lock sums up how long it is held, from the outermost enter to the
/// leave that frees it. Off from the start: then a lock reads no clock.
void timeLockHolds(bool on);

/// Nanoseconds for which locks were held since the last call.
double popLockHeldTime();

/// Takes every record by value, as observers do, and counts it.
class CountingObserver : public PassengerInformationObserver {
public:
    void onServerStatusUpdated(bool) override { ++calls; }
    void onLineUpdated(Line) override { ++calls; }
    void onLineRemoved(Line) override { ++calls; }
    void onVehicleUpdated(Vehicle) override { ++calls; }
    void onVehicleRemoved(Vehicle) override { ++calls; }
    void onStationUpdated(Station) override { ++calls; }
    void onStationRemoved(Station) override { ++calls; }
    void onPlatformInfoUpdated(PlatformInfo) override { ++calls; }
    void onPlatformInfoRemoved(PlatformInfo) override { ++calls; }
    void onServiceUpdated(Service) override { ++calls; }
    void onServiceRemoved(Service) override { ++calls; }
    void onTripUpdated(Trip) override { ++calls; }
    void onTripRemoved(Trip) override { ++calls; }

    std::uint64_t calls = 0;
};

/// Registers so many observers instead of those of before.
void setObservers(std::size_t count);

#endif
