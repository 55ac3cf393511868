#include "Day.h"

#include <map>
#include <stdexcept>
#include <utility>

#include "BenchHost.h"
#include "HarbourMorning.h"
#include "LargeRailway.h"
#include "feed/ElementTypes.h"
#include "feed/HostFieldList.h"
#ifdef PIS_STANDALONE
#include "FeedFile.h"
#endif

using namespace pis::feed;

namespace {

void deliver(const FeedRecord& record, HostFieldList& list) {
    PassengerInformationServer& store = gPassengerInformationServer;
    if (record.kind == FeedRecord::UPDATE) {
        store.updatePassengerInformation(0, record.type, record.id, list.of(record.fields));
    } else {
        store.deletePassengerInformation(record.type, record.id);
    }
}

}  // namespace

std::vector<FeedRecord> harbourRecords() {
    return pis::simulator::harbourMorning();
}

Day dayOf(std::string name, const std::vector<FeedRecord>& records) {
    Day day{std::move(name), {}};
    std::map<int, std::map<int, int>> lastSeen;  // by table and id: number of the snapshot
    int snapshot = 0;
    bool inSnapshot = false;
    for (const FeedRecord& record : records) {
        if (record.kind == FeedRecord::UPDATE) {
            const ElementType* type = findElementType(record.type);
            if (type != nullptr && record.id != 0) lastSeen[type->table][record.id] = snapshot;
            day.records.push_back(record);
        } else if (record.kind == FeedRecord::DELETION) {
            for (auto& [table, elements] : lastSeen) {
                if (record.type != SignallingCodes::ALL_ELEMENTS && record.type != table) continue;
                if (record.id == 0) elements.clear();
                elements.erase(record.id);
            }
            day.records.push_back(record);
        } else if (record.kind == FeedRecord::SNAPSHOT_BEGIN) {
            ++snapshot;
            inSnapshot = true;
        } else if (std::exchange(inSnapshot, false)) {
            for (auto& [table, elements] : lastSeen) {
                if (!findElementType(table)->hasTable()) continue;
                for (auto element = elements.begin(); element != elements.end();) {
                    const auto [id, seen] = *element;
                    if (seen != snapshot) day.records.push_back({FeedRecord::DELETION, {}, table, id, {}});
                    element = seen != snapshot ? elements.erase(element) : std::next(element);
                }
            }
        }
    }
    return day;
}

std::vector<Day> daysIn(const std::vector<std::string>& paths) {
    std::vector<Day> days;
    for (const std::string& path : paths) {
#ifdef PIS_STANDALONE
        const std::string file = path.substr(path.rfind('/') + 1);
        days.push_back(dayOf(file.substr(0, file.find('.')), recordsIn(path)));
#else
        throw std::runtime_error(path + ": this build reads no feeds");
#endif
    }
    return days;
}

Body storeDay(const Day& day) {
    const auto run = [&day] {
        HostFieldList list;
        for (const FeedRecord& record : day.records) deliver(record, list);
    };
    return {"day/" + day.name, run, emptyTables};
}

std::vector<double> lockHoldsFromEmpty(const Day& day) {
    emptyTables();
    setObservers(1);
    std::vector<double> holds;
    HostFieldList list;
    timeLockHolds(true);
    for (const FeedRecord& record : day.records) {
        deliver(record, list);
        holds.push_back(popLockHeldTime());
    }
    timeLockHolds(false);
    return holds;
}
