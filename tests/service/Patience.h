// How long tests wait for what must come: generously, and for the condition itself, never for a time.
#ifndef TESTS_SERVICE_PATIENCE_H
#define TESTS_SERVICE_PATIENCE_H

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace pis::service {

namespace patience {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kLimit{60};

/// What a test waited for did not come. Fails the test with its text.
struct Exhausted : std::runtime_error {
    using std::runtime_error::runtime_error;
};

inline Clock::time_point deadline() {
    return Clock::now() + kLimit;
}

/// Asks until the answer is true. @throws Exhausted that names what did not come.
template <typename Condition>
void await(const std::string& what, Condition condition) {
    constexpr std::chrono::milliseconds kPause{3};
    const Clock::time_point until = deadline();
    while (!condition()) {
        if (Clock::now() >= until) throw Exhausted("waited in vain: " + what);
        std::this_thread::sleep_for(kPause);
    }
}

}  // namespace patience

}  // namespace pis::service

#endif
