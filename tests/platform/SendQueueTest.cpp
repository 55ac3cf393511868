// The queue of operations for the signalling server: order, sinks of all kinds, threads, JSON lines.
#include "platform/SendQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <iostream>
#include <new>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "QXReceiver.h"
#include "platform/HostCalls.h"

namespace pis::platform {

namespace {

using Texts = std::vector<std::string>;

class SendQueueTest : public ::testing::Test {
protected:
    /// Lets the sink note every operation, then do something more.
    void noteInSink(std::function<void(const SendOperation&)> more = {}) {
        queue.setSink([this, more](const SendOperation& operation) {
            taken.push_back(std::to_string(operation.operation) + " " + operation.text);
            if (more) more(operation);
        });
    }

    SendQueue queue;
    Texts taken;
};

TEST_F(SendQueueTest, HandsOperationsOverInTheirOrder) {
    noteInSink();
    queue.add({21, "3,North,N"});
    queue.add({22, "*"});
    queue.add({11, ""});
    EXPECT_EQ(taken, (Texts{"21 3,North,N", "22 *", "11 "}));
}

TEST_F(SendQueueTest, AnOperationIsHandedOverBeforeAddReturns) {
    noteInSink();
    for (int i = 1; i <= 3; ++i) {
        queue.add({i, "x"});
        EXPECT_EQ(taken.size(), static_cast<std::size_t>(i));
    }
}

TEST_F(SendQueueTest, ASinkMayQueueFurtherOperationsWhichComeNext) {
    noteInSink([this](const SendOperation& operation) {
        if (operation.text == "a") {
            queue.add({2, "from the sink"});
            queue.add({3, "from the sink, too"});
            EXPECT_EQ(taken, (Texts{"1 a"})) << "one operation at a time";
        }
    });
    queue.add({1, "a"});
    queue.add({4, "b"});
    EXPECT_EQ(taken, (Texts{"1 a", "2 from the sink", "3 from the sink, too", "4 b"}));
}

TEST_F(SendQueueTest, ASinkMayQueueThousandsWithoutRunningOutOfStack) {
    noteInSink([this](const SendOperation& operation) {
        if (operation.operation < 100000) queue.add({operation.operation + 1, ""});
    });
    queue.add({0, ""});
    EXPECT_EQ(taken.size(), 100001U);
    EXPECT_EQ(taken.back(), "100000 ");
}

TEST_F(SendQueueTest, WhatTheSinkThrowsReachesTheCallerAndTheOperationWaits) {
    bool connected = false;
    noteInSink([&connected](const SendOperation&) {
        if (!connected) throw std::runtime_error("no connection");
    });
    EXPECT_THROW(queue.add({1, "a"}), std::runtime_error);
    EXPECT_THROW(queue.add({2, "b"}), std::runtime_error);
    EXPECT_EQ(taken, (Texts{"1 a", "1 a"})) << "the first is tried again, nothing overtakes it";

    connected = true;
    taken.clear();
    queue.add({3, "c"});
    EXPECT_EQ(taken, (Texts{"1 a", "2 b", "3 c"}));
}

TEST_F(SendQueueTest, WhatASinkQueuedBeforeItThrewWaitsBehindItsOperation) {
    bool first = true;
    noteInSink([&](const SendOperation&) {
        if (!first) return;
        first = false;
        queue.add({2, "queued by the sink"});
        throw std::runtime_error("no connection");
    });
    EXPECT_THROW(queue.add({1, "a"}), std::runtime_error);
    taken.clear();
    queue.add({3, "b"});
    EXPECT_EQ(taken, (Texts{"1 a", "2 queued by the sink", "3 b"}));
}

TEST_F(SendQueueTest, OperationsThatWaitGoToTheNewSink) {
    queue.setSink([](const SendOperation&) { throw std::runtime_error("no connection"); });
    EXPECT_THROW(queue.add({1, "a"}), std::runtime_error);
    EXPECT_THROW(queue.add({2, "b"}), std::runtime_error);
    noteInSink();
    EXPECT_TRUE(taken.empty()) << "setting a sink hands nothing over by itself";
    queue.add({3, "c"});
    EXPECT_EQ(taken, (Texts{"1 a", "2 b", "3 c"}));
}

TEST_F(SendQueueTest, ASinkMayReplaceItself) {
    Texts second;
    noteInSink([&](const SendOperation&) {
        queue.setSink([&second](const SendOperation& operation) { second.push_back(operation.text); });
        queue.add({2, "b"});
    });
    queue.add({1, "a"});
    queue.add({3, "c"});
    EXPECT_EQ(taken, (Texts{"1 a"}));
    EXPECT_EQ(second, (Texts{"b", "c"}));
}

/// A sink that cannot be copied for a moment, as when memory runs out.
struct ScarceSink {
    ScarceSink(Texts& to, const bool& scarceNow) : taken(&to), scarce(&scarceNow) {}
    ScarceSink(const ScarceSink& other) : taken(other.taken), scarce(other.scarce) {
        if (*scarce) throw std::bad_alloc();
    }
    void operator()(const SendOperation& operation) const { taken->push_back(operation.text); }

    Texts* taken;
    const bool* scarce;
};

TEST_F(SendQueueTest, RunningOutOfMemoryOnTheWayToTheSinkKeepsTheOperationToo) {
    bool scarce = false;
    queue.setSink(ScarceSink(taken, scarce));
    scarce = true;
    EXPECT_THROW(queue.add({1, "a"}), std::bad_alloc);
    scarce = false;
    queue.add({2, "b"});
    EXPECT_EQ(taken, (Texts{"a", "b"}));
}

TEST_F(SendQueueTest, ManyThreadsLoseNothingAndKeepTheirOwnOrder) {
    constexpr int kThreads = 6;
    constexpr int kEach = 2000;
    std::atomic<int> inSink{0};
    bool alone = true;
    std::vector<int> next(kThreads, 0);
    bool inOrder = true;
    std::size_t number = 0;
    queue.setSink([&](const SendOperation& operation) {
        if (inSink.fetch_add(1) != 0) alone = false;
        // Written without a lock: the queue calls the sink on one thread at a time.
        int& expected = next[static_cast<std::size_t>(operation.operation)];
        if (operation.text != std::to_string(expected)) inOrder = false;
        ++expected;
        ++number;
        inSink.fetch_sub(1);
    });

    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < kEach; ++i) queue.add({thread, std::to_string(i)});
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(number, static_cast<std::size_t>(kThreads) * kEach);
    EXPECT_TRUE(inOrder);
    EXPECT_TRUE(alone);
}

TEST_F(SendQueueTest, AThreadWhoseOperationIsTakenAlongDoesNotWaitForTheSink) {
    std::thread other;
    noteInSink([&](const SendOperation& operation) {
        if (operation.operation != 1) return;
        // While this sink is busy, another thread queues and gets away; otherwise join() never returns.
        other = std::thread([this] { queue.add({2, "from another thread"}); });
        other.join();
    });
    queue.add({1, "a"});
    EXPECT_EQ(taken, (Texts{"1 a", "2 from another thread"}));
}

// --- Lines of JSON ------------------------------------------------------------------------------

TEST(SendOperationLine, HasTheOperationAndItsText) {
    EXPECT_EQ(toJsonLine({21, "3,North,N"}), R"({"operation":21,"text":"3,North,N"})");
    EXPECT_EQ(toJsonLine({11, ""}), R"({"operation":11,"text":""})");
    EXPECT_EQ(toJsonLine({-1, "a\"b\\c\nd"}), R"({"operation":-1,"text":"a\"b\\c\nd"})");
    EXPECT_EQ(toJsonLine({21, "3,S\xc3\xb8r,\xff"}), "{\"operation\":21,\"text\":\"3,S\xc3\xb8r,\xef\xbf\xbd\"}");
}

TEST(SendOperationLine, TheLineWriterEndsEachWithALineEnd) {
    std::ostringstream lines;
    SendQueue queue;
    queue.setSink(SendQueue::lineWriter(lines));
    queue.add({21, "3,North,N"});
    queue.add({22, "3"});
    EXPECT_EQ(lines.str(), "{\"operation\":21,\"text\":\"3,North,N\"}\n{\"operation\":22,\"text\":\"3\"}\n");
}

/// Catches what goes to std::cout.
class Output {
public:
    Output() : _before(std::cout.rdbuf(_text.rdbuf())) {}
    ~Output() { std::cout.rdbuf(_before); }
    std::string text() const { return _text.str(); }

private:
    std::ostringstream _text;
    std::streambuf* _before;
};

TEST(SendOperationLine, GoesToStandardOutputUntilASinkIsSet) {
    const Output output;
    SendQueue queue;
    queue.add({21, "3,North,N"});
    queue.setSink([](const SendOperation&) {});
    queue.add({22, "3"});
    EXPECT_EQ(output.text(), "{\"operation\":21,\"text\":\"3,North,N\"}\n");
}

// --- The host's receiver ------------------------------------------------------------------------

TEST(Receiver, QueuesOnTheHostsOneQueueAndTellsTheListener) {
    struct Listener : HostCallListener {
        void onOperation(int operation, const std::string& text) override {
            heard += std::to_string(operation) + " " + text + "\n";
        }
        std::string heard;
    } listener;
    Texts taken;
    SendQueue::instance().setSink([&taken](const SendOperation& operation) {
        taken.push_back(std::to_string(operation.operation) + " " + operation.text);
    });
    listenToHostCalls(&listener);
    gQXReceiver.addOperationToSendQueue(-1, 101, 21, 1, "3,North,N");
    listenToHostCalls(nullptr);
    gQXReceiver.addOperationToSendQueue(-1, 101, 22, 1, "*");
    SendQueue::instance().setSink([](const SendOperation&) {});

    EXPECT_EQ(taken, (Texts{"21 3,North,N", "22 *"}));
    EXPECT_EQ(listener.heard, "21 3,North,N\n");
}

}  // namespace

}  // namespace pis::platform
