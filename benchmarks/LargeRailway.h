// A railway as large as a scene wants it: elements of every type by number, and the store's tables
// filled with them.
#ifndef BENCHMARKS_LARGERAILWAY_H
#define BENCHMARKS_LARGERAILWAY_H

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

#include "SignallingController.h"
#include "feed/ElementTypes.h"
#include "feed/FeedRecord.h"
#include "feed/HostFieldList.h"

/// Length of names and lists.
enum class Texts {
    SHORT,  ///< Each fits into a string without memory of its own.
    LONG    ///< None does.
};

/// The record of element number `id`. Element n goes with elements n of the other types, so that a service
/// names its trip's line and stops as the trip does.
/// @param variant 0 or 1: two reports of the element that differ as they do in the course of a day.
pis::feed::FeedRecord elementRecord(int type, int id, Texts texts, int variant = 0);

/// Fills every table of the store with so many elements, ids 1 and up in order, variant 0.
void fillTables(std::size_t size, Texts texts);

/// Empties them and gives their memory back.
void emptyTables();

/// An update as the host hands it over, its list made beforehand.
class PreparedUpdate {
public:
    explicit PreparedUpdate(pis::feed::FeedRecord record)
        : _record(std::move(record)), _list(_fields.of(_record.fields)) {}
    PreparedUpdate(const PreparedUpdate&) = delete;
    PreparedUpdate& operator=(const PreparedUpdate&) = delete;

    int type() const { return _record.type; }
    int id() const { return _record.id; }
    const KEBlist& list() const { return *_list; }
    void deliver() { gPassengerInformationServer.updatePassengerInformation(0, _record.type, _record.id, _list); }

private:
    pis::feed::FeedRecord _record;
    pis::feed::HostFieldList _fields;
    KEBlist* _list;
};

/// Updates to be delivered one after the other, again and again.
class Rotation {
public:
    void add(pis::feed::FeedRecord record) { _updates.emplace_back(std::move(record)); }
    PreparedUpdate& next() {
        PreparedUpdate& update = _updates[_next];
        _next = _next + 1 < _updates.size() ? _next + 1 : 0;
        return update;
    }

private:
    std::deque<PreparedUpdate> _updates;
    std::size_t _next = 0;
};

/// Ids spread over a table of this size, in no order; on average they lie in its middle.
std::vector<int> scatteredIds(std::size_t size);

/// Types whose updates go into a table, states included.
std::vector<const pis::feed::ElementType*> typesOfHandlers();

/// "trip stop" as part of a case's name: "trip-stop".
std::string nameOf(int type);

#endif
