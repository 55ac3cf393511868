#include "feeding/ServiceObserver.h"

#include <gtest/gtest.h>

#include "FieldListBuilder.h"
#include "platform/HostLog.h"

namespace pis::feeding {

namespace {

TEST(ServiceObserver, CountsAndTimesWhatTheStoreTells) {
    platform::HostLog::setLevel(-1);
    PassengerInformationServer store;
    ServiceObserver observer;
    store.registerObserver(&observer);
    const auto update = [&store](int type, int id, const char* text) {
        FieldList list = fields(text);
        store.updatePassengerInformation(0, type, id, list);
    };
    for (const int type : {2, 3, 4, 6, 8}) update(type, 1, "7");
    update(5, 1, "7");
    update(2, 1, "8");
    FieldList online = fields("", "", "1");
    store.updatePassengerInformation(0, 98, 1, online);
    store.deletePassengerInformation(0, 0);
    std::string calls;
    for (std::size_t i = 0; i < records::kObserverOperations.size(); ++i) {
        const auto operation = static_cast<records::ObserverOperation>(i);
        calls += std::string(records::kObserverOperations[i]) + " " + std::to_string(observer.calls(operation)) + "\n";
    }
    EXPECT_EQ(calls,
              "onServerStatusUpdated 1\nonLineUpdated 2\nonLineRemoved 1\nonVehicleUpdated 1\nonVehicleRemoved 1\n"
              "onStationUpdated 1\nonStationRemoved 1\nonPlatformInfoUpdated 1\nonPlatformInfoRemoved 1\n"
              "onServiceUpdated 1\nonServiceRemoved 1\nonTripUpdated 1\nonTripRemoved 1\n");
    EXPECT_EQ(observer.times().count, 14U);
}

}  // namespace

}  // namespace pis::feeding
