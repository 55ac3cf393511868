#include "platform/EventQueue.h"

#include <utility>

#include "SignallingCodes.h"
#include "platform/HostCalls.h"

namespace pis::platform {

using namespace SignallingCodes;

namespace {

template <typename Type>
EventQueue::Record copyAs(const void* record) {
    return *static_cast<const Type*>(record);
}

/// The event code tells the type of the record.
EventQueue::Record copyOf(int code, const void* record) {
    if (record == nullptr) return {};
    switch (code) {
        case LINE_UPDATED:
        case LINE_DELETED: return copyAs<Line>(record);
        case VEHICLE_UPDATED:
        case VEHICLE_DELETED: return copyAs<Vehicle>(record);
        case STATION_UPDATED:
        case STATION_DELETED: return copyAs<Station>(record);
        case PLATFORM_UPDATED:
        case PLATFORM_DELETED: return copyAs<PlatformInfo>(record);
        case SERVICE_UPDATED:
        case SERVICE_DELETED: return copyAs<Service>(record);
        case TRIP_UPDATED:
        case TRIP_DELETED: return copyAs<Trip>(record);
        default: return {};
    }
}

}  // namespace

EventQueue& EventQueue::instance() {
    static EventQueue queue;
    return queue;
}

void EventQueue::post(int code, int id, const void* record) {
    Item item{code, id, copyOf(code, record)};
    const std::lock_guard<std::mutex> guard(_mutex);
    _items.push_back(std::move(item));
}

std::optional<EventQueue::Item> EventQueue::pop() {
    const std::lock_guard<std::mutex> guard(_mutex);
    if (_items.empty()) return std::nullopt;
    std::optional<Item> item(std::move(_items.front()));
    _items.pop_front();
    return item;
}

std::size_t EventQueue::size() const {
    const std::lock_guard<std::mutex> guard(_mutex);
    return _items.size();
}

}  // namespace pis::platform

void addNewEventItem(EventItem::EVENT_TYPE code, int id, void* record) {
    using namespace pis::platform;
    EventQueue::instance().post(code, id, record);
    if (HostCallListener* listener = hostCallListener()) listener->onEvent(code, id);
}
