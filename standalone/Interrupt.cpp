#include "Interrupt.h"

#include <csignal>

namespace {

volatile std::sig_atomic_t signalCame = 0;

void remember(int) {
    signalCame = 1;
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

bool Interrupt::requested() {
    return signalCame != 0;
}
