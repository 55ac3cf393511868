#include "Day.h"

#include <map>

#include "BenchHost.h"
#include "feed/ElementTypes.h"
#include "HarbourMorning.h"
#include "feed/HostFieldList.h"
#include "Railway.h"

namespace {

void deliver(const FeedRecord& record, HostFieldList& list) {
    PassengerInformationServer& store = gPassengerInformationServer;
    if (record.kind == FeedRecord::UPDATE) {
        store.updatePassengerInformation(0, record.type, record.id, list.of(record.fields));
    } else {
        store.deletePassengerInformation(record.type, record.id);
    }
}

/// By table and id: number of the snapshot.
using LastSeen = std::map<int, std::map<int, int>>;

/// Deletes what the snapshot did not bring.
void deleteLeftOut(int snapshot, LastSeen& lastSeen, std::vector<FeedRecord>& records) {
    for (auto& [table, elements] : lastSeen) {
        if (!findElementType(table)->hasTable()) continue;
        for (auto element = elements.begin(); element != elements.end();) {
            if (element->second == snapshot) {
                ++element;
                continue;
            }
            FeedRecord deletion;
            deletion.kind = FeedRecord::DELETION;
            deletion.type = table;
            deletion.id = element->first;
            records.push_back(deletion);
            element = elements.erase(element);
        }
    }
}

}  // namespace

std::vector<FeedRecord> harbourRecords() {
    return harbourMorning();
}

Day dayOf(std::string name, const std::vector<FeedRecord>& records) {
    Day day{std::move(name), {}};
    LastSeen lastSeen;
    int snapshot = 0;
    bool inSnapshot = false;
    for (const FeedRecord& record : records) {
        switch (record.kind) {
            case FeedRecord::UPDATE: {
                const ElementType* type = findElementType(record.type);
                if (type != nullptr && record.id != 0) lastSeen[type->table][record.id] = snapshot;
                day.records.push_back(record);
                break;
            }
            case FeedRecord::DELETION:
                for (auto& [table, elements] : lastSeen) {
                    if (record.type != SignallingCodes::ALL_ELEMENTS && record.type != table) continue;
                    if (record.id == 0) {
                        elements.clear();
                    } else {
                        elements.erase(record.id);
                    }
                }
                day.records.push_back(record);
                break;
            case FeedRecord::SNAPSHOT_BEGIN:
                ++snapshot;
                inSnapshot = true;
                break;
            case FeedRecord::SNAPSHOT_END:
                if (inSnapshot) deleteLeftOut(snapshot, lastSeen, day.records);
                inSnapshot = false;
                break;
        }
    }
    return day;
}

void deliver(const Day& day) {
    HostFieldList list;
    for (const FeedRecord& record : day.records) deliver(record, list);
}

LockHolds lockHoldsFromEmpty(const Day& day) {
    emptyTables();
    setObservers(1);
    LockHolds holds;
    HostFieldList list;
    timeLockHolds(true);
    for (const FeedRecord& record : day.records) {
        deliver(record, list);
        (record.kind == FeedRecord::UPDATE ? holds.updates : holds.deletions).push_back(takeLockHeldTime());
    }
    timeLockHolds(false);
    return holds;
}
