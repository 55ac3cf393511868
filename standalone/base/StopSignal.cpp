#include "base/StopSignal.h"

#include <sys/eventfd.h>
#include <unistd.h>

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
    if (!_given.exchange(true, std::memory_order_acq_rel)) eventfd_write(_descriptor, 1);
}

}  // namespace pis::base
