// Private to the unit. How a request to the signalling server is written and queued.
#ifndef REQUESTTEXT_H
#define REQUESTTEXT_H

#include <locale>
#include <sstream>
#include <string>

#include "QXReceiver.h"
#include "SignallingCodes.h"

namespace SignallingControllerPrivate {

/// Text of a request: decimal numbers, flags as 1 or 0, whatever the process's locale. Throws when
/// memory runs out, so that no shortened request is sent.
class RequestText : public std::ostringstream {
public:
    RequestText() {
        imbue(std::locale::classic());
        exceptions(std::ios_base::badbit);
    }
};

/// An id, or "*" for all when it is below 1.
struct IdOrAll {
    int id;

    // As a friend it hides nobody's operator in this namespace.
    friend std::ostream& operator<<(std::ostream& text, IdOrAll which) {
        if (which.id < 1) return text << '*';
        return text << which.id;
    }
};

/// Queues an operation for the signalling server.
inline void queueOperation(SignallingCodes::Operation operation, const std::string& text) {
    gQXReceiver.addOperationToSendQueue(-1, 101, operation, 1, text);
}

}  // namespace SignallingControllerPrivate

#endif
