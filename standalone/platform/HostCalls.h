// Lets one listener hear every call that the store makes of this host, in the order of the calls.
#ifndef PIS_PLATFORM_HOSTCALLS_H
#define PIS_PLATFORM_HOSTCALLS_H

#include <string>

namespace pis::platform {

/// Hears the host calls on the thread that makes them, many of them under the store's lock: it must
/// not call back into the store. All operations do nothing here.
class HostCallListener {
public:
    virtual void onDebug(int /*level*/, const std::string& /*text*/) {}
    virtual void onError(int /*severity*/, const std::string& /*text*/) {}
    virtual void onEvent(int /*code*/, int /*id*/) {}
    virtual void onOperation(int /*operation*/, const std::string& /*text*/) {}
    virtual ~HostCallListener() = default;
};

/// Sets the listener, null for none. It must outlive the calls that it hears.
void listenToHostCalls(HostCallListener* listener);

/// The listener, null when there is none. May be called from any thread.
HostCallListener* hostCallListener();

}  // namespace pis::platform

#endif
