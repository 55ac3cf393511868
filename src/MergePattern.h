// Private to the unit. The two things that are done to a table, each written once: merging an
// element update into it and deleting elements from it. The handlers give their field tables, texts
// and codes.
#ifndef MERGEPATTERN_H
#define MERGEPATTERN_H

#include <algorithm>
#include <cstddef>
#include <utility>

#include "FieldTable.h"
#include "SignallingCodes.h"
#include "SignallingController.h"
#include "StoreLock.h"

namespace SignallingControllerPrivate {

/// What an update of one element type says to the outside.
template <typename Record>
struct UpdateRule {
    void (*logUpdated)(int id);                                       // at level 2
    void (*logAdded)(int id, std::size_t total);                      // at level 2; total counts the new element
    SignallingCodes::Event event = {};                                // none for trip stops and service stops, which
    void (PassengerInformationObserver::*updated)(Record) = nullptr;  // have no observer operation
};

/// What a deletion of one element type says to the outside.
template <typename Record>
struct RemovalRule {
    void (*logDeleted)(int id);  // at level 1
    SignallingCodes::Event event;
    void (PassengerInformationObserver::*removed)(Record);
};

/// Posts an event item about a stored record. Called with pisMtx held.
inline void postEvent(SignallingCodes::Event event, int id, void* record) {
    addNewEventItem(static_cast<EventItem::EVENT_TYPE>(event), id, record);
}

/// Position of the first element with this id at `from` or behind, or the table's size. Called with
/// pisMtx held.
template <typename Record>
std::size_t positionOf(const std::vector<Record>& table, int id, std::size_t from = 0) {
    const auto found = std::find_if(table.begin() + static_cast<std::ptrdiff_t>(from), table.end(),
                                    [id](const Record& record) { return record.getId() == id; });
    return static_cast<std::size_t>(found - table.begin());
}

/// For handlers that complete nothing.
struct NothingMore {
    bool operator()(StoreLock&, std::size_t) const { return true; }
};

}  // namespace SignallingControllerPrivate

/// Calls an operation on every observer. Counts instead of iterating, since an observer may register
/// another one meanwhile, which is then called, too. Called with pisMtx held, but for the server status.
template <typename Record>
void PassengerInformationServer::tellObservers(void (PassengerInformationObserver::*operation)(Record),
                                               const Record& record) {
    // NOLINTNEXTLINE(modernize-loop-convert)
    for (std::size_t i = 0; i < _pisObserverList.size(); ++i) (_pisObserverList[i]->*operation)(record);
}

/// Merges an element update into its table. The list is read before the lock is taken.
/// @param record   the record as its handler prepares it: id and defaults.
/// @param complete called under the lock with the element's position, after the table was brought
///                 up to date. It may open a gap in the lock and says whether the position still
///                 lies in the table; if not, somebody deleted meanwhile and the update ends.
template <typename Fields, typename Record, typename Completion>
void PassengerInformationServer::merge(std::vector<Record>& table, Record record, const KEBlist* list,
                                       const UpdateRule<Record>& rule, Completion complete) {
    using namespace SignallingControllerPrivate;
    FieldReader reader(*list);
    const typename Fields::Values values = Fields::read(reader, record);

    StoreLock lock(pisMtx);
    const std::size_t position = positionOf(table, record.getId());
    bool changed = false;
    if (position == table.size()) {
        Fields::write(values, record);
        table.push_back(std::move(record));
        changed = true;
        if (debugLevel > 1) rule.logAdded(table[position].getId(), table.size());
    } else if (Fields::differ(table[position], values)) {
        Fields::write(values, table[position]);
        changed = true;
        if (debugLevel > 1) rule.logUpdated(table[position].getId());
    }

    if (!complete(lock, position)) return;
    if (rule.updated == nullptr) return;

    if (changed && !_pisObserverList.empty()) {
        record = table[position];
        tellObservers(rule.updated, record);
    }
    // Posted for every record received, also when nothing changed.
    postEvent(rule.event, table[position].getId(), &table[position]);
}

/// Deletes the elements with this id, or all for id 0, one after the other: while one is told of, it
/// and those after it are still in the table. Called with pisMtx held.
template <typename Record>
void PassengerInformationServer::removeMatching(std::vector<Record>& table, int id, const RemovalRule<Record>& rule) {
    using namespace SignallingControllerPrivate;
    std::size_t position = 0;
    while (true) {
        if (id != 0) position = positionOf(table, id, position);
        if (position >= table.size()) return;
        const int removedId = table[position].getId();
        if (!_pisObserverList.empty()) {
            const Record record = table[position];
            tellObservers(rule.removed, record);
        }
        postEvent(rule.event, removedId, &table[position]);
        if (debugLevel > 0) rule.logDeleted(removedId);
        table.erase(table.begin() + static_cast<std::ptrdiff_t>(position));
    }
}

/// The same for types of which nobody is told: one linear pass, log lines in table order, so that the
/// end of a day with its thousands of stops does not hold the lock for long.
template <typename Record>
void PassengerInformationServer::removeMatching(std::vector<Record>& table, int id, void (*logDeleted)(int id)) {
    const auto matches = [id](const Record& record) { return id == 0 || record.getId() == id; };
    auto kept = std::find_if(table.begin(), table.end(), matches);  // behind the last element that stays
    for (auto next = kept; next != table.end(); ++next) {
        if (!matches(*next)) {
            *kept++ = std::move(*next);
        } else if (debugLevel > 0) {
            try {
                logDeleted(next->getId());
            } catch (...) {
                table.erase(kept, next);  // those logged so far are gone, the others whole
                throw;
            }
        }
    }
    table.erase(kept, table.end());
}

#endif
