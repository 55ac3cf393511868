// When pictures are due, how often logs are written: times are given, none is waited for.
#include <gtest/gtest.h>

#include <vector>

#include "base/RareLog.h"
#include "feeding/PublicationTimer.h"

namespace pis::feeding {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

const std::chrono::steady_clock::time_point kStart{std::chrono::hours(1)};

// --- PublicationTimer ---------------------------------------------------------------------------

TEST(PublicationTimer, NothingIsDueWithoutAChange) {
    PublicationTimer timer;
    EXPECT_FALSE(timer.due());
    timer.changed(kStart);
    timer.published();
    EXPECT_FALSE(timer.due());
}

TEST(PublicationTimer, AChangeIsDueWhenTheFeedPauses) {
    PublicationTimer timer;
    timer.changed(kStart);
    EXPECT_EQ(timer.due(), kStart + PublicationTimer::kPause);
    timer.changed(kStart + milliseconds(1));
    EXPECT_EQ(timer.due(), kStart + milliseconds(1) + PublicationTimer::kPause);
}

TEST(PublicationTimer, AChangeWaitsNoLongerThanTheLimitWhileTheFeedFlows) {
    PublicationTimer timer;
    for (int time = 0; time <= 60; ++time) timer.changed(kStart + milliseconds(time));
    EXPECT_EQ(timer.due(), kStart + PublicationTimer::kLongestWait);
    timer.published();
    timer.changed(kStart + milliseconds(61));
    EXPECT_EQ(timer.due(), kStart + milliseconds(61) + PublicationTimer::kPause);
}

// --- RareLog ------------------------------------------------------------------------------------

class RareLogTest : public ::testing::Test {
protected:
    std::vector<std::string> written;
    base::RareLog log{[this](const std::string& line) { written.push_back(line); }};
};

TEST_F(RareLogTest, TheFirstLineIsWrittenAtOnce) {
    EXPECT_FALSE(log.due());
    log.say("a", kStart);
    EXPECT_EQ(written, std::vector<std::string>{"a"});
    EXPECT_FALSE(log.due());
}

TEST_F(RareLogTest, AFloodGivesALineASecondThatCountsTheOthers) {
    for (int time = 0; time < 2500; ++time) log.say("line " + std::to_string(time), kStart + milliseconds(time));
    EXPECT_EQ(written, (std::vector<std::string>{"line 0", "line 1000 (and 999 more since the line before)",
                                                 "line 2000 (and 999 more since the line before)"}));
    EXPECT_EQ(log.due(), kStart + seconds(3));
    log.writeWhatIsDue(kStart + milliseconds(2999));
    EXPECT_EQ(written.size(), 3U);
    log.writeWhatIsDue(kStart + seconds(3));
    EXPECT_EQ(written.back(), "line 2499 (and 498 more since the line before)") << "the last of a flood is not lost";
    EXPECT_FALSE(log.due());
}

TEST_F(RareLogTest, LinesFarApartAreAllWritten) {
    log.say("a", kStart);
    log.say("b", kStart + seconds(1));
    log.say("c", kStart + seconds(10));
    EXPECT_EQ(written, (std::vector<std::string>{"a", "b", "c"}));
}

TEST_F(RareLogTest, WhatIsKeptAtTheEndIsWrittenOnce) {
    log.say("a", kStart);
    log.say("b", kStart);
    log.say("c", kStart);
    log.writeRest();
    log.writeRest();
    EXPECT_EQ(written, (std::vector<std::string>{"a", "c (and 1 more since the line before)"}));
}

}  // namespace

}  // namespace pis::feeding
