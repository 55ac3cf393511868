// The store's two entry points for what comes from a feed.
#ifndef PIS_FEED_STOREENTRY_H
#define PIS_FEED_STOREENTRY_H

#include "SignallingCodes.h"
#include "SignallingController.h"
#include "feed/FeedRecord.h"
#include "feed/HostFieldList.h"

namespace pis::feed {

/// Throws what the store's entry points throw. For one thread.
class StoreEntry {
public:
    explicit StoreEntry(PassengerInformationServer& store) : _store(store) {}

    void update(const FeedRecord& record) {
        constexpr int kAnyDestination = 0;  // asked for and ignored
        _store.updatePassengerInformation(kAnyDestination, record.type, record.id, _list.of(record.fields));
    }

    void remove(int type, int id) { _store.deletePassengerInformation(type, id); }

    /// Tells the store that the signalling server is offline, as a status record of the feed would.
    void tellOffline() {
        FeedRecord offline;
        offline.type = SignallingCodes::SIGNALLING_SERVER_STATUS;
        offline.id = 1;
        offline.fields.appendMissing();
        offline.fields.appendMissing();
        offline.fields.append("0");
        update(offline);
    }

private:
    PassengerInformationServer& _store;
    HostFieldList _list;
};

}  // namespace pis::feed

#endif
