#include "base/Interrupt.h"

#include <atomic>
#include <csignal>

namespace pis::base {

namespace {

std::atomic<int> signalCame{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler writes it");

/// Lives as long as the program: a signal may come at its very end.
StopSignal& theStopSignal() {
    static auto* const signal = new StopSignal;
    return *signal;
}

void remember(int number) {
    signalCame = number;
    theStopSignal().give();
}

}  // namespace

void Interrupt::watch() {
    theStopSignal();  // is made before a handler asks for it
    struct sigaction action {};
    action.sa_handler = remember;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

const StopSignal& Interrupt::stopSignal() {
    return theStopSignal();
}

int Interrupt::requested() {
    return signalCame;
}

}  // namespace pis::base
