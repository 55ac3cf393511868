// Whole days of the sample railway at several seeds: what a receiver sees must hang together at every record.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "RecordMirror.h"
#include "SignallingCodes.h"
#include "SimulationTestSupport.h"

namespace pis::simulator {

using namespace SignallingCodes;

namespace {

enum PlatformState { NONE, APPROACHING, ON_PLATFORM, PASSING, TERMINATED, BOARDING, DEPARTING, DEPARTED };
constexpr const char* kServiceTerminated = "7";
constexpr const char* kServiceCancelled = "8";

/// Follows a feed and complains of whatever does not fit what came before.
class DayWatch {
public:
    void take(const feed::FeedRecord& record) {
        checkTime(record);
        if (record.kind == feed::FeedRecord::UPDATE && !_mirror.inSnapshot()) checkUpdate(record);
        if (record.kind == feed::FeedRecord::DELETION) checkDeletion(record);
        const bool snapshotEnds = record.kind == feed::FeedRecord::SNAPSHOT_END;
        const RecordMirror::Elements before = snapshotEnds ? _mirror.elements() : RecordMirror::Elements();
        _mirror.take(record);
        if (snapshotEnds && !_first && !_linkWasLost) {
            EXPECT_TRUE(before == _mirror.elements()) << "at " << *record.at;
        }
        if (snapshotEnds) _first = _linkWasLost = false;
        if (record.kind == feed::FeedRecord::UPDATE && record.type == SIGNALLING_SERVER_STATUS && !_mirror.online()) {
            _linkWasLost = true;
        }
        noteReferences(record);
    }

    const RecordMirror& mirror() const { return _mirror; }
    std::size_t terminated() const { return _terminated; }
    std::size_t cancelled() const { return _cancelled; }
    int worstDelay() const { return _worstDelay; }

    /// Ids that were named and that no record brought.
    std::set<std::pair<int, int>> namingNothing() const {
        std::set<std::pair<int, int>> open;
        std::set_difference(_named.begin(), _named.end(), _brought.begin(), _brought.end(),
                            std::inserter(open, open.end()));
        return open;
    }

private:
    void checkTime(const feed::FeedRecord& record) {
        ASSERT_TRUE(record.at.has_value());
        EXPECT_GE(*record.at, _lastAt);
        _lastAt = *record.at;
    }

    void checkUpdate(const feed::FeedRecord& record) {
        const RecordMirror::Fields fields = RecordMirror::fieldsOf(record);
        if (record.type == PLATFORM_STATE) checkPlatform(record.id, fields);
        if (record.type == SERVICE_STATE) checkService(record.id, fields);
        if (record.type == SERVICE_STOP) checkDelays(fields);
    }

    /// One train at a time: each state follows the one before in the course of one train.
    void checkPlatform(int id, const RecordMirror::Fields& fields) {
        static const std::set<std::pair<int, int>> kCourse{{NONE, APPROACHING},     {APPROACHING, ON_PLATFORM},
                                                           {ON_PLATFORM, BOARDING}, {ON_PLATFORM, TERMINATED},
                                                           {BOARDING, DEPARTING},   {DEPARTING, DEPARTED},
                                                           {DEPARTED, NONE},        {TERMINATED, NONE},
                                                           {NONE, PASSING},         {PASSING, NONE}};
        const int before = _mirror.number(PLATFORM_STATE, id, 0);
        const int now = std::atoi(fields[0].c_str());
        if (now != before) {
            EXPECT_TRUE(kCourse.count({before, now})) << "platform " << id << ": " << before << " to " << now;
        }
        for (const int stop : RecordMirror::idsOf(fields[2])) {
            ASSERT_TRUE(_mirror.has(SERVICE_STOP, stop)) << "passer " << stop;
            const int tripStop = _mirror.number(SERVICE_STOP, stop, 1);
            EXPECT_EQ(_mirror.number(TRIP_STOP, tripStop, 1), id) << "passer " << stop;
            const std::vector<int> following = _mirror.list(SERVICE_STATE, _mirror.number(SERVICE_STOP, stop, 0), 0);
            EXPECT_TRUE(std::count(following.begin(), following.end(), stop)) << "passer " << stop << " at " << _lastAt;
        }
    }

    /// The stops ahead grow fewer from the front.
    void checkService(int id, const RecordMirror::Fields& fields) {
        if (fields[1] == kServiceTerminated) ++_terminated;
        if (fields[1] == kServiceCancelled) ++_cancelled;
        const std::vector<int> now = RecordMirror::idsOf(fields[0]);
        if (!_mirror.has(SERVICE_STATE, id)) return;
        const std::vector<int> before = _mirror.list(SERVICE_STATE, id, 0);
        ASSERT_LE(now.size(), before.size()) << "service " << id;
        EXPECT_TRUE(std::equal(now.rbegin(), now.rend(), before.rbegin())) << "service " << id;
    }

    void checkDelays(const RecordMirror::Fields& fields) {
        for (const std::size_t field : {3U, 4U}) {
            const int delay = std::atoi(fields[field].c_str());
            EXPECT_GT(delay, -300);
            _worstDelay = std::max(_worstDelay, delay);
        }
    }

    void checkDeletion(const feed::FeedRecord& record) {
        if (record.type != SERVICE) return;
        const std::string& state = _mirror.field(SERVICE_STATE, record.id, 1);
        EXPECT_TRUE(state == kServiceTerminated || state == kServiceCancelled) << "service " << record.id;
        EXPECT_EQ(_mirror.field(SERVICE_STATE, record.id, 0), "");
    }

    void noteReferences(const feed::FeedRecord& record) {
        if (record.kind != feed::FeedRecord::UPDATE) return;
        const feed::ElementType& type = *feed::findElementType(record.type);
        if (type.code == type.table) _brought.insert({type.code, record.id});
        ASSERT_EQ(record.fields.size(), type.fields.size()) << type.name;
        for (std::size_t i = 0; i < type.fields.size(); ++i) {
            const feed::FieldType& field = type.fields[i];
            if (field.kind != feed::FieldType::NUMBER_OF && field.kind != feed::FieldType::LIST_OF) continue;
            for (const int id : RecordMirror::idsOf(record.fields[i])) {
                if (id != 0 || !field.zeroMeansNone) _named.insert({field.refersTo, id});
            }
        }
    }

    RecordMirror _mirror;
    std::set<std::pair<int, int>> _named, _brought;
    double _lastAt = 0;
    bool _first = true;
    bool _linkWasLost = false;
    std::size_t _terminated = 0, _cancelled = 0;
    int _worstDelay = 0;
};

class RailwayDay : public ::testing::TestWithParam<std::uint32_t> {};

}  // namespace

TEST_P(RailwayDay, HangsTogetherAtEveryRecord) {
    Simulation simulation(harbourNetwork(), GetParam());
    DayWatch watch;
    const auto take = [&watch](const feed::FeedRecord& record) { watch.take(record); };
    simulation.reportWholeState(take);
    // Whole states in between must tell what the receiver knows already. The time between them is no
    // multiple of anything, so that they meet trains in all their steps.
    for (int time = simulation.now(); time < harbourNetwork().dayEnds() - 1; time += 2003) {
        simulation.advanceTo(time, take);
        if (watch.mirror().online()) simulation.reportWholeState(take);
    }
    simulation.advanceTo(harbourNetwork().dayEnds() - 1, take);

    EXPECT_TRUE(watch.mirror().idsOfType(SERVICE).empty()) << "services that never ended";
    EXPECT_TRUE(watch.mirror().idsOfType(SERVICE_STOP).empty());
    for (const int platform : watch.mirror().idsOfType(PLATFORM)) {
        EXPECT_EQ(watch.mirror().field(PLATFORM_STATE, platform, 0), "0");
        EXPECT_EQ(watch.mirror().field(PLATFORM_STATE, platform, 2), "");
    }
    for (const int vehicle : watch.mirror().idsOfType(VEHICLE)) {
        EXPECT_EQ(watch.mirror().field(VEHICLE_STATE, vehicle, 2), "0");
        EXPECT_EQ(watch.mirror().field(VEHICLE, vehicle, 3), "");
    }
    EXPECT_TRUE(watch.namingNothing().empty());
    EXPECT_GT(watch.terminated(), 200U);
    EXPECT_GT(watch.cancelled(), 2U);
    EXPECT_LT(watch.cancelled(), 40U);
    EXPECT_GT(watch.worstDelay(), 60);
    EXPECT_LT(watch.worstDelay(), 3600);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RailwayDay, ::testing::Values(1U, 2U, 1887U));

// By the timetable; limited-stop trains among the others stretch a headway by some minutes on their way.
TEST(HarbourLine, HasThreeTrainsAnHourAtMajorStationsAndOneElsewhere) {
    const Network& network = harbourNetwork();
    for (std::size_t platform = 0; platform < network.platforms.size(); ++platform) {
        std::vector<int> arrivals;
        for (const Network::Pattern& pattern : network.patterns) {
            int offset = 0;
            for (const Network::Call& call : pattern.calls) {
                offset += call.running;
                if (call.platform == platform && call.stopping) {
                    for (const Network::Headway& headway : pattern.headways) {
                        for (int start = headway.from; start <= headway.until; start += headway.every) {
                            arrivals.push_back(start + offset);
                        }
                    }
                }
                offset += call.dwell;
            }
        }
        std::sort(arrivals.begin(), arrivals.end());
        const bool major = network.stations[network.platforms[platform].station].major;
        const int longest = (major ? 20 : 60) * 60 + 4 * 60;
        int before = *std::lower_bound(arrivals.begin(), arrivals.end(), 6 * 3600 + 30 * 60);
        for (const int arrival : arrivals) {
            if (arrival < before) continue;
            if (arrival > 20 * 3600) break;
            EXPECT_LE(arrival - before, longest) << network.platforms[platform].name << " at " << arrival;
            before = arrival;
        }
        EXPECT_GT(before, 19 * 3600);
    }
}

}  // namespace pis::simulator
