// The simulated side on its own thread: it connects, tells, answers, is cut and connects again, and stops.
#include "simulator/SimulatedSide.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace pis::simulator {

namespace {

constexpr std::chrono::seconds kGenerous{60};

SimulationOptions harbour() {
    SimulationOptions options;
    options.networkFile = PIS_SAMPLES "/harbour-line.json";
    options.start = 8 * 3600;
    return options;
}

/// Notes what comes, and lets a test wait for it.
class Receiver : public SignallingLines {
public:
    void onConnected() override { note("connected"); }
    void onLine(std::string_view line) override { note(std::string(line)); }
    void onDisconnected(const std::string& why) override { note("disconnected: " + why); }
    void onRemark(const std::string& remark) override { note("remark: " + remark); }

    /// Waits until so many notes hold the text. False when they never come.
    bool waitFor(const std::string& part, int times = 1) {
        std::unique_lock<std::mutex> lock(_mutex);
        return _something.wait_for(lock, kGenerous, [&] { return count(part) >= times; });
    }

    std::vector<std::string> notes() {
        const std::lock_guard<std::mutex> guard(_mutex);
        return _notes;
    }

private:
    void note(std::string text) {
        {
            const std::lock_guard<std::mutex> guard(_mutex);
            _notes.push_back(std::move(text));
        }
        _something.notify_all();
    }

    int count(const std::string& part) const {
        int found = 0;
        for (const std::string& text : _notes) found += text.find(part) != std::string::npos ? 1 : 0;
        return found;
    }

    std::mutex _mutex;
    std::condition_variable _something;
    std::vector<std::string> _notes;
};

/// A side that runs on a thread until the end of the test.
class Running {
public:
    explicit Running(const SimulationOptions& options) : side(options), _thread([this] { side.run(receiver); }) {}
    ~Running() {
        side.stop();
        _thread.join();
    }

    SimulatedSide side;
    Receiver receiver;

private:
    std::thread _thread;
};

}  // namespace

TEST(SimulatedSide, ConnectsWithTheWholeState) {
    Running running(harbour());
    ASSERT_TRUE(running.receiver.waitFor(R"("snapshot":"end")"));
    const std::vector<std::string> notes = running.receiver.notes();
    EXPECT_EQ(notes[0], "connected");
    EXPECT_EQ(notes[1], R"({"at":28800,"update":98,"id":1,"fields":["Signal box Kranhöft","A","1"]})");
    EXPECT_EQ(notes[3], R"({"at":28800,"snapshot":"begin"})");
}

TEST(SimulatedSide, TellsWhatHappensAsTimePasses) {
    SimulationOptions options = harbour();
    options.speed = 1200;
    Running running(options);
    EXPECT_TRUE(running.receiver.waitFor("VEHICLE_BOARDING", 5));
    EXPECT_TRUE(running.receiver.waitFor(R"("update":98)", 10));
}

TEST(SimulatedSide, AnswersOperationsInTheirOrderWhileItWaits) {
    Running running(harbour());  // in real time: little happens by itself
    ASSERT_TRUE(running.receiver.waitFor(R"("snapshot":"end")"));
    running.side.answer(21, "3,North,N");
    running.side.answer(99, "");
    running.side.answer(22, "3");
    ASSERT_TRUE(running.receiver.waitFor("remark: operation 22: line 3 deleted"));
    ASSERT_TRUE(running.receiver.waitFor(R"("update":2,"id":3,"fields":["North","N"]})"));
    std::vector<std::string> remarks;
    for (const std::string& note : running.receiver.notes()) {
        if (note.rfind("remark", 0) == 0) remarks.push_back(note);
    }
    EXPECT_EQ(remarks, (std::vector<std::string>{"remark: operation 21: line 3 added",
                                                 "remark: operation 99: refused: not known",
                                                 "remark: operation 22: line 3 deleted"}));
}

TEST(SimulatedSide, ConnectsAgainAfterACut) {
    SimulationOptions options = harbour();
    options.faults = parseFaultPlan("disconnect=0.02");
    const auto begin = std::chrono::steady_clock::now();
    Running running(options);
    ASSERT_TRUE(running.receiver.waitFor(R"("snapshot":"end")", 4));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(3 * (20 + 200)))
        << "it pauses after each cut";
    int connections = 0;
    bool connected = false;
    for (const std::string& note : running.receiver.notes()) {
        if (note == "connected") {
            EXPECT_FALSE(connected);
            connected = true;
            ++connections;
        } else if (note.rfind("disconnected: ", 0) == 0) {
            EXPECT_TRUE(connected);
            connected = false;
        } else {
            EXPECT_TRUE(connected || note.rfind("remark: ", 0) == 0) << note;
        }
    }
    EXPECT_GE(connections, 4);
}

TEST(SimulatedSide, StandsStillAtTheEndAndStillAnswers) {
    SimulationOptions options = harbour();
    options.until = 8 * 3600 + 60;
    options.speed = 600;
    Running running(options);
    ASSERT_TRUE(running.receiver.waitFor(R"({"at":28860,"snapshot":"end"})"));
    running.side.answer(12, "");
    EXPECT_TRUE(running.receiver.waitFor("remark: operation 12: automatic messages off"));
}

TEST(SimulatedSide, ReturnsByItselfAfterARecording) {
    SimulationOptions options = harbour();
    options.until = 9 * 3600;
    SimulatedSide side(options, RunningRailway::Use::RECORDING);
    Receiver receiver;
    side.run(receiver);
    EXPECT_GT(receiver.notes().size(), 1000U);
}

TEST(SimulatedSide, StopsAtOnceWhenAskedBeforehand) {
    SimulatedSide side(harbour());
    side.stop();
    Receiver receiver;
    side.run(receiver);
    EXPECT_TRUE(receiver.notes().empty());
}

TEST(SimulatedSide, StopsFromWithinTheReceiver) {
    class Stopping : public Receiver {
    public:
        explicit Stopping(SimulatedSide& side) : _side(side) {}
        void onLine(std::string_view line) override {
            Receiver::onLine(line);
            _side.stop();
        }

    private:
        SimulatedSide& _side;
    };
    SimulatedSide side(harbour());
    Stopping receiver(side);
    side.run(receiver);
    EXPECT_FALSE(receiver.notes().empty());
}

TEST(SimulatedSide, LetsThroughWhatTheReceiverThrows) {
    class Throwing : public Receiver {
    public:
        void onLine(std::string_view) override { throw std::runtime_error("enough"); }
    };
    SimulatedSide side(harbour());
    Throwing receiver;
    EXPECT_THROW(side.run(receiver), std::runtime_error);
}

}  // namespace pis::simulator
