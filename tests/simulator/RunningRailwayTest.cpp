// The railway in step with a clock that the test moves: pace, start, end, whole states, connections.
#include "simulator/RunningRailway.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "SimulationTestSupport.h"

namespace pis::simulator {

namespace {

using Clock = RunningRailway::Clock;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Texts = std::vector<std::string>;

const Clock::time_point kStart = Clock::time_point() + std::chrono::hours(100);

SimulationOptions harbourFrom(int start) {
    SimulationOptions options;
    options.networkFile = PIS_SAMPLES "/harbour-line.json";
    options.start = start;
    return options;
}

/// Lines of a connection.
struct Received {
    Texts lines;

    FaultInjector::Output taker() {
        return [this](std::string_view line) { lines.emplace_back(line); };
    }
    std::size_t count(const std::string& part) const {
        std::size_t found = 0;
        for (const std::string& line : lines) found += line.find(part) != std::string::npos ? 1 : 0;
        return found;
    }
};

/// A railway that has warmed up and whose clock has started.
struct Started {
    explicit Started(const SimulationOptions& options, RunningRailway::Use use = RunningRailway::Use::LINK)
        : railway(options, use) {
        while (railway.warmUp()) {
        }
        railway.start(kStart);
    }

    void runTo(Clock::time_point now) {
        while (railway.step(now)) {
        }
    }

    RunningRailway railway;
};

std::string messageOf(const SimulationOptions& options) {
    try {
        const RunningRailway railway(options, RunningRailway::Use::LINK);
        return "no fault";
    } catch (const std::runtime_error& error) {
        return error.what();
    }
}

}  // namespace

TEST(RunningRailway, BeginsAtTheStartWithTrainsUnderWay) {
    Started started(harbourFrom(8 * 3600));
    Received received;
    started.railway.connect(received.taker(), kStart);
    ASSERT_GT(received.lines.size(), 400U);
    EXPECT_EQ(received.lines[0], R"({"at":28800,"update":98,"id":1,"fields":["Signal box Kranhöft","A","1"]})");
    EXPECT_EQ(received.lines[1], R"({"at":28800,"update":13,"id":1,"fields":["Y"]})");
    EXPECT_EQ(received.lines[2], R"({"at":28800,"snapshot":"begin"})");
    EXPECT_EQ(received.lines.back(), R"({"at":28800,"snapshot":"end"})");
    EXPECT_GT(received.count("IN_SERVICE"), 3U);
}

TEST(RunningRailway, KeepsPaceWithTheClock) {
    SimulationOptions options = harbourFrom(8 * 3600);
    options.speed = 60;
    Started started(options);
    Received received;
    started.railway.connect(received.taker(), kStart);
    received.lines.clear();
    started.runTo(kStart);
    started.runTo(kStart + milliseconds(10'500));  // ten and a half minutes
    EXPECT_EQ(received.count(R"("update":98)"), 10U);
    const Clock::time_point due = started.railway.nextDue(kStart + milliseconds(10'500));
    EXPECT_GT(due, kStart + milliseconds(10'500));
    EXPECT_LE(due, kStart + milliseconds(11'000));
    EXPECT_FALSE(started.railway.step(due - milliseconds(1)));
    EXPECT_TRUE(started.railway.step(due + milliseconds(1)));
}

TEST(RunningRailway, KeepsRealTimeOnALinkAndNoneInARecording) {
    Started link(harbourFrom(8 * 3600));
    link.runTo(kStart);
    EXPECT_GT(link.railway.nextDue(kStart), kStart);

    SimulationOptions options = harbourFrom(5 * 3600);
    options.until = 11 * 3600;
    Started recording(options, RunningRailway::Use::RECORDING);
    Received received;
    recording.railway.connect(received.taker(), kStart);
    recording.runTo(kStart);
    EXPECT_TRUE(recording.railway.ended());
    EXPECT_GT(received.lines.size(), 5000U);
    EXPECT_EQ(received.count(R"("snapshot":"end")"), 2U);  // the link is lost once
}

TEST(RunningRailway, RecordsOneOperatingDay) {
    Started recording(harbourFrom(27 * 3600), RunningRailway::Use::RECORDING);
    Received received;
    recording.railway.connect(received.taker(), kStart);
    recording.runTo(kStart);
    EXPECT_TRUE(recording.railway.ended());
    EXPECT_EQ(received.count(R"({"at":14400)"), 0U);
    EXPECT_EQ(received.lines.back(), R"({"at":100740,"update":98,"id":1,"fields":["Signal box Kranhöft","A","1"]})");
}

TEST(RunningRailway, EndsOnALinkWithAWholeStateAndStandsStill) {
    SimulationOptions options = harbourFrom(8 * 3600);
    options.until = 8 * 3600 + 600;
    options.speed = 600;
    Started started(options);
    Received received;
    started.railway.connect(received.taker(), kStart);
    started.runTo(kStart + seconds(5));
    EXPECT_TRUE(started.railway.ended());
    EXPECT_EQ(received.lines.back(), R"({"at":29400,"snapshot":"end"})");
    EXPECT_EQ(received.count(R"("snapshot":"begin")"), 2U);
    EXPECT_EQ(started.railway.nextDue(kStart + seconds(5)), Clock::time_point::max());
    received.lines.clear();
    started.runTo(kStart + std::chrono::hours(24));
    EXPECT_TRUE(received.lines.empty());
    EXPECT_TRUE(started.railway.answer(12, "", kStart + seconds(6)).accepted);
    EXPECT_EQ(received.lines, Texts{R"({"at":29400,"update":13,"id":1,"fields":["N"]})"});
}

TEST(RunningRailway, GoesOnDayAfterDay) {
    SimulationOptions options = harbourFrom(27 * 3600);
    options.speed = 3600;
    Started started(options);
    Received received;
    started.railway.connect(received.taker(), kStart);
    started.runTo(kStart + seconds(26));  // 05:00 of the day after the next
    EXPECT_EQ(received.count(R"({"at":14400,"snapshot":"end"})"), 2U);
}

TEST(RunningRailway, SendsWholeStatesInBetween) {
    SimulationOptions options = harbourFrom(6 * 3600);
    options.snapshotMinutes = 5;
    options.speed = 60;
    Started started(options);
    Received received;
    started.railway.connect(received.taker(), kStart);
    started.runTo(kStart + milliseconds(15'100));
    EXPECT_EQ(received.count(R"("snapshot":"begin")"), 4U);
    EXPECT_EQ(received.count(R"({"at":22500,"snapshot":"end"})"), 1U);
}

TEST(RunningRailway, TellsEveryConnectionTheSame) {
    Started started(harbourFrom(8 * 3600));
    Received first;
    Received second;
    started.railway.connect(first.taker(), kStart);
    started.runTo(kStart + seconds(100));
    RunningRailway::Connection& gone = started.railway.connect(second.taker(), kStart + seconds(100));
    const std::size_t before = first.lines.size();
    second.lines.clear();
    EXPECT_EQ(started.railway.answer(21, "3,North,N", kStart + seconds(100)).text, "operation 21: line 3 added");
    started.runTo(kStart + seconds(300));
    EXPECT_EQ(Texts(first.lines.begin() + static_cast<std::ptrdiff_t>(before), first.lines.end()), second.lines);
    EXPECT_GT(second.lines.size(), 20U);
    started.railway.disconnect(gone);
    second.lines.clear();
    started.runTo(kStart + seconds(400));
    EXPECT_TRUE(second.lines.empty());
}

// Whatever went wrong on the way, what a receiver knows after the last whole state is what there is.
TEST(RunningRailway, IsRightAgainAfterAWholeStateWhateverTheFaults) {
    SimulationOptions options = harbourFrom(6 * 3600);
    options.until = 7 * 3600;
    options.speed = 60;
    Started sound(options);
    options.faults = parseFaultPlan("drop=0.2,duplicate=0.2,garble=0.2,stall=3");
    Started faulty(options);
    Received good;
    Received bad;
    sound.railway.connect(good.taker(), kStart);
    RunningRailway::Connection& connection = faulty.railway.connect(bad.taker(), kStart);
    for (int step = 0; step <= 700; ++step) {
        sound.runTo(kStart + step * milliseconds(100));
        faulty.runTo(kStart + step * milliseconds(100));
    }
    const auto lastState = [](const Texts& lines) {
        const auto isBegin = [](const std::string& line) { return line.find("\"begin\"") != std::string::npos; };
        const auto begin = std::find_if(lines.rbegin(), lines.rend(), isBegin);
        return Texts(begin.base(), lines.end());
    };
    EXPECT_NE(good.lines, bad.lines);
    EXPECT_EQ(lastState(good.lines), lastState(bad.lines));
    EXPECT_EQ(connection.heldBytes(), 0U);
    EXPECT_EQ(connection.faultsDone().substr(0, 10), "faults on ");
}

TEST(RunningRailway, IsDueWhenAStallEndsOrTheCutComes) {
    SimulationOptions options = harbourFrom(8 * 3600);
    options.until = 8 * 3600 + 1;
    options.faults = parseFaultPlan("disconnect=50");
    Started started(options);
    Received received;
    RunningRailway::Connection& connection = started.railway.connect(received.taker(), kStart + seconds(2));
    started.runTo(kStart + seconds(10));
    EXPECT_EQ(started.railway.nextDue(kStart + seconds(10)), kStart + seconds(52));
    EXPECT_FALSE(connection.cut(kStart + seconds(51)));
    EXPECT_TRUE(connection.cut(kStart + seconds(52)));
}

TEST(RunningRailway, PutsOutWhatAStallHeldThoughNothingElseHappens) {
    SimulationOptions options = harbourFrom(8 * 3600);
    options.until = 8 * 3600 + 11;  // while the connection stalls
    options.faults = parseFaultPlan("stall=2");
    Started started(options);
    Received received;
    RunningRailway::Connection& connection = started.railway.connect(received.taker(), kStart);
    started.runTo(kStart + seconds(11));
    ASSERT_TRUE(started.railway.ended());
    EXPECT_GT(connection.heldBytes(), 0U);
    EXPECT_EQ(started.railway.nextDue(kStart + seconds(11)), kStart + seconds(12));
    started.runTo(kStart + seconds(12));
    EXPECT_EQ(connection.heldBytes(), 0U);
    EXPECT_EQ(received.lines.back(), R"({"at":28811,"snapshot":"end"})");
}

TEST(RunningRailway, SpoilsEachConnectionInItsOwnWayTheSameEveryTime) {
    SimulationOptions options = harbourFrom(8 * 3600);
    options.faults = parseFaultPlan("drop=0.5");
    const auto linesOfTwo = [&options] {
        Started started(options);
        Received first, second;
        started.railway.connect(first.taker(), kStart);
        started.railway.connect(second.taker(), kStart);
        started.runTo(kStart + seconds(300));
        return std::make_pair(first.lines, second.lines);
    };
    const auto [first, second] = linesOfTwo();
    EXPECT_NE(first, second);
    EXPECT_EQ(linesOfTwo(), std::make_pair(first, second));
}

TEST(RunningRailway, RefusesTimesThatAreNone) {
    SimulationOptions options = harbourFrom(28 * 3600);
    EXPECT_EQ(messageOf(options), PIS_SAMPLES "/harbour-line.json: --start lies beyond the end of the operating day");
    options.start = 9 * 3600;
    options.until = 8 * 3600;
    EXPECT_EQ(messageOf(options), "--until must lie behind --start");
    options.until = 3600;  // one at night
    EXPECT_EQ(messageOf(options), "no fault");
    options.networkFile = "nowhere.json";
    EXPECT_EQ(messageOf(options), "nowhere.json: cannot be read: No such file or directory");
}

}  // namespace pis::simulator
