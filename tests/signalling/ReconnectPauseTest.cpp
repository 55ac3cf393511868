#include "signalling/ReconnectPause.h"

#include <gtest/gtest.h>

#include <vector>

namespace pis::signalling {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(ReconnectPause, GrowsToItsLimitWithJitter) {
    ReconnectPause pause(milliseconds(500), seconds(30), 1);
    for (const int whole : {500, 1000, 2000, 4000, 8000, 16000, 30000, 30000, 30000}) {
        const milliseconds next = pause.next();
        EXPECT_GE(next, milliseconds(whole / 2));
        EXPECT_LE(next, milliseconds(whole));
    }
    pause.reset();
    EXPECT_LE(pause.next(), milliseconds(500));
}

TEST(ReconnectPause, TheSeedDecidesTheJitter) {
    const auto pauses = [](std::uint32_t seed) {
        ReconnectPause pause(milliseconds(500), seconds(30), seed);
        std::vector<milliseconds> all;
        for (int i = 0; i < 10; ++i) all.push_back(pause.next());
        return all;
    };
    EXPECT_EQ(pauses(1), pauses(1));
    EXPECT_NE(pauses(1), pauses(2));
}

}  // namespace

}  // namespace pis::signalling
