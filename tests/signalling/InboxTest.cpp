// The way from the link's thread to the feeding thread: order, bounds, waking, closing.
#include "signalling/Inbox.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

#include "SignallingSupport.h"

namespace pis::signalling {

namespace {

using Clock = std::chrono::steady_clock;

int idOf(const std::optional<LinkItem>& item) {
    return item ? std::get<feed::FeedRecord>(*item).id : -1;
}

/// Ids 1 to count, put one after the other; each as soon as there is room.
std::future<bool> putAll(Inbox& inbox, int count, std::atomic<int>& put) {
    return std::async(std::launch::async, [&inbox, &put, count] {
        for (int id = 1; id <= count; ++id) {
            if (!inbox.put(updateOf(2, id))) return false;
            put = id;
        }
        return true;
    });
}

TEST(Inbox, HandsOutWhatWasPutInItsOrder) {
    Inbox inbox;
    inbox.put(updateOf(2, 1));
    inbox.put(MalformedLine{3, "no record"});
    inbox.put(LinkChange{feed::FeedStatus::DOWN, "cut"});
    EXPECT_EQ(inbox.size(), 3U);
    EXPECT_EQ(next(inbox), R"({"update":2,"id":1,"fields":[]})");
    EXPECT_EQ(next(inbox), "malformed 3: no record");
    EXPECT_EQ(next(inbox), "link down: cut");
    EXPECT_EQ(inbox.size(), 0U);
}

TEST(Inbox, IsEmptyAtTheDeadline) {
    Inbox inbox;
    EXPECT_FALSE(inbox.pop(Clock::now()));
    EXPECT_FALSE(inbox.pop(Clock::now() + std::chrono::milliseconds(1)));
    inbox.put(updateOf(2, 1));
    EXPECT_EQ(idOf(inbox.pop(Clock::now() - std::chrono::hours(1))), 1) << "what is there is handed out at once";
}

TEST(Inbox, HoldsNoMoreThanItsCapacityAndLosesNothing) {
    constexpr int kItems = 1000;
    Inbox inbox(4);
    std::atomic<int> put{0};
    std::future<bool> putter = putAll(inbox, kItems, put);
    ASSERT_TRUE(eventually([&] { return put == 4; }));
    for (int taken = 1; taken <= kItems; ++taken) {
        EXPECT_LE(inbox.size(), 4U);
        ASSERT_EQ(idOf(inbox.pop(Clock::now() + kGenerous)), taken);
        EXPECT_LE(put, taken + 4);
    }
    EXPECT_TRUE(putter.get());
}

TEST(Inbox, LargeItemsFillItSooner) {
    Inbox inbox;
    const std::string megabyte(1 << 20, 'x');
    std::atomic<int> put{0};
    std::future<void> putter = std::async(std::launch::async, [&] {
        for (int id = 1; id <= 40; ++id) {
            inbox.put(updateOf(2, id, {megabyte}));
            put = id;
        }
    });
    ASSERT_TRUE(eventually([&] { return put == 16; }));
    for (int taken = 1; taken <= 40; ++taken) {
        EXPECT_LE(inbox.size(), 16U);
        ASSERT_EQ(idOf(inbox.pop(Clock::now() + kGenerous)), taken);
    }
    putter.get();
}

TEST(Inbox, AWakeEndsOneTake) {
    Inbox inbox;
    inbox.wake();
    EXPECT_FALSE(inbox.pop(std::nullopt)) << "also one that comes later";

    std::future<bool> taker = std::async(std::launch::async, [&] { return inbox.pop(std::nullopt).has_value(); });
    inbox.wake();
    EXPECT_FALSE(taker.get());

    inbox.put(updateOf(2, 7));
    EXPECT_EQ(idOf(inbox.pop(std::nullopt)), 7);
}

TEST(Inbox, AClosedOneTakesAndGivesNothing) {
    Inbox inbox;
    inbox.put(updateOf(2, 1));
    inbox.close();
    EXPECT_FALSE(inbox.put(updateOf(2, 2)));
    EXPECT_FALSE(inbox.pop(std::nullopt));
}

TEST(Inbox, ClosingLetsWhoWaitsGo) {
    Inbox full(1);
    std::atomic<int> put{0};
    std::future<bool> putter = putAll(full, 2, put);
    ASSERT_TRUE(eventually([&] { return put == 1; }));
    full.close();
    EXPECT_FALSE(putter.get());

    Inbox empty;
    std::future<bool> taker = std::async(std::launch::async, [&] { return empty.pop(std::nullopt).has_value(); });
    empty.close();
    EXPECT_FALSE(taker.get());
}

}  // namespace

}  // namespace pis::signalling
