// The host's event queue: order, and typed copies of the records that events speak of.
#include "platform/EventQueue.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "platform/HostCalls.h"

namespace pis::platform {

namespace {

class EventQueueTest : public ::testing::Test {
protected:
    EventQueueTest() { empty(); }
    ~EventQueueTest() override { empty(); }

    static void empty() {
        while (EventQueue::instance().pop()) continue;
    }

    static void post(int code, int id, void* record) {
        addNewEventItem(static_cast<EventItem::EVENT_TYPE>(code), id, record);
    }

    /// The oldest item: it must be there.
    static EventQueue::Item take() {
        std::optional<EventQueue::Item> item = EventQueue::instance().pop();
        if (item) return *item;
        ADD_FAILURE() << "the queue is empty";
        return {0, 0, {}};
    }

    /// Posts a record, changes and frees it, and gives back what the queue kept.
    template <typename Record>
    static std::string keptName(int code) {
        auto record = std::make_unique<Record>(7);
        record->setName("a name too long to be kept inside a string object itself");
        post(code, 7, record.get());
        record->setName("changed after the event, and then freed with its record");
        record.reset();
        const EventQueue::Item item = take();
        EXPECT_EQ(item.code, code);
        EXPECT_EQ(item.id, 7);
        const auto* kept = std::get_if<Record>(&item.record);
        if (kept == nullptr) return "a record of another type";
        EXPECT_EQ(kept->getId(), 7);
        return kept->getName();
    }
};

TEST_F(EventQueueTest, EveryCodeKeepsACopyOfItsOwnType) {
    const std::string name = "a name too long to be kept inside a string object itself";
    for (const int code : {26, 27}) EXPECT_EQ(keptName<Line>(code), name) << code;
    for (const int code : {28, 29}) EXPECT_EQ(keptName<Vehicle>(code), name) << code;
    for (const int code : {30, 31}) EXPECT_EQ(keptName<Station>(code), name) << code;
    for (const int code : {32, 33}) EXPECT_EQ(keptName<PlatformInfo>(code), name) << code;
    for (const int code : {34, 35}) EXPECT_EQ(keptName<Service>(code), name) << code;
    for (const int code : {36, 37}) EXPECT_EQ(keptName<Trip>(code), name) << code;
}

TEST_F(EventQueueTest, ACopyHasEveryMemberOfItsType) {
    Service service(3021, 100, 21600);
    service.setStateText("running");
    service.setFollowingStopsListAsString("90001!90002");
    service.setLineId(7);
    service.setPriorityText("express");
    post(34, 3021, &service);
    const EventQueue::Item item = take();
    const auto& kept = std::get<Service>(item.record);
    EXPECT_EQ(kept.getTripId(), 100);
    EXPECT_EQ(kept.getStartTime(), 21600U);
    EXPECT_EQ(kept.getStateText(), "running");
    EXPECT_EQ(kept.getFollowingStopsListAsString(), "90001!90002");
    EXPECT_EQ(kept.getLineId(), 7);
    EXPECT_EQ(kept.getPriorityText(), "express");
}

TEST_F(EventQueueTest, StatusEventsAndUnknownCodesKeepNoRecord) {
    char nothing = 0;  // no record: whoever looked into it would read beyond
    for (const int code : {24, 25, 23, 38, 0, -1, 2147483647}) {
        post(code, 5, code == 24 || code == 25 ? nullptr : &nothing);
        const EventQueue::Item item = take();
        EXPECT_EQ(item.code, code);
        EXPECT_EQ(item.id, 5);
        EXPECT_TRUE(std::holds_alternative<std::monostate>(item.record)) << code;
    }
}

TEST_F(EventQueueTest, ANullRecordIsKeptAsNone) {
    for (int code = 24; code <= 37; ++code) {
        post(code, 0, nullptr);
        EXPECT_TRUE(std::holds_alternative<std::monostate>(take().record)) << code;
    }
}

TEST_F(EventQueueTest, GivesItemsOutInTheOrderOfPosting) {
    Line line(1);
    post(26, 1, &line);
    post(24, 0, nullptr);
    post(27, -5, &line);
    EXPECT_EQ(EventQueue::instance().size(), 3U);
    EXPECT_EQ(take().id, 1);
    EXPECT_EQ(take().code, 24);
    EXPECT_EQ(take().id, -5);
    EXPECT_EQ(EventQueue::instance().size(), 0U);
    EXPECT_FALSE(EventQueue::instance().pop());
}

TEST_F(EventQueueTest, TheListenerHearsEachEvent) {
    struct Listener : HostCallListener {
        void onEvent(int code, int id) override { heard += std::to_string(code) + " " + std::to_string(id) + "\n"; }
        std::string heard;
    } listener;
    listenToHostCalls(&listener);
    Line line(1);
    post(26, 1, &line);
    post(25, 0, nullptr);
    listenToHostCalls(nullptr);
    post(27, 1, &line);
    EXPECT_EQ(listener.heard, "26 1\n25 0\n");
}

TEST_F(EventQueueTest, ManyThreadsLoseNothingAndKeepTheirOwnOrder) {
    constexpr int kThreads = 4;
    constexpr int kEach = 3000;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < kEach; ++i) {
                Line line(i);
                line.setName("posted by thread number " + std::to_string(thread) + ", item " + std::to_string(i));
                post(26, thread, &line);
            }
        });
    }
    std::vector<int> next(kThreads, 0);
    for (int taken = 0; taken < kThreads * kEach;) {
        const std::optional<EventQueue::Item> item = EventQueue::instance().pop();
        if (!item) continue;
        ++taken;
        int& expected = next[static_cast<std::size_t>(item->id)];
        EXPECT_EQ(std::get<Line>(item->record).getName(),
                  "posted by thread number " + std::to_string(item->id) + ", item " + std::to_string(expected));
        ++expected;
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(EventQueue::instance().size(), 0U);
    EXPECT_EQ(next, std::vector<int>(kThreads, kEach));
}

}  // namespace

}  // namespace pis::platform
