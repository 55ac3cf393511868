// The host's event queue: what addNewEventItem posts waits here, each item with its own copy of the
// record, until somebody takes it.
#ifndef PIS_PLATFORM_EVENTQUEUE_H
#define PIS_PLATFORM_EVENTQUEUE_H

#include <cstddef>
#include <deque>
#include <optional>
#include <variant>

#include "SignallingController.h"
#include "base/Mutex.h"

namespace pis::platform {

/// Event items in the order of posting. Posting waits for nobody but another thread's posting or
/// taking of one item; whoever posts faster than somebody takes fills the memory, so the thread that
/// delivers elements also sees to it that the queue is emptied.
class EventQueue {
public:
    /// The record as it stood in the store when the event was posted; nothing for the status events
    /// and for codes that are not known.
    using Record = std::variant<std::monostate, Line, Vehicle, Station, PlatformInfo, Service, Trip>;

    struct Item {
        int code;
        int id;
        Record record;
    };

    /// The host's one queue.
    static EventQueue& instance();

    /// @param record address of the stored record that the code speaks of, or null; read before the
    ///        call returns.
    void post(int code, int id, const void* record);

    /// Takes the oldest item, if there is one.
    std::optional<Item> pop();

    std::size_t size() const;

private:
    mutable base::Mutex _mutex;
    std::deque<Item> _items PIS_GUARDED_BY(_mutex);
};

}  // namespace pis::platform

#endif
