// The host's lock: re-entrant or not, among threads, and used wrongly.
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "FeedFiles.h"
#include "platform/HostCalls.h"
#include "platform/HostLog.h"
#include "qxMutex.h"

namespace pis::platform {

namespace {

class LocalMutexTest : public ::testing::Test, private HostCallListener {
protected:
    LocalMutexTest() {
        HostLog::writeTo(_folder.path("log"));
        listenToHostCalls(this);
    }
    ~LocalMutexTest() override { listenToHostCalls(nullptr); }

    /// True under the thread sanitizer, which itself reports what these tests do wrong on purpose.
    static constexpr bool watchedForMisuse() {
#if defined(__SANITIZE_THREAD__)
        return true;
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
        return true;
#else
        return false;
#endif
#else
        return false;
#endif
    }

    /// Runs calls on another thread, to their end.
    template <typename Calls>
    static void onAnotherThread(Calls calls) {
        std::thread(calls).join();
    }

    std::string errors;

    const std::string notHeld = "3 qxLocalMutex::leave: the lock is not held by this thread: Operation not permitted\n";

private:
    void onError(int severity, const std::string& text) override {
        errors += std::to_string(severity) + " " + text + "\n";
    }

    TempFolder _folder;
};

TEST_F(LocalMutexTest, InitGivesZeroAndMayBeCalledAgain) {
    qxLocalMutex mutex(true);
    EXPECT_EQ(mutex.init(), 0);
    mutex.enter();
    EXPECT_EQ(mutex.init(), 0);
    mutex.leave();
    EXPECT_EQ(errors, "") << "the lock was still the same, and held";
}

TEST_F(LocalMutexTest, AReentrantLockIsFreeWhenEveryEnterHasItsLeave) {
    qxLocalMutex mutex(true);
    mutex.init();
    mutex.enter();
    mutex.enter();
    mutex.enter();

    std::atomic<bool> otherIsIn{false};
    std::thread other([&] {
        mutex.enter();
        otherIsIn = true;
        mutex.leave();
    });
    mutex.leave();
    EXPECT_FALSE(otherIsIn);
    mutex.leave();
    EXPECT_FALSE(otherIsIn);
    mutex.leave();
    other.join();
    EXPECT_TRUE(otherIsIn);
    EXPECT_EQ(errors, "");
}

TEST_F(LocalMutexTest, ASecondEnterOfALockThatIsNotReentrantThrowsAndLeavesItUsable) {
    qxLocalMutex mutex(false);
    mutex.init();
    mutex.enter();
    try {
        mutex.enter();
        ADD_FAILURE() << "entered twice";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::resource_deadlock_would_occur);
        EXPECT_NE(std::string(error.what()).find("qxLocalMutex::enter"), std::string::npos) << error.what();
    }
    mutex.leave();
    onAnotherThread([&] {
        mutex.enter();
        mutex.leave();
    });
    mutex.enter();
    mutex.leave();
    EXPECT_EQ(errors, "");
}

TEST_F(LocalMutexTest, KeepsThreadsApart) {
    for (const bool reentrant : {true, false}) {
        qxLocalMutex mutex(reentrant);
        mutex.init();
        long counter = 0;  // not atomic: the lock is what guards it
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread) {
            threads.emplace_back([&] {
                for (int i = 0; i < 20000; ++i) {
                    mutex.enter();
                    ++counter;
                    mutex.leave();
                }
            });
        }
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(counter, 80000);
    }
    EXPECT_EQ(errors, "");
}

TEST_F(LocalMutexTest, ALeaveWithoutAnEnterIsReportedAndChangesNothing) {
    if (watchedForMisuse()) GTEST_SKIP();
    for (const bool reentrant : {true, false}) {
        errors.clear();
        qxLocalMutex mutex(reentrant);
        mutex.init();
        mutex.leave();
        EXPECT_EQ(errors, notHeld);

        mutex.enter();
        mutex.leave();
        EXPECT_EQ(errors, notHeld);
        mutex.leave();
        EXPECT_EQ(errors, notHeld + notHeld);
    }
}

TEST_F(LocalMutexTest, ALeaveByAThreadThatDoesNotHoldTheLockIsReportedAndChangesNothing) {
    if (watchedForMisuse()) GTEST_SKIP();
    for (const bool reentrant : {true, false}) {
        errors.clear();
        qxLocalMutex mutex(reentrant);
        mutex.init();
        mutex.enter();
        onAnotherThread([&] { mutex.leave(); });
        EXPECT_EQ(errors, notHeld);
        mutex.leave();
        EXPECT_EQ(errors, notHeld) << "still held by the thread that entered";
    }
}

TEST_F(LocalMutexTest, EnteringBeforeInitThrowsAndLeavingIsReported) {
    for (const bool reentrant : {true, false}) {
        errors.clear();
        qxLocalMutex mutex(reentrant);
        EXPECT_THROW(mutex.enter(), std::logic_error);
        EXPECT_EQ(errors, "");
        mutex.leave();
        EXPECT_EQ(errors, notHeld);
        mutex.init();
        mutex.enter();
        mutex.leave();
        EXPECT_EQ(errors, notHeld);
    }
}

TEST_F(LocalMutexTest, MayBeDestroyedWithoutInit) {
    { const qxLocalMutex mutex(true); }
    EXPECT_EQ(errors, "");
}

TEST_F(LocalMutexTest, LocksAreIndependent) {
    qxLocalMutex one(false);
    qxLocalMutex other(false);
    one.init();
    other.init();
    one.enter();
    onAnotherThread([&] {
        other.enter();
        other.leave();
    });
    one.leave();
    EXPECT_EQ(errors, "");
}

TEST_F(LocalMutexTest, WorksThroughItsBase) {
    std::unique_ptr<qxMutexBase> mutex = std::make_unique<qxLocalMutex>(true);
    EXPECT_EQ(mutex->init(), 0);
    mutex->enter();
    mutex->assertLocked("here");
    mutex->leave();
    EXPECT_EQ(errors, "");
}

}  // namespace

}  // namespace pis::platform
