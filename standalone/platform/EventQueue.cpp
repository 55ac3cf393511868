#include "platform/EventQueue.h"

#include <utility>

#include "platform/HostCalls.h"
#include "records/Tables.h"

namespace pis::platform {

namespace {

/// The event code tells the type of the record.
EventQueue::Record copyOf(int code, const void* record) {
    EventQueue::Record copy;
    if (record == nullptr || code == 0) return copy;
    records::forEachTable([&](auto of) {
        using Record = typename decltype(of)::Record;
        using Traits = records::TraitsOf<Record>;
        if constexpr (Traits::kUpdated != 0) {
            if (code == Traits::kUpdated || code == Traits::kDeleted) copy = *static_cast<const Record*>(record);
        }
    });
    return copy;
}

}  // namespace

EventQueue& EventQueue::instance() {
    static EventQueue queue;
    return queue;
}

void EventQueue::post(int code, int id, const void* record) {
    Item item{code, id, copyOf(code, record)};
    const base::MutexLock lock(_mutex);
    _items.push_back(std::move(item));
}

std::optional<EventQueue::Item> EventQueue::pop() {
    const base::MutexLock lock(_mutex);
    if (_items.empty()) return std::nullopt;
    std::optional<Item> item(std::move(_items.front()));
    _items.pop_front();
    return item;
}

std::size_t EventQueue::size() const {
    const base::MutexLock lock(_mutex);
    return _items.size();
}

}  // namespace pis::platform

void addNewEventItem(EventItem::EVENT_TYPE code, int id, void* record) {
    using namespace pis::platform;
    EventQueue::instance().post(code, id, record);
    if (HostCallListener* listener = hostCallListener()) listener->onEvent(code, id);
}
