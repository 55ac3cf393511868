#include "base/StopSignal.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace pis::base {

StopSignal::StopSignal() : _descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (_descriptor < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

StopSignal::~StopSignal() {
    close(_descriptor);
}

void StopSignal::give() {
    const int before = errno;  // that of whoever a signal handler interrupts
    if (!_given.exchange(true, std::memory_order_acq_rel)) eventfd_write(_descriptor, 1);
    errno = before;
}

bool StopSignal::waitUntil(Clock::time_point deadline) const {
    constexpr std::chrono::milliseconds kLongest{std::chrono::hours(1)};
    while (!given()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        pollfd watched{_descriptor, POLLIN, 0};
        poll(&watched, 1, static_cast<int>(std::min(left, kLongest).count()));
    }
    return true;
}

}  // namespace pis::base
