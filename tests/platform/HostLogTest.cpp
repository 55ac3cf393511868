// The host's log: levels, the form of a line, files, the listener.
#include "platform/HostLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "FeedFiles.h"
#include "debug.h"
#include "platform/HostCalls.h"

namespace pis::platform {

namespace {

class HostLogTest : public ::testing::Test {
protected:
    ~HostLogTest() override {
        listenToHostCalls(nullptr);
        HostLog::setLevel(-1);
    }

    /// The log's lines, each without its time, which must be there.
    std::string logged() {
        HostLog::writeTo(folder.path("another log"));  // which closes the one before
        static const std::regex timeForm(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )");
        const std::size_t timeLength = std::string("2018-06-01 06:00:00.000 ").size();
        std::istringstream lines(folder.read("log"));
        std::string withoutTimes;
        for (std::string line; std::getline(lines, line);) {
            EXPECT_TRUE(std::regex_match(line.substr(0, timeLength), timeForm)) << "no time: " << line;
            withoutTimes += line.substr(std::min(timeLength, line.size())) + "\n";
        }
        return withoutTimes;
    }

    TempFolder folder;
};

TEST_F(HostLogTest, WritesLinesUpToItsLevelAndErrorsAlways) {
    const std::string error = "[error 3] e\n";
    const std::string upTo[] = {error, "[debug 0] a\n" + error, "[debug 0] a\n[debug 1] b\n" + error,
                                "[debug 0] a\n[debug 1] b\n[debug 2] c\n" + error};
    for (long level = -1; level <= 2; ++level) {
        std::remove(folder.path("log").c_str());
        HostLog::writeTo(folder.path("log"));
        HostLog::setLevel(level);
        debug(0, "a");
        debug(1, "b");
        debug(2, "c");
        handleError(3, "e");
        EXPECT_EQ(logged(), upTo[level + 1]) << level;
    }
}

TEST_F(HostLogTest, TheLevelIsWhatTheStoreAsksFor) {
    for (const long level : {-1L, 0L, 2L, 7L}) {
        HostLog::setLevel(level);
        EXPECT_EQ(debugLevel, level);
    }
}

TEST_F(HostLogTest, FillsTheFormat) {
    HostLog::writeTo(folder.path("log"));
    HostLog::setLevel(2);
    debug(2, "%s: lineId >%d< added to list. Total Lines >%zd<", "updateLine", -7, static_cast<std::size_t>(3));
    debug(0, "100%% {} {0} %s", "{}");
    handleError(3, "%s: Observer already part of list. Not adding to list", "registerObserver");
    EXPECT_EQ(logged(),
              "[debug 2] updateLine: lineId >-7< added to list. Total Lines >3<\n"
              "[debug 0] 100% {} {0} {}\n"
              "[error 3] registerObserver: Observer already part of list. Not adding to list\n");
}

TEST_F(HostLogTest, WritesATextOfAnyLengthWhole) {
    HostLog::writeTo(folder.path("log"));
    const std::string text(200000, 'x');
    handleError(1, "%s|%s", text.c_str(), "end");
    handleError(1, "%s", "");
    EXPECT_EQ(logged(), "[error 1] " + text + "|end\n[error 1] \n");
}

TEST_F(HostLogTest, AppendsToAFileThatIsThere) {
    folder.write("log", "2018-06-01 05:59:59.999 from the day before\n");
    HostLog::writeTo(folder.path("log"));
    handleError(1, "today");
    EXPECT_EQ(logged(), "from the day before\n[error 1] today\n");
}

TEST_F(HostLogTest, WritesToTheFileNamedLast) {
    HostLog::writeTo(folder.path("log"));
    handleError(1, "first");
    HostLog::writeTo(folder.path("second"));
    handleError(1, "second");
    EXPECT_EQ(logged(), "[error 1] first\n");
    EXPECT_NE(folder.read("second").find("[error 1] second\n"), std::string::npos);
}

TEST_F(HostLogTest, AnErrorStandsInTheFileAtOnce) {
    HostLog::writeTo(folder.path("log"));
    handleError(3, "it burns");
    EXPECT_NE(folder.read("log").find("[error 3] it burns\n"), std::string::npos);
}

TEST_F(HostLogTest, AFileThatCannotBeOpenedIsAFaultAndTheLogStaysWhereItWas) {
    HostLog::writeTo(folder.path("log"));
    try {
        HostLog::writeTo(folder.path());
        ADD_FAILURE() << "a folder taken for a file";
    } catch (const std::runtime_error& error) {
        const std::string what = error.what();
        EXPECT_EQ(what.rfind("cannot write the log: ", 0), 0U) << what;
        EXPECT_NE(what.find(folder.path()), std::string::npos) << what;
    }
    handleError(1, "still here");
    EXPECT_EQ(logged(), "[error 1] still here\n");
}

TEST_F(HostLogTest, TheListenerHearsEverythingWhateverTheLogWrites) {
    struct Listener : HostCallListener {
        void onDebug(int level, const std::string& text) override {
            heard += "debug " + std::to_string(level) + " " + text + "\n";
        }
        void onError(int severity, const std::string& text) override {
            heard += "error " + std::to_string(severity) + " " + text + "\n";
        }
        std::string heard;
    } listener;
    HostLog::writeTo(folder.path("log"));
    HostLog::setLevel(0);
    listenToHostCalls(&listener);
    debug(0, "%d", 1);
    debug(2, "%d", 2);
    handleError(3, "%d", 3);
    listenToHostCalls(nullptr);
    debug(0, "nobody listens");
    EXPECT_EQ(listener.heard, "debug 0 1\ndebug 2 2\nerror 3 3\n");
    EXPECT_EQ(logged(), "[debug 0] 1\n[error 3] 3\n[debug 0] nobody listens\n");
}

TEST_F(HostLogTest, TellingListenersMoreDoesNotWriteMore) {
    HostLog::writeTo(folder.path("log"));
    HostLog::setLevel(0);
    HostLog::tellListenersUpTo(2);
    EXPECT_EQ(debugLevel, 2);
    debug(0, "a");
    debug(1, "b");
    EXPECT_EQ(logged(), "[debug 0] a\n");

    HostLog::setLevel(2);
    HostLog::tellListenersUpTo(1);
    EXPECT_EQ(debugLevel, 2) << "nor less";
}

TEST_F(HostLogTest, LinesOfManyThreadsStandWhole) {
    HostLog::writeTo(folder.path("log"));
    HostLog::setLevel(2);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 0; i < 500; ++i)
                debug(2, "%d:%s", thread, std::string(50, static_cast<char>('a' + i % 26)).c_str());
        });
    }
    for (std::thread& thread : threads) thread.join();

    std::vector<int> next(4, 0);
    std::istringstream lines(logged());
    int number = 0;
    for (std::string line; std::getline(lines, line); ++number) {
        ASSERT_EQ(line.size(), std::string("[debug 2] 0:").size() + 50) << line;
        int& i = next[static_cast<std::size_t>(line[10] - '0')];
        EXPECT_EQ(line.substr(11), ":" + std::string(50, static_cast<char>('a' + i % 26)));
        ++i;
    }
    EXPECT_EQ(number, 2000);
}

/// In a process of its own, where no file has been named yet.
TEST(HostLogDeathTest, GoesToStandardErrorUntilAFileIsNamed) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            HostLog::setLevel(1);
            debug(1, "%s", "a line");
            debug(2, "%s", "too much");
            handleError(3, "an error");
            std::exit(0);
        },
        ::testing::ExitedWithCode(0),
        "^[0-9]+-[0-9]+-[0-9]+ [0-9:]+\\.[0-9]+ \\[debug 1\\] a line\n"
        "[0-9]+-[0-9]+-[0-9]+ [0-9:]+\\.[0-9]+ \\[error 3\\] an error\n$");
}

}  // namespace

}  // namespace pis::platform
