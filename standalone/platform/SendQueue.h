// The way out to the signalling server: operations queued through gQXReceiver wait here for the sink.
#ifndef PIS_PLATFORM_SENDQUEUE_H
#define PIS_PLATFORM_SENDQUEUE_H

#include <deque>
#include <functional>
#include <iosfwd>
#include <string>

#include "base/Mutex.h"

namespace pis::platform {

/// One operation for the signalling server.
struct SendOperation {
    int operation = 0;
    std::string text;
};

/// An operation as a line of JSON without the line end: {"operation":21,"text":"3,North,N"}.
std::string toJsonLine(const SendOperation& operation);

/// Operations in the order of queueing. May be used from any thread.
class SendQueue {
public:
    /// Takes one operation to its destination. Called by one thread at a time, without a lock held.
    using Sink = std::function<void(const SendOperation&)>;

    SendQueue();

    /// The host's one queue.
    static SendQueue& instance();

    /// Writes each operation as a line of JSON. This is the sink until another is set, with standard
    /// output as its destination.
    static Sink lineWriter(std::ostream& to);

    /// Replaces the sink; operations still waiting go to the new one.
    void setSink(Sink sink);

    /// Queues an operation and hands whatever waits to the sink, unless another thread does so
    /// already: then that one takes it along. What the sink throws reaches the caller; the operation
    /// that it did not take, and those behind it, wait for the next call.
    void add(SendOperation operation);

private:
    void handOver();

    base::Mutex _mutex;
    std::deque<SendOperation> _waiting PIS_GUARDED_BY(_mutex);
    Sink _sink PIS_GUARDED_BY(_mutex);
    bool _handingOver PIS_GUARDED_BY(_mutex) = false;
};

}  // namespace pis::platform

#endif
