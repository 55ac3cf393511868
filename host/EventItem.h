// The host's event queue, as far as the store posts to it.
#ifndef HOST_EVENTITEM_H
#define HOST_EVENTITEM_H

/// One item of the host's event queue.
class EventItem {
public:
    /// Event codes. Their numbers are listed in SignallingCodes.h; any number may be passed.
    enum EVENT_TYPE : int {};
};

/// Posts an event item.
/// @param code   what happened.
/// @param id     id of the element that it happened to; 0 where there is none.
/// @param record address of the stored record, or null. The record belongs to the store, must not be
///               freed, and stands at this address only until the call returns: whoever wants to
///               keep it copies it before.
/// Called with the store's lock held (but for the two server status events), so it must not wait
/// for anything and must not call back into the store.
void addNewEventItem(EventItem::EVENT_TYPE code, int id, void* record);

#endif
