// The host's connection to the signalling server, as far as the store queues operations on it.
#ifndef HOST_QXRECEIVER_H
#define HOST_QXRECEIVER_H

#include <string>

/// Carries operations to the signalling server.
class QXReceiver {
public:
    /// Queues one operation. The store always passes -1, 101, the operation code, 1 and the text;
    /// the three fixed numbers are the receiver's own and are passed on as they are.
    /// @param text comma-separated decimal fields; "*" stands for all.
    /// May be called from any thread.
    void addOperationToSendQueue(int, int, int operation, int, const std::string& text);
};

extern QXReceiver gQXReceiver;

#endif
