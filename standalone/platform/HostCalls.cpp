#include "platform/HostCalls.h"

#include <atomic>

namespace pis::platform {

namespace {

std::atomic<HostCallListener*> theListener{nullptr};

}  // namespace

void listenToHostCalls(HostCallListener* listener) {
    theListener.store(listener, std::memory_order_release);
}

HostCallListener* hostCallListener() {
    return theListener.load(std::memory_order_acquire);
}

}  // namespace pis::platform
