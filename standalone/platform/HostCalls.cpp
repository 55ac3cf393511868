#include "HostCalls.h"

#include <atomic>

namespace {

std::atomic<HostCallListener*> theListener{nullptr};

}  // namespace

void listenToHostCalls(HostCallListener* listener) {
    theListener.store(listener, std::memory_order_release);
}

HostCallListener* hostCallListener() {
    return theListener.load(std::memory_order_acquire);
}
