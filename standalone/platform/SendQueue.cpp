#include "platform/SendQueue.h"

#include <iostream>
#include <utility>

#include "QXReceiver.h"
#include "base/JsonText.h"
#include "platform/HostCalls.h"

QXReceiver gQXReceiver;

namespace pis::platform {

std::string toJsonLine(const SendOperation& operation) {
    base::JsonText line;
    line.beginObject().key("operation").number(operation.operation).key("text").text(operation.text).endObject();
    return line.str();
}

SendQueue::SendQueue() : _sink(lineWriter(std::cout)) {}

SendQueue& SendQueue::instance() {
    static SendQueue queue;
    return queue;
}

SendQueue::Sink SendQueue::lineWriter(std::ostream& to) {
    return [&to](const SendOperation& operation) { to << toJsonLine(operation) << std::endl; };
}

void SendQueue::setSink(Sink sink) {
    const base::MutexLock lock(_mutex);
    _sink = std::move(sink);
}

void SendQueue::add(SendOperation operation) {
    {
        const base::MutexLock lock(_mutex);
        _waiting.push_back(std::move(operation));
        if (_handingOver) return;
        _handingOver = true;
    }
    handOver();
}

void SendQueue::handOver() {
    while (true) {
        try {
            SendOperation operation;
            Sink sink;
            {
                const base::MutexLock lock(_mutex);
                _handingOver = !_waiting.empty();
                if (!_handingOver) return;
                operation = _waiting.front();
                sink = _sink;
            }
            sink(operation);
        } catch (...) {
            const base::MutexLock lock(_mutex);
            _handingOver = false;
            throw;
        }
        const base::MutexLock lock(_mutex);
        _waiting.pop_front();
    }
}

}  // namespace pis::platform

void QXReceiver::addOperationToSendQueue(int, int, int operation, int, const std::string& text) {
    using namespace pis::platform;
    if (HostCallListener* listener = hostCallListener()) listener->onOperation(operation, text);
    SendQueue::instance().add({operation, text});
}
