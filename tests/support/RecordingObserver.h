// An observer that writes what it hears into the fake host's transcript, among the host's own calls.
#ifndef TESTS_SUPPORT_RECORDINGOBSERVER_H
#define TESTS_SUPPORT_RECORDINGOBSERVER_H

#include <string>

#include "Describe.h"
#include "FakeHost.h"

/// Notes "NAME onLineUpdated line 7 ...": its own name, the operation, the record.
class RecordingObserver : public PassengerInformationObserver {
public:
    explicit RecordingObserver(std::string name = "observer") : _name(std::move(name)) {}

    void onServerStatusUpdated(bool online) override { note("onServerStatusUpdated", online ? "true" : "false"); }
    void onLineUpdated(Line line) override { note("onLineUpdated", describe(line)); }
    void onLineRemoved(Line line) override { note("onLineRemoved", describe(line)); }
    void onVehicleUpdated(Vehicle vehicle) override { note("onVehicleUpdated", describe(vehicle)); }
    void onVehicleRemoved(Vehicle vehicle) override { note("onVehicleRemoved", describe(vehicle)); }
    void onStationUpdated(Station station) override { note("onStationUpdated", describe(station)); }
    void onStationRemoved(Station station) override { note("onStationRemoved", describe(station)); }
    void onPlatformInfoUpdated(PlatformInfo platform) override { note("onPlatformInfoUpdated", describe(platform)); }
    void onPlatformInfoRemoved(PlatformInfo platform) override { note("onPlatformInfoRemoved", describe(platform)); }
    void onServiceUpdated(Service service) override { note("onServiceUpdated", describe(service)); }
    void onServiceRemoved(Service service) override { note("onServiceRemoved", describe(service)); }
    void onTripUpdated(Trip trip) override { note("onTripUpdated", describe(trip)); }
    void onTripRemoved(Trip trip) override { note("onTripRemoved", describe(trip)); }

private:
    void note(const char* operation, const std::string& what) {
        if (FakeHost::current() != nullptr) FakeHost::current()->note(_name + " " + operation + " " + what);
    }
    std::string _name;
};

#endif
