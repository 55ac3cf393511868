// The store on the real platform: observers that look into the store, events that outlive their
// records, and many threads at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "FeedFiles.h"
#include "FieldListBuilder.h"
#include "SignallingController.h"
#include "platform/EventQueue.h"
#include "platform/HostLog.h"
#include "platform/SendQueue.h"

namespace pis::platform {

namespace {

class StoreUnderPlatform : public ::testing::Test {
protected:
    StoreUnderPlatform() {
        HostLog::setLevel(-1);
        HostLog::writeTo(folder.path("log"));
        SendQueue::instance().setSink([this](const SendOperation&) { ++operations; });
        renewStore();
        takeEvents();
    }
    ~StoreUnderPlatform() override {
        renewStore();
        takeEvents();
        SendQueue::instance().setSink([](const SendOperation&) {});
        HostLog::setLevel(-1);
    }

    /// An empty store without observers.
    static void renewStore() {
        gPassengerInformationServer.~PassengerInformationServer();
        new (&gPassengerInformationServer) PassengerInformationServer();
    }

    template <typename... Text>
    void update(int elemId, int elemNo, const Text&... texts) {
        FieldList list = fields(texts...);
        store.updatePassengerInformation(1, elemId, elemNo, list);
    }

    /// Empties the event queue and counts what was in it by code.
    static std::map<int, int> takeEvents() {
        std::map<int, int> events;
        while (const auto item = EventQueue::instance().pop()) ++events[item->code];
        return events;
    }

    TempFolder folder;
    std::atomic<int> operations{0};
    PassengerInformationServer& store = gPassengerInformationServer;
};

/// Does the same at every call.
class ActingObserver : public PassengerInformationObserver {
public:
    explicit ActingObserver(std::function<void()> action) : _action(std::move(action)) {}
    void onServerStatusUpdated(bool) override { _action(); }
    void onLineUpdated(Line) override { _action(); }
    void onLineRemoved(Line) override { _action(); }
    void onVehicleUpdated(Vehicle) override { _action(); }
    void onVehicleRemoved(Vehicle) override { _action(); }
    void onStationUpdated(Station) override { _action(); }
    void onStationRemoved(Station) override { _action(); }
    void onPlatformInfoUpdated(PlatformInfo) override { _action(); }
    void onPlatformInfoRemoved(PlatformInfo) override { _action(); }
    void onServiceUpdated(Service) override { _action(); }
    void onServiceRemoved(Service) override { _action(); }
    void onTripUpdated(Trip) override { _action(); }
    void onTripRemoved(Trip) override { _action(); }

private:
    std::function<void()> _action;
};

TEST_F(StoreUnderPlatform, AnObserverMayReadTheTablesSinceTheLockIsReentrant) {
    std::vector<std::size_t> seen;
    ActingObserver observer([&] {
        seen = {store.getLines().size(),     store.getVehicles().size(), store.getStations().size(),
                store.getPlatforms().size(), store.getTrips().size(),    store.getTripStops().size(),
                store.getServices().size()};
    });
    store.registerObserver(&observer);
    update(2, 1, "North", "N");
    EXPECT_EQ(seen, (std::vector<std::size_t>{1, 0, 0, 0, 0, 0, 0}));
    update(7, 70, "60");
    update(6, 60, "Trip", "1");
    EXPECT_EQ(seen, (std::vector<std::size_t>{1, 0, 0, 0, 1, 1, 0}));
    update(8, 80, "60");
    EXPECT_EQ(seen, (std::vector<std::size_t>{1, 0, 0, 0, 1, 1, 1}));
    store.deletePassengerInformation(2, 1);
    EXPECT_EQ(seen, (std::vector<std::size_t>{1, 0, 0, 0, 1, 1, 1})) << "while it is told, the line is still there";
    EXPECT_EQ(store.getLines().size(), 0U);
}

TEST_F(StoreUnderPlatform, AnObserverMayMakeRequestsAndTheSinkMayReadTheTables) {
    std::size_t linesInSink = 0;
    SendQueue::instance().setSink([&](const SendOperation&) { linesInSink = store.getLines().size(); });
    ActingObserver observer([&] { store.deleteLine(1); });
    store.registerObserver(&observer);
    update(2, 1, "North", "N");
    EXPECT_EQ(linesInSink, 1U);
}

TEST_F(StoreUnderPlatform, TheLockIsFreeAgainAfterAnObserverThrew) {
    ActingObserver observer([] { throw 7; });
    store.registerObserver(&observer);
    EXPECT_THROW(update(2, 1, "North", "N"), int);
    std::size_t lines = 0;
    std::thread([&] { lines = store.getLines().size(); }).join();
    EXPECT_EQ(lines, 1U);
}

TEST_F(StoreUnderPlatform, EventsShowTheRecordAsItStoodWhenTheyWerePosted) {
    update(2, 1, "North", "N");
    update(2, 1, "South", "S");
    store.deletePassengerInformation(2, 1);
    std::string events;
    while (const auto item = EventQueue::instance().pop()) {
        events += std::to_string(item->code) + " " + std::get<Line>(item->record).getName() + "\n";
    }
    EXPECT_EQ(events, "26 North\n26 South\n27 South\n");
}

TEST_F(StoreUnderPlatform, WhatTheStoreLogsDependsOnTheLevel) {
    update(2, 1, "North", "N");
    HostLog::setLevel(2);
    update(2, 2, "South", "S");
    HostLog::setLevel(1);
    update(2, 3, "East", "E");
    store.deletePassengerInformation(2, 3);
    HostLog::setLevel(-1);
    HostLog::writeTo(folder.path("another log"));

    const std::string log = folder.read("log");
    const std::size_t first = log.find("[debug 2] updateLine: lineId >2< added to list. Total Lines >2<\n");
    const std::size_t second =
        log.find("[debug 1] deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >3< deleted\n");
    EXPECT_LT(first, second);
    EXPECT_NE(second, std::string::npos);
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2) << log;
}

TEST_F(StoreUnderPlatform, ManyThreadsFeedDeleteReadAndRequest) {
    constexpr int kRounds = 150;
    constexpr int kIds = 10;
    std::atomic<bool> feeding{true};
    std::atomic<int> torn{0};
    std::atomic<int> told{0};
    ActingObserver observer([&told] { ++told; });
    store.registerObserver(&observer);

    // Every record bears its version twice: a copy that shows two of them was torn.
    const auto feed = [this](int firstId) {
        for (int round = 0; round < kRounds; ++round) {
            const std::string version = "a version too long to be kept in a string object, " + std::to_string(round);
            for (int id = firstId; id < firstId + kIds; ++id) {
                const std::string number = std::to_string(id);
                update(2, id, version, version);
                update(3, id, version, version, "4", number);
                update(4, id, version, version, "Y", number);
                update(5, id, number, "-", version, version);
                update(6, id, version, number, "1", "1", version, number);
                update(7, id, number, number, "Y", "60", "90");
                update(8, id, number, "21600", number, number, "1", number, "0", number);
                update(9, id, number, number, "21600", "0", "0");
                update(10, id, "Y", version, "1", version, number, "1", version, "1", version);
                update(11, id, "1", version, number);
                update(12, id, number, "1", version);
                update(98, 1, "", "", round % 2 == 0 ? "1" : "0");
                update(13, 1, round % 2 == 0 ? "Y" : "N");
            }
        }
    };
    const auto deleteInTurn = [&] {
        while (feeding) {
            for (int id = 1; id <= 2 * kIds; ++id) store.deletePassengerInformation(2 + id % 8, id);
            store.deletePassengerInformation(9, 0);
            std::this_thread::yield();
        }
    };
    const auto read = [&] {
        while (feeding) {
            for (const Line& line : store.getLines()) torn += line.getName() != line.getAbrv();
            for (const Station& station : store.getStations()) torn += station.getName() != station.getAbrv();
            for (const Trip& trip : store.getTrips()) torn += trip.getName() != trip.getPriorityText();
            for (const PlatformInfo& platform : store.getPlatforms()) {
                torn += platform.getName() != platform.getLocation() && platform.getName() != "Unknown Platform";
            }
            store.getVehicles();
            store.getTripStops();
            store.getServices();
            store.getServerStatus();
            store.isAutomaticMessageGenerationEnabled();
        }
    };
    constexpr int kRequests = 2000;
    const auto request = [this] {
        for (int i = 0; i < kRequests; ++i) store.addLine(Line(i));
    };
    std::map<int, int> events;
    const auto take = [&] {
        while (feeding) {
            for (const auto& [code, number] : takeEvents()) events[code] += number;
        }
    };

    std::vector<std::thread> feeders;
    feeders.emplace_back(feed, 1);
    feeders.emplace_back(feed, 1 + kIds);
    std::vector<std::thread> others;
    others.emplace_back(deleteInTurn);
    others.emplace_back(read);
    others.emplace_back(request);
    others.emplace_back(request);
    others.emplace_back(take);
    for (std::thread& thread : feeders) thread.join();
    feeding = false;
    for (std::thread& thread : others) thread.join();
    for (const auto& [code, number] : takeEvents()) events[code] += number;

    EXPECT_EQ(torn, 0);
    EXPECT_EQ(operations, 2 * kRequests);
    // Records that meet no gap in the lock post one event each, whatever the other threads do.
    constexpr int kFed = 2 * kRounds * kIds;
    EXPECT_EQ(events[26], kFed);
    EXPECT_EQ(events[28], 2 * kFed) << "vehicles and their states";
    EXPECT_EQ(events[30], kFed);
    EXPECT_EQ(events[32], 2 * kFed) << "platforms and their states";
    EXPECT_EQ(events[24], kFed / 2);
    EXPECT_EQ(events[25], kFed / 2);
    EXPECT_LE(events[36], kFed);
    EXPECT_GE(told, kFed) << "of the server's status alone";

    store.deletePassengerInformation(0, 0);
    EXPECT_EQ(store.getLines().size() + store.getVehicles().size() + store.getStations().size() +
                  store.getPlatforms().size() + store.getTrips().size() + store.getTripStops().size() +
                  store.getServices().size(),
              0U);
}

}  // namespace

}  // namespace pis::platform
