// The observer of a replay: counts what the store tells and, where a trace is wanted, writes it.
#ifndef PIS_REPLAY_REPLAYOBSERVER_H
#define PIS_REPLAY_REPLAYOBSERVER_H

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "SignallingController.h"

namespace pis::replay {

/// [Threading] For the thread that delivers the feed.
class ReplayObserver : public PassengerInformationObserver {
public:
    /// Takes a call as a line: its name, then what it was given.
    using Trace = std::function<void(const std::string&)>;

    explicit ReplayObserver(Trace trace = nullptr);

    /// Calls by operation, in the order of the interface.
    const std::vector<std::pair<const char*, std::uint64_t>>& calls() const { return _calls; }

    /// All calls but those that tell of removals.
    std::uint64_t updatesTold() const { return _updatesTold; }

    void onServerStatusUpdated(bool online) override;
    void onLineUpdated(Line line) override;
    void onLineRemoved(Line line) override;
    void onVehicleUpdated(Vehicle vehicle) override;
    void onVehicleRemoved(Vehicle vehicle) override;
    void onStationUpdated(Station station) override;
    void onStationRemoved(Station station) override;
    void onPlatformInfoUpdated(PlatformInfo platform) override;
    void onPlatformInfoRemoved(PlatformInfo platform) override;
    void onServiceUpdated(Service service) override;
    void onServiceRemoved(Service service) override;
    void onTripUpdated(Trip trip) override;
    void onTripRemoved(Trip trip) override;

private:
    template <typename Record>
    void told(std::size_t operation, const Record& record);

    Trace _trace;
    std::vector<std::pair<const char*, std::uint64_t>> _calls;
    std::uint64_t _updatesTold = 0;
};

}  // namespace pis::replay

#endif
