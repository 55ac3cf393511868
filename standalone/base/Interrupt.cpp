#include "base/Interrupt.h"

#include <csignal>

namespace pis::base {

namespace {

volatile std::sig_atomic_t signalCame = 0;

void remember(int number) {
    signalCame = number;
}

}  // namespace

void Interrupt::watch() {
    struct sigaction action {};
    action.sa_handler = remember;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int Interrupt::requested() {
    return signalCame;
}

}  // namespace pis::base
