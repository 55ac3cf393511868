// The one link to the signalling side: where element records come from and operations go to.
#ifndef PIS_SIGNALLING_SIGNALLINGLINK_H
#define PIS_SIGNALLING_SIGNALLINGLINK_H

#include <memory>
#include <string>

#include "platform/SendQueue.h"
#include "signalling/Inbox.h"

namespace pis::signalling {

class SignallingLink {
public:
    virtual ~SignallingLink() = default;

    /// Puts records, malformed lines and changes of the link into the inbox until stop() or until the
    /// feed has ended. Runs on a thread of its own. Throws nothing: what goes wrong is a LinkChange.
    virtual void run(Inbox& inbox) = 0;

    /// Takes an operation to the signalling side; any thread. False, with a line in the log, when the
    /// link cannot take it now: the operation is lost.
    virtual bool send(const platform::SendOperation& operation) = 0;

    /// Makes run() return within 100 ms; any thread, also before run(). Where it waits for room in the inbox,
    /// it returns once that is closed.
    virtual void stop() = 0;

    /// As the operator named it.
    virtual std::string name() const = 0;
};

/// Writes into the log that an operation reaches nobody, and why.
void sayOperationLost(const platform::SendOperation& operation, const std::string& why);

}  // namespace pis::signalling

#endif
