// The trains of whole days, on the sample railway and on one where all directions share each station's one platform:
// where trains are, in what order they are expected, how late they say that they will be.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "RecordMirror.h"
#include "SignallingCodes.h"
#include "SignallingController.h"
#include "SimulationTestSupport.h"
#include "simulator/Traffic.h"

namespace pis::simulator {

using namespace SignallingCodes;

namespace {

/// A main line from A by J and B to C and a branch from J to N, one platform each; trains turn back at A, C and N.
/// Doors and vehicles fail often.
std::string branchText() {
    const auto quoted = [](const std::string& text) { return '"' + text + '"'; };
    const auto station = [&](const std::string& letter) {
        return R"({"name": )" + quoted(letter) + R"(, "abbreviation": )" + quoted(letter) +
               R"(, "platforms": [{"name": "One", "abbreviation": )" + quoted(letter + "1") + R"(, "location": )" +
               quoted("X/" + letter + "/1") + R"(, "doors": "side 1"}]})";
    };
    /// Of "J1 dwell 60" and the like between the first platform and the last.
    const auto pattern = [&](const std::string& name, const std::string& start, const std::string& callsBetween) {
        return R"({"name": )" + quoted(name) + R"(, "line": "X", "direction": "ascending", "priority": "all stops",
"calls": [{"platform": ")" +
               name.substr(0, 1) + R"(1"}, )" + callsBetween + R"( {"platform": ")" + name.substr(1) +
               R"(1", "running": 90}],
"headways": [{"from": "05:)" +
               start + R"(", "until": "22:)" + start + R"(", "every": 15}]})";
    };
    std::string vehicles;
    for (int i = 0; i < 12; ++i) {
        const std::string number = quoted(std::to_string(i));
        vehicles += (i == 0 ? "" : ", ") + (R"({"name": )" + number) + R"(, "abbreviation": )" + number +
                    R"(, "cars": 1, "depot": )" + quoted(std::string(1, "ACN"[i % 3])) + "}";
    }
    return R"({"name": "Branch", "signal_box": "Box", "day_begins": "04:00", "announced": 60, "turnaround": 60,
"door_trouble": 6, "cancellations": 12,
"lines": [{"name": "Branch Line", "abbreviation": "X"}],
"stations": [)" +
           station("A") + "," + station("J") + "," + station("B") + "," + station("C") + "," + station("N") + R"(],
"patterns": [)" +
           pattern(
               "AC", "00",
               R"({"platform": "J1", "running": 60, "dwell": 60}, {"platform": "B1", "running": 80, "dwell": 110},)") +
           "," +
           pattern(
               "CA", "00",
               R"({"platform": "B1", "running": 90, "dwell": 30}, {"platform": "J1", "running": 80, "dwell": 100},)") +
           "," + pattern("AN", "06", R"({"platform": "J1", "running": 60, "stopping": false},)") + "," +
           pattern("NA", "06", R"({"platform": "J1", "running": 90, "dwell": 20},)") + R"(],
"vehicles": [)" +
           vehicles + "]}";
}

/// Follows a feed of trains without operations; now and then, at the end of a second, it looks at everything.
class TrainWatch {
public:
    /// @param every seconds at least between two looks.
    explicit TrainWatch(int every) : _every(every) {}

    void see(const feed::FeedRecord& record) {
        if (*record.at != _now) {
            if (_mirror.online() && _now >= _nextLook) lookAtAll();
            _now = static_cast<int>(*record.at);
        }
        if (record.kind == feed::FeedRecord::UPDATE && !_mirror.inSnapshot()) {
            if (record.type == SERVICE_STATE) seeState(record.id, RecordMirror::fieldsOf(record));
        }
        if (record.kind == feed::FeedRecord::DELETION && record.type == SERVICE) seeDeletion(record.id);
        _mirror.take(record);
        if (record.kind == feed::FeedRecord::SNAPSHOT_END) _underWay.clear();  // much may have gone unseen
        if (record.kind == feed::FeedRecord::UPDATE && record.type == VEHICLE_STATE && !_mirror.inSnapshot()) {
            lookAtPlaceOf(record.id);
        }
    }

    const RecordMirror& mirror() const { return _mirror; }
    std::size_t ended() const { return _ended.size(); }
    std::size_t looks() const { return _looks; }

private:
    int stateOf(int service) const { return _mirror.number(SERVICE_STATE, service, 1); }
    bool isAtPlatform(int service) const {
        return stateOf(service) >= ::Service::APPROACHING_STATION && stateOf(service) <= ::Service::DEPARTING_STATION;
    }
    int tripStopOf(int stop) const { return _mirror.number(SERVICE_STOP, stop, 1); }
    int platformOf(int stop) const { return _mirror.number(TRIP_STOP, tripStopOf(stop), 1); }
    int startOf(int stop) const { return _mirror.number(SERVICE_STOP, stop, 2); }
    int plannedArrival(int stop) const { return startOf(stop) + _mirror.number(TRIP_STOP, tripStopOf(stop), 3); }
    int plannedDeparture(int stop) const { return startOf(stop) + _mirror.number(TRIP_STOP, tripStopOf(stop), 4); }
    int arrivalDelay(int stop) const { return _mirror.number(SERVICE_STOP, stop, 3); }
    int departureDelay(int stop) const { return _mirror.number(SERVICE_STOP, stop, 4); }

    /// Each step follows the one before, and no train leaves before it came.
    void seeState(int service, const RecordMirror::Fields& fields) {
        static const std::set<std::pair<int, int>> kCourse{{::Service::NOT_STARTED, ::Service::APPROACHING_STATION},
                                                           {::Service::APPROACHING_STATION, ::Service::IN_STATION},
                                                           {::Service::IN_STATION, ::Service::BOARDING},
                                                           {::Service::IN_STATION, ::Service::TERMINATED},
                                                           {::Service::BOARDING, ::Service::DEPARTING_STATION},
                                                           {::Service::DEPARTING_STATION, ::Service::DEPARTED_STATION},
                                                           {::Service::DEPARTED_STATION, ::Service::RUNNING},
                                                           {::Service::RUNNING, ::Service::RUNNING},
                                                           {::Service::RUNNING, ::Service::APPROACHING_STATION}};
        const int state = std::atoi(fields[1].c_str());
        if (state == ::Service::TERMINATED || state == ::Service::CANCELLED) _ended.insert(service);
        if (state == ::Service::DEPARTED_STATION) {
            const int vehicle = _mirror.number(SERVICE, service, 2);
            const int left = _mirror.list(SERVICE_STATE, service, 0).front();
            const int next = RecordMirror::idsOf(fields[0]).front();
            EXPECT_EQ(_mirror.field(VEHICLE_STATE, vehicle, 1), _mirror.field(PLATFORM, platformOf(left), 3) + "-" +
                                                                    _mirror.field(PLATFORM, platformOf(next), 3));
            EXPECT_GE(plannedDeparture(left) + departureDelay(left), plannedArrival(left) + arrivalDelay(left));
            EXPECT_GE(departureDelay(left), 0);
        }
        if (state == ::Service::CANCELLED) {
            const std::vector<int> tripStops = _mirror.list(SERVICE, service, 3);
            const int end = _mirror.number(SERVICE, service, 1) + _mirror.number(TRIP_STOP, tripStops.back(), 3);
            _goneAt[service] = std::max(end, _now) + Traffic::kServiceKept;
        }
        if (_mirror.has(SERVICE_STATE, service)) {
            seeCourse(service, _mirror.list(SERVICE_STATE, service, 0), RecordMirror::idsOf(fields[0]));
        }
        if (!_mirror.has(SERVICE_STATE, service) || state == ::Service::CANCELLED) return;
        EXPECT_TRUE(kCourse.count({stateOf(service), state}))
            << "service " << service << ": " << stateOf(service) << " to " << state << " at " << _now;
    }

    /// Trains come to a platform in the order in which they left the one before.
    void seeCourse(int service, const std::vector<int>& ahead, const std::vector<int>& aheadNow) {
        if (aheadNow.size() == ahead.size()) return;
        for (auto& [between, services] : _underWay) {
            const auto found = std::find(services.begin(), services.end(), service);
            if (found == services.end()) continue;
            if (!_goneAt.count(service)) {
                EXPECT_EQ(services.front(), service) << "overtaken on the way to " << between.second << " at " << _now;
            }
            services.erase(found);
        }
        if (!aheadNow.empty()) {
            _underWay[{platformOf(ahead.front()), platformOf(aheadNow.front())}].push_back(service);
        }
    }

    /// What has not run is there for as long as what has.
    void seeDeletion(int service) const {
        if (stateOf(service) != ::Service::CANCELLED) return;
        EXPECT_EQ(_now, _goneAt.at(service)) << "service " << service;
    }

    /// Where one vehicle is, there is no other, but in a depot or on the way between two platforms.
    void lookAtPlaceOf(int vehicle) const {
        const std::string& place = _mirror.field(VEHICLE_STATE, vehicle, 1);
        if (place.find('-') != std::string::npos || place.find("DEPOT") != std::string::npos) return;
        for (const int other : _mirror.idsOfType(VEHICLE_STATE)) {
            if (other == vehicle) continue;
            EXPECT_NE(_mirror.field(VEHICLE_STATE, other, 1), place) << " at " << _now;
        }
    }

    void lookAtAll() {
        ++_looks;
        _nextLook = _now + _every;
        std::map<int, std::vector<int>> awaited;  // by platform: stops ahead
        std::map<int, int> here;                  // by platform: the stop that a train is at
        for (const int service : _mirror.idsOfType(SERVICE_STATE)) {
            const std::vector<int> ahead = _mirror.list(SERVICE_STATE, service, 0);
            for (const int stop : ahead) awaited[platformOf(stop)].push_back(stop);
            if (ahead.empty()) continue;
            if (isAtPlatform(service)) {
                EXPECT_TRUE(here.emplace(platformOf(ahead.front()), ahead.front()).second)
                    << "two trains at platform " << platformOf(ahead.front()) << " at " << _now;
            }
            if (stateOf(service) != ::Service::NOT_STARTED) lookAtDelays(service, ahead);
        }
        for (const int platform : _mirror.idsOfType(PLATFORM)) {
            const auto atPlatform = here.find(platform);
            lookAtPassers(platform, awaited[platform], atPlatform == here.end() ? 0 : atPlatform->second);
        }
    }

    /// The train at the platform, then the others in the order of the times at which they are expected.
    void lookAtPassers(int platform, const std::vector<int>& awaited, int here) const {
        std::vector<int> told = _mirror.list(PLATFORM_STATE, platform, 2);
        EXPECT_EQ(told.size(), std::min<std::size_t>(awaited.size(), 4)) << "platform " << platform;
        const auto expectedAt = [this](int stop) { return plannedArrival(stop) + arrivalDelay(stop); };
        std::vector<int> times, toldTimes;
        if (here != 0) {
            EXPECT_EQ(told.front(), here) << "platform " << platform << " at " << _now;
        }
        // Nothing but the platform's state says that a train is about to pass.
        if (_mirror.number(PLATFORM_STATE, platform, 0) == PlatformInfo::VEHICLE_DOES_NOT_STOP && !told.empty()) {
            here = told.front();
        }
        for (const int stop : awaited) {
            if (stop != here) times.push_back(expectedAt(stop));
        }
        for (const int stop : told) {
            if (stop != here) toldTimes.push_back(expectedAt(stop));
        }
        std::sort(times.begin(), times.end());
        times.resize(toldTimes.size());
        EXPECT_EQ(toldTimes, times) << "platform " << platform << " at " << _now;
    }

    /// A stop ahead tells the delay that is known of the train, less what longer stops on the way make up for; or
    /// what a train that is held has at least.
    void lookAtDelays(int service, const std::vector<int>& ahead) const {
        constexpr int kToPlatform = 25;
        constexpr int kShortestStop = 30;
        const bool stands = isAtPlatform(service) && stateOf(service) != ::Service::APPROACHING_STATION;
        const int behind = stands ? ahead.front() : ahead.front() - 1;  // stops are numbered in their order
        if (!_mirror.has(SERVICE_STOP, behind) || _mirror.number(SERVICE_STOP, behind, 0) != service) return;
        const int known = departureDelay(behind);
        int atLeast = known;
        int atMost = known;
        for (std::size_t i = stands ? 1 : 0; i < ahead.size(); ++i) {
            const int stop = ahead[i];
            const bool stopping = _mirror.field(TRIP_STOP, tripStopOf(stop), 2) == "Y";
            if (i == 0) {
                atMost = std::max(atMost, _now + kToPlatform - plannedArrival(stop));
                const bool held = stopping && stateOf(service) == ::Service::RUNNING;
                if (held) atLeast = std::max(atLeast, _now - plannedArrival(stop));
            }
            const auto expect = [&](int told, int low, int high) {
                EXPECT_GT(told, low - Traffic::kTellingDelay) << "stop " << stop << " at " << _now;
                EXPECT_LT(told, high + Traffic::kTellingDelay) << "stop " << stop << " at " << _now;
            };
            expect(arrivalDelay(stop), atLeast, atMost);
            if (stopping) {
                const int spare = std::max(plannedDeparture(stop) - plannedArrival(stop) - kShortestStop, 0);
                atLeast = std::max(atLeast - spare, 0);
                atMost = std::max(atMost - spare, 0);
            }
            expect(departureDelay(stop), atLeast, atMost);
        }
    }

    RecordMirror _mirror;
    std::set<int> _ended;
    std::map<int, int> _goneAt;                                 // by cancelled service
    std::map<std::pair<int, int>, std::vector<int>> _underWay;  // between two platforms: services
    std::size_t _looks = 0;
    int _now = 0;
    int _every, _nextLook = 0;
};

void runADay(const Network& network, std::uint32_t seed, int every) {
    Simulation simulation(network, seed);
    TrainWatch watch(every);
    const auto see = [&watch](const feed::FeedRecord& record) { watch.see(record); };
    simulation.reportWholeState(see);
    simulation.advanceTo(network.dayEnds() - 1, see);
    EXPECT_EQ(watch.ended(), timetableOf(network).services.size());
    EXPECT_TRUE(watch.mirror().idsOfType(SERVICE).empty()) << "services that never ended";
    for (const int platform : watch.mirror().idsOfType(PLATFORM)) {
        EXPECT_EQ(watch.mirror().field(PLATFORM_STATE, platform, 0), "0");
        EXPECT_EQ(watch.mirror().field(PLATFORM_STATE, platform, 2), "");
    }
    EXPECT_GT(watch.looks(), 500U);
}

class TrainsOfADay : public ::testing::TestWithParam<std::uint32_t> {};

}  // namespace

TEST_P(TrainsOfADay, KeepApartOnASharedPlatform) {
    runADay(parseNetwork(branchText(), "branch.json"), GetParam(), 0);
}

TEST_P(TrainsOfADay, KeepApartOnTheSampleRailway) {
    runADay(harbourNetwork(), GetParam(), 97);
}

INSTANTIATE_TEST_SUITE_P(Seeds, TrainsOfADay, ::testing::Values(1U, 2U, 1887U));

}  // namespace pis::simulator
