// What the service measures of itself: lock times; and the log's own operations for it.
#include <gtest/gtest.h>

#include <cstdio>
#include <thread>
#include <vector>

#include "FeedFiles.h"
#include "debug.h"
#include "platform/HostLog.h"
#include "platform/LockWatch.h"
#include "qxMutex.h"

namespace pis::platform {

namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;

TEST(TimeHistogram, CountsEachTimeUpToItsBounds) {
    TimeHistogram histogram;
    histogram.observe(nanoseconds(0));
    histogram.observe(microseconds(1));
    histogram.observe(nanoseconds(1001));
    histogram.observe(microseconds(1000000));
    histogram.observe(microseconds(1000001));
    const TimeHistogram::Values values = histogram.values();
    EXPECT_EQ(values.count, 5U);
    EXPECT_EQ(values.upTo.front(), 2U);
    EXPECT_EQ(values.upTo[1], 3U);
    EXPECT_EQ(values.upTo[values.upTo.size() - 2], 3U);
    EXPECT_EQ(values.upTo.back(), 4U);
    EXPECT_NEAR(values.seconds, 2.000003, 1e-6);
}

class LockWatchTest : public ::testing::Test {
protected:
    LockWatchTest() { mutex.init(); }
    ~LockWatchTest() override { LockWatch::switchOff(); }

    /// Locks that the watch saw since the test began.
    std::uint64_t seen() const { return LockWatch::values().count - before; }

    qxLocalMutex mutex{true};
    const std::uint64_t before = LockWatch::values().count;
};

TEST_F(LockWatchTest, SeesNothingWhileItIsOff) {
    EXPECT_FALSE(LockWatch::isOn());
    mutex.enter();
    mutex.leave();
    EXPECT_EQ(seen(), 0U);
}

TEST_F(LockWatchTest, SeesTheTimeFromTheOutermostEnterToItsLeave) {
    LockWatch::switchOn();
    const double secondsBefore = LockWatch::values().seconds;
    mutex.enter();
    mutex.enter();
    mutex.leave();
    EXPECT_EQ(seen(), 0U);
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
    mutex.leave();
    EXPECT_EQ(seen(), 1U);
    EXPECT_GE(LockWatch::values().seconds - secondsBefore, 0.005);
}

TEST_F(LockWatchTest, MayBeSwitchedWhileALockIsHeld) {
    mutex.enter();
    LockWatch::switchOn();
    mutex.leave();
    EXPECT_EQ(seen(), 0U) << "nobody knows when it was taken";
    mutex.enter();
    LockWatch::switchOff();
    mutex.leave();
    EXPECT_EQ(seen(), 1U);
    mutex.enter();
    mutex.leave();
    EXPECT_EQ(seen(), 1U);
}

TEST_F(LockWatchTest, SeesEveryThreadsLocks) {
    LockWatch::switchOn();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this] {
            for (int i = 0; i < 1000; ++i) {
                mutex.enter();
                mutex.leave();
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(seen(), 4000U);
}

// --- The log ------------------------------------------------------------------------------------

class ServiceLogTest : public ::testing::Test {
protected:
    ServiceLogTest() { HostLog::setLevel(-1); }
    ~ServiceLogTest() override { HostLog::writeTo("/dev/null"); }

    TempFolder folder;
};

TEST_F(ServiceLogTest, WhatTheServiceSaysStandsInTheFileAtOnce) {
    HostLog::writeTo(folder.path("log"));
    HostLog::say("listening {} %s");
    EXPECT_NE(folder.read("log").find(" [info] listening {} %s\n"), std::string::npos);
}

TEST_F(ServiceLogTest, AFileThatWasMovedAwayIsOpenedAgain) {
    HostLog::writeTo(folder.path("log"));
    HostLog::say("yesterday");
    ASSERT_EQ(std::rename(folder.path("log").c_str(), folder.path("log.1").c_str()), 0);
    HostLog::say("still yesterday's");
    HostLog::reopen();
    HostLog::say("today");
    EXPECT_NE(folder.read("log.1").find("still yesterday's\n"), std::string::npos);
    EXPECT_EQ(folder.read("log.1").find("today"), std::string::npos);
    EXPECT_NE(folder.read("log").find("today\n"), std::string::npos);
}

TEST_F(ServiceLogTest, AFileThatCannotBeOpenedAgainIsAFaultAndTheLogGoesOn) {
    const std::string inner = folder.path("inner");
    std::filesystem::create_directory(inner);
    HostLog::writeTo(inner + "/log");
    std::filesystem::rename(inner, folder.path("moved"));
    std::ofstream(inner) << "no folder";
    EXPECT_THROW(HostLog::reopen(), std::runtime_error);
    HostLog::say("still here");
    EXPECT_NE(folder.read("moved/log").find("still here\n"), std::string::npos);
}

TEST_F(ServiceLogTest, NoLineIsLostWhenTheFileIsOpenedAgainWhileOthersLog) {
    constexpr int kLines = 2000;
    HostLog::writeTo(folder.path("log"));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 2; ++thread) {
        threads.emplace_back([] {
            for (int i = 0; i < kLines; ++i) handleError(3, "line %d", i);
        });
    }
    for (int i = 0; i < 200; ++i) HostLog::reopen();
    for (std::thread& thread : threads) thread.join();
    const std::string log = folder.read("log");
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 2 * kLines);
}

}  // namespace

}  // namespace pis::platform
