// The store among threads: one feeds, one deletes, four read every table, one reports the server's
// status, one makes requests. Whatever the order of things was, what clients copied had been fed that
// way, and the log adds up. The numbers of steps are fixed; no test waits for a clock.
#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "StoreTest.h"

namespace {

constexpr int kIds = 8;
constexpr int kFedRounds = 400;
constexpr int kFedRecords = 11 * kFedRounds;
constexpr int kDeletions = 3000;
constexpr int kReadRounds = 300;
constexpr int kStatusRecords = 2000;
constexpr int kRequests = 2000;

/// Lets its threads go together, once all have arrived.
class StartLine {
public:
    explicit StartLine(int threads) : _missing(threads) {}
    void arrive() {
        std::unique_lock<std::mutex> guard(_mutex);
        if (--_missing == 0) _complete.notify_all();
        _complete.wait(guard, [this] { return _missing == 0; });
    }

private:
    std::mutex _mutex;
    std::condition_variable _complete;
    int _missing;
};

void runTogether(const std::vector<std::function<void()>>& tasks) {
    StartLine startLine(static_cast<int>(tasks.size()));
    std::vector<std::thread> threads;
    for (const auto& task : tasks) {
        threads.emplace_back([&startLine, &task] {
            startLine.arrive();
            task();
        });
    }
    for (std::thread& thread : threads) thread.join();
}

/// A text too long to be kept inside a string object: torn copies would show.
std::string longText(int version) {
    return "a text that tells which record it came with, number " + std::to_string(version);
}

// Every record below is fed with one number in all the fields that come together. Fields that come
// with another kind of record bear that one's number, or their defaults as long as none came.

bool together(const std::vector<std::string>& values, const std::vector<std::string>& defaults) {
    return values == defaults || std::all_of(values.begin(), values.end(), [&](const std::string& value) {
               return value == values.front() || value == longText(std::atoi(values.front().c_str()));
           });
}

std::string text(long long value) {
    return std::to_string(value);
}

bool whole(const Line& line) {
    return together({line.getAbrv(), line.getName()}, {});
}
bool whole(const Vehicle& vehicle) {
    return together(
               {text(vehicle.getNumCars()), vehicle.getName(), vehicle.getAbrv(), vehicle.getServicesListAsString()},
               {"0", "Unknown Vehicle", "", ""}) &&
           together({text(vehicle.getCurrentServiceId()), vehicle.getCurrentLocation(), text(vehicle.getState()),
                     vehicle.getStateText(), text(vehicle.getOpeningDoors()), vehicle.getOpeningDoorsText(),
                     text(vehicle.getOpenedDoors()), vehicle.getOpenedDoorsText()},
                    {"0", "", "0", "OUT_OF_SERVICE", "3", "BOTH", "0", "NONE"});
}
bool whole(const Station& station) {
    return together({station.getAbrv(), station.getName(), station.getPlatformsListAsString()}, {}) &&
           station.isMajor();
}
bool whole(const PlatformInfo& platform) {
    return together({text(platform.getStationId()), platform.getName(), platform.getLocation()},
                    {"0", "Unknown Platform", ""}) &&
           together({text(platform.getState()), platform.getStateText(), platform.getPassersListAsString()},
                    {"0", "NO_VEHICLE_SCHEDULED", ""});
}
bool whole(const Trip& trip) {
    return together({text(trip.getLineId()), trip.getName(), text(trip.getPriority()), trip.getPriorityText(),
                     trip.getStopsListAsString()},
                    {});
}
bool whole(const TripStop& stop) {
    return together({text(stop.getTripId()), text(stop.getPlatformId()),
                     text(static_cast<long long>(stop.getSchArvOffset())),
                     text(static_cast<long long>(stop.getSchDepOffset()))},
                    {}) &&
           stop.isStopping();
}
bool whole(const Service& service) {
    return (service.getTripId() == service.getId() || service.getTripId() == 0) &&
           together({text(static_cast<long long>(service.getStartTime())), text(service.getVehicleId()),
                     text(service.getDestinationStationId())},
                    {"0", "0", "0"}) &&
           together({text(service.getPriority()), service.getName(), service.getPriorityText()},
                    {"0", "Unknown Service", "ALL_STOPS"}) &&
           together({text(service.getLineId()), service.getStopsListAsString()}, {"0", ""}) &&
           together({text(service.getState()), service.getStateText(), service.getFollowingStopsListAsString()},
                    {"0", "NOT_STARTED", ""});
}

template <typename Record>
void expectWhole(const std::vector<Record>& table) {
    std::set<int> ids;
    for (const Record& record : table) {
        EXPECT_TRUE(whole(record)) << describe(record);
        EXPECT_TRUE(ids.insert(record.getId()).second) << "twice: " << describe(record);
    }
}

/// Looks at what it is told; status records reach it on another thread than the elements do.
class Checker : public PassengerInformationObserver {
public:
    void onServerStatusUpdated(bool online) override { _online += online ? 1 : 0; }
    void onLineUpdated(Line line) override { updated(line); }
    void onLineRemoved(Line line) override { removed(line); }
    void onVehicleUpdated(Vehicle vehicle) override { updated(vehicle); }
    void onVehicleRemoved(Vehicle vehicle) override { removed(vehicle); }
    void onStationUpdated(Station station) override { updated(station); }
    void onStationRemoved(Station station) override { removed(station); }
    void onPlatformInfoUpdated(PlatformInfo platform) override { updated(platform); }
    void onPlatformInfoRemoved(PlatformInfo platform) override { removed(platform); }
    void onServiceUpdated(Service service) override { updated(service); }
    void onServiceRemoved(Service service) override { removed(service); }
    void onTripUpdated(Trip trip) override { updated(trip); }
    void onTripRemoved(Trip trip) override { removed(trip); }

    int online() const { return _online; }
    long updates() const { return _updates; }
    long removals() const { return _removals; }

private:
    template <typename Record>
    void updated(const Record& record) {
        EXPECT_TRUE(whole(record)) << describe(record);
        ++_updates;
    }
    template <typename Record>
    void removed(const Record& record) {
        EXPECT_TRUE(whole(record)) << describe(record);
        ++_removals;
    }

    std::atomic<int> _online{0};
    long _updates = 0;   // under the store's lock
    long _removals = 0;  // under the store's lock
};

}  // namespace

class Threads : public StoreTest {
protected:
    /// One record of every kind for one id, all bearing the same number. A trip has the id of its
    /// service, a trip stop that of its service stop.
    void feedAll(int id, int number) {
        const std::string n = std::to_string(number);
        const std::string t = longText(number);
        const std::string self = std::to_string(id);
        feed(2, id, t, n);
        feed(3, id, t, n, n, t);
        feed(10, id, "Y", t, n, t, n, n, t, n, t);
        feed(4, id, t, n, "Y", t);
        feed(5, id, n, "", t, t);
        feed(11, id, n, t, t);
        feed(6, id, t, n, "1", n, t, t);
        feed(7, id, n, n, "Y", n, n);
        feed(8, id, self, n, n, t, "1", n, "1", n);
        feed(12, id, t, n, t);
        feed(9, id, n, self, n, n, n);
    }

    template <typename... Text>
    void feed(int elemId, int elemNo, const Text&... texts) {
        update(elemId, elemNo, texts...);
        _fed.fetch_add(1, std::memory_order_relaxed);
        std::this_thread::yield();
    }

    /// Waits until the feed has gone as far as step i of n, so that the threads stay side by side.
    /// Relaxed on purpose: it orders nothing that the store's own lock should order.
    void keepPace(int i, int n) const {
        const long long due = static_cast<long long>(i) * kFedRecords / n;
        while (_fed.load(std::memory_order_relaxed) < due) std::this_thread::yield();
    }

    void readAll() {
        expectWhole(store.getLines());
        expectWhole(store.getVehicles());
        expectWhole(store.getStations());
        expectWhole(store.getPlatforms());
        expectWhole(store.getTrips());
        expectWhole(store.getTripStops());
        expectWhole(store.getServices());
    }

    /// Lines of the transcript that begin so, in order.
    std::vector<std::string> linesOfTranscript(const std::string& prefix) const {
        std::vector<std::string> found;
        std::istringstream lines(host.transcript());
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind(prefix, 0) == 0) found.push_back(line);
        }
        return found;
    }

    long linesThatHold(const std::string& part) const {
        long count = 0;
        for (const std::string& line : linesOfTranscript("debug ")) count += line.find(part) != std::string::npos;
        return count;
    }

private:
    std::atomic<int> _fed{0};
};

TEST_F(Threads, FeedReadDeleteAndRequestAtOnce) {
    host.notesLock = false;
    Checker checker;
    store.registerObserver(&checker);
    host.clear();

    const auto read = [this] {
        for (int round = 0; round < kReadRounds; ++round) {
            keepPace(round, kReadRounds);
            readAll();
            store.getServerStatus();
            store.isAutomaticMessageGenerationEnabled();
        }
    };
    runTogether({
        [this] {
            for (int round = 1; round <= kFedRounds; ++round) feedAll(round % kIds + 1, round);
        },
        [this] {
            for (int i = 0; i < kDeletions; ++i) {
                keepPace(i, kDeletions);
                // Mostly one element of one type, now and then one id of every type, seldom everything.
                const int type = i % 50 == 0 ? 0 : i % 8 + 2;
                store.deletePassengerInformation(type, i % 1000 == 999 ? 0 : i * 7 / 5 % kIds + 1);
            }
        },
        read,
        read,
        read,
        read,
        [this] {
            for (int i = 1; i <= kStatusRecords; ++i) {
                const bool on = i % 3 == 0;
                keepPace(i, kStatusRecords);
                update(98, 1, "", "", on ? "1" : "0");
                update(13, 1, on ? "N" : "Y");
                EXPECT_EQ(store.getServerStatus(), on);
                EXPECT_EQ(store.isAutomaticMessageGenerationEnabled(), !on);
            }
        },
        [this] {
            for (int i = 1; i <= kRequests; ++i) {
                keepPace(i, kRequests);
                store.deleteService(i);
            }
        },
    });

    // Status records and requests came from one thread each: they keep its order.
    std::vector<std::string> requests;
    for (int i = 1; i <= kRequests; ++i) requests.push_back("operation 64 " + std::to_string(i));
    EXPECT_EQ(linesOfTranscript("operation"), requests);
    std::vector<int> statusEvents;
    std::vector<int> expectedStatusEvents;
    std::map<int, long> events;
    for (const FakeHost::Event& event : host.events()) {
        ++events[event.code];
        if (event.code == 24 || event.code == 25) statusEvents.push_back(event.code);
    }
    for (int i = 1; i <= kStatusRecords; ++i) expectedStatusEvents.push_back(i % 3 == 0 ? 24 : 25);
    EXPECT_EQ(statusEvents, expectedStatusEvents);
    EXPECT_EQ(checker.online(), kStatusRecords / 3);

    // Handlers without a gap post one event a record; the others leave theirs out where their element
    // was deleted in the gap.
    EXPECT_EQ(events[26], kFedRounds);
    EXPECT_EQ(events[28], 2 * kFedRounds);
    EXPECT_EQ(events[30], kFedRounds);
    EXPECT_EQ(events[32], 2 * kFedRounds);
    EXPECT_LE(events[34], 2 * kFedRounds);
    EXPECT_LE(events[36], kFedRounds);
    EXPECT_GT(checker.updates(), 0);
    EXPECT_EQ(checker.removals(), events[27] + events[29] + events[31] + events[33] + events[35] + events[37]);

    // What was added and not deleted is there.
    const auto remaining = [this](const std::string& total, const std::string& type) {
        return linesThatHold("added to list. Total " + total + " ") - linesThatHold("ELEM_" + type + " ");
    };
    EXPECT_EQ(remaining("Lines", "LINE"), static_cast<long>(store.getLines().size()));
    EXPECT_EQ(remaining("Vehicles", "VEHICLE"), static_cast<long>(store.getVehicles().size()));
    EXPECT_EQ(remaining("Stations", "STATION"), static_cast<long>(store.getStations().size()));
    EXPECT_EQ(remaining("Platforms", "PLATFORM"), static_cast<long>(store.getPlatforms().size()));
    EXPECT_EQ(remaining("Trips", "TRIP"), static_cast<long>(store.getTrips().size()));
    EXPECT_EQ(remaining("Services", "SERVICE"), static_cast<long>(store.getServices().size()));
    EXPECT_EQ(linesThatHold("added to list. Total TripStops ") - linesThatHold("ELEM_TRIP_STOP ") -
                  linesThatHold("ELEM_SERVICE_STOP "),
              static_cast<long>(store.getTripStops().size() + serviceStopsOf(store).size()));

    // A last word on every element makes all of it the same, wherever it stands.
    for (int id = 1; id <= kIds; ++id) feedAll(id, 5000);
    readAll();
    const auto sorted = [this] {
        std::multiset<std::string> records;
        std::istringstream lines(describe(store));
        for (std::string line; std::getline(lines, line);) records.insert(line);
        return records;
    };
    const std::multiset<std::string> afterwards = sorted();
    EXPECT_EQ(afterwards.size(), 8U * kIds);
    store.deletePassengerInformation(0, 0);
    for (int id = 1; id <= kIds; ++id) feedAll(id, 5000);
    EXPECT_EQ(afterwards, sorted());
}

// --- A deletion by another thread while a handler has given up the lock ---------------------------

class DeletionInTheGap : public Threads {
protected:
    /// The transcript of an update of service, trip or service stop 2; once the handler has given up
    /// the lock, another thread deletes.
    template <typename... Text>
    std::string whileDeleting(int deletedType, int deletedId, int elemId, const Text&... texts) {
        host.at("leave", [=] {
            std::thread other([=] { store.deletePassengerInformation(deletedType, deletedId); });
            other.join();
        });
        return transcriptOfUpdate(elemId, 2, texts...);
    }

    static std::string deleted(const std::string& what, const std::string& observer, int event, int id) {
        return "enter\n" + observer + (event == 0 ? "" : "event " + text(event) + " " + text(id) + "\n") +
               "debug 1 deletePassengerInformation: PI_STORAGE_ELEM_" + what + " >" + text(id) + "< deleted\nleave\n";
    }
};

TEST_F(DeletionInTheGap, TakesTheTripAway) {
    update(6, 1, "One");
    EXPECT_EQ(whileDeleting(6, 2, 6, "Two"),
              "enter\ndebug 2 updateTrip: tripId >2< added to list. Total Trips >2<\nleave\n" +
                  deleted("TRIP tripId", "", 37, 2) + "enter\nleave\nenter\nleave\n");
    EXPECT_EQ(describe(store.getTrips()),
              "trip 1 \"One\" \"\" line=0 direction=1 priority=0 priorityText=\"ALL_STOPS\" stops=\"\"\n");
}

TEST_F(DeletionInTheGap, TakesTheServiceAway) {
    update(6, 40, "Trip");
    EXPECT_EQ(whileDeleting(0, 2, 8, "40"),
              "enter\ndebug 2 updateService: serviceId >2< added to list. Total Services >1<\nleave\n" +
                  deleted("SERVICE serviceId", "", 35, 2) + "enter\nleave\nenter\nleave\n");
    EXPECT_EQ(describe(store.getServices()), "");
}

TEST_F(DeletionInTheGap, TakesTheServiceStopAway) {
    update(7, 401, "40", "101", "Y", "0", "60");
    EXPECT_EQ(whileDeleting(9, 2, 9, "12", "401"),
              "enter\ndebug 2 updateServiceStop: tripStopId >2< added to list. Total TripStops >1<\nleave\n" +
                  deleted("SERVICE_STOP serviceStopId", "", 0, 2) + "enter\nleave\nenter\nleave\n");
    EXPECT_EQ(describe(serviceStopsOf(store)), "");
}

TEST_F(DeletionInTheGap, TakesTheTripOfAServiceAway) {
    update(6, 40, "Trip", "7");
    EXPECT_EQ(whileDeleting(6, 40, 8, "40"),
              "enter\ndebug 2 updateService: serviceId >2< added to list. Total Services >1<\nleave\n" +
                  deleted("TRIP tripId", "", 37, 40) + "enter\nleave\nenter\nevent 34 2\nleave\n");
    EXPECT_EQ(store.getServices().front().getName(), "Unknown Service");
}

TEST_F(DeletionInTheGap, LeavesTheHandlerAtItsPosition) {
    for (int id = 1; id <= 3; ++id) update(6, id, "Trip " + text(id));
    EXPECT_EQ(whileDeleting(6, 1, 6, "Trip 2"),
              "enter\nleave\n" + deleted("TRIP tripId", "", 37, 1) + "enter\nleave\nenter\nevent 36 3\nleave\n");
}
