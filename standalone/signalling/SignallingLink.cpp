#include "signalling/SignallingLink.h"

#include "platform/HostLog.h"

namespace pis::signalling {

void sayOperationLost(const platform::SendOperation& operation, const std::string& why) {
    platform::HostLog::say("operation " + std::to_string(operation.operation) + " is lost: " + why);
}

}  // namespace pis::signalling
