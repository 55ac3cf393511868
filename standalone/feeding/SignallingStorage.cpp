#include "feeding/SignallingStorage.h"

#include <exception>
#include <utility>

#include "feed/ElementTypes.h"

namespace pis::feeding {

using namespace SignallingCodes;

namespace {

/// Rows of the counts: the element types, and behind them what belongs to none.
enum Behind : std::size_t { EVERY_TYPE, SNAPSHOT, UNKNOWN };

std::size_t rowOf(Behind row) {
    return feed::elementTypes().size() + row;
}

std::size_t rowOf(const feed::ElementType& type) {
    return static_cast<std::size_t>(&type - feed::elementTypes().data());
}

/// Lines about deletions of every type tell the code 0, as do those that tell none: both are unknown here.
std::size_t rowOf(int code) {
    const feed::ElementType* type = feed::findElementType(code);
    return type == nullptr ? rowOf(UNKNOWN) : rowOf(*type);
}

feed::IntakeCounts emptyCounts() {
    feed::IntakeCounts counts;
    for (const feed::ElementType& type : feed::elementTypes()) counts.push_back({type.name, {}});
    for (const char* name : {"every type", "snapshot", "unknown"}) counts.push_back({name, {}});
    return counts;
}

/// Whether there is one record of the type and not one of each element.
bool isStatus(const feed::ElementType& type) {
    return type.table > SERVICE_STOP;
}

}  // namespace

SignallingStorage::SignallingStorage(PassengerInformationServer& store, Options options,
                                     std::function<void(int, int)> onRemoval)
    : _options(std::move(options)),
      _onRemoval(std::move(onRemoval)),
      _delivery(store, [this](int type, int id) { removed(type, id); }),
      _counts(emptyCounts()) {}

feed::Outcome SignallingStorage::take(const feed::FeedRecord& record) {
    switch (record.kind) {
        case feed::FeedRecord::UPDATE: return takeUpdate(record);
        case feed::FeedRecord::DELETION: return takeDeletion(record);
        case feed::FeedRecord::SNAPSHOT_BEGIN:
        case feed::FeedRecord::SNAPSHOT_END: break;
    }
    return takeSnapshotMark(record);
}

feed::Outcome SignallingStorage::takeUpdate(const feed::FeedRecord& record) {
    const feed::ElementType* type = feed::findElementType(record.type);
    if (type == nullptr) {
        return counted(rowOf(UNKNOWN), feed::Outcome::IGNORED,
                       "type code " + std::to_string(record.type) + " is not known");
    }
    const std::size_t row = rowOf(*type);
    if (record.id == 0) return counted(row, feed::Outcome::IGNORED, "the id is 0");
    if (isStatus(*type)) {
        if (record.id != 1) return counted(row, feed::Outcome::IGNORED, "the record is not number 1");
    } else if (!_delivery.holds(type->table, record.id)) {
        if (elements() >= _options.maxElements) {
            return counted(row, feed::Outcome::REFUSED,
                           "id " + std::to_string(record.id) + " is new, and " + std::to_string(_options.maxElements) +
                               " elements are the most");
        }
    }
    _records[record.type].insert_or_assign(record.id, StoredRecord{record.fields, _options.wallClock()});
    return deliver(row, record);
}

feed::Outcome SignallingStorage::takeDeletion(const feed::FeedRecord& record) {
    const feed::ElementType* type = feed::findElementType(record.type);
    if (record.type != ALL_ELEMENTS && type == nullptr) {
        return counted(rowOf(UNKNOWN), feed::Outcome::IGNORED,
                       "type code " + std::to_string(record.type) + " is not known");
    }
    const std::size_t row = type == nullptr ? rowOf(EVERY_TYPE) : rowOf(*type);
    if (type != nullptr && !type->hasTable()) return counted(row, feed::Outcome::IGNORED, "the type cannot be deleted");
    return deliver(row, record);
}

feed::Outcome SignallingStorage::takeSnapshotMark(const feed::FeedRecord& record) {
    if (record.kind == feed::FeedRecord::SNAPSHOT_END && !inSnapshot()) {
        return counted(rowOf(SNAPSHOT), feed::Outcome::IGNORED, "the snapshot that ends here has not begun");
    }
    return deliver(rowOf(SNAPSHOT), record);
}

void SignallingStorage::countMalformed(int type, const std::string& fault) {
    counted(rowOf(type), feed::Outcome::MALFORMED, fault);
}

std::string SignallingStorage::tellOffline() {
    feed::FeedRecord offline;
    offline.type = SIGNALLING_SERVER_STATUS;
    offline.id = 1;
    offline.fields.appendMissing();
    offline.fields.appendMissing();
    offline.fields.append("0");
    return enterStore(offline);
}

const SignallingStorage::StoredRecord* SignallingStorage::find(int type, int id) const {
    const auto ofType = _records.find(type);
    if (ofType == _records.end()) return nullptr;
    const auto found = ofType->second.find(id);
    return found == ofType->second.end() ? nullptr : &found->second;
}

feed::IntakeCounts SignallingStorage::counts() const {
    const std::lock_guard<std::mutex> guard(_countsMutex);
    return _counts;
}

feed::Outcome SignallingStorage::deliver(std::size_t row, const feed::FeedRecord& record) {
    std::string fault = enterStore(record);
    _elements.store(_delivery.elements(), std::memory_order_relaxed);
    if (fault.empty()) return counted(row, feed::Outcome::DELIVERED, "");
    if (record.kind == feed::FeedRecord::SNAPSHOT_END) _delivery.abandonSnapshot();
    return counted(row, feed::Outcome::FAILED, std::move(fault));
}

/// Empty, or what the store threw.
std::string SignallingStorage::enterStore(const feed::FeedRecord& record) {
    std::string fault;
    _enteredStore = Clock::now();
    try {
        _delivery.deliver(record);
    } catch (const std::exception& error) {
        fault = std::string("the store threw: ") + error.what();
    } catch (...) {
        fault = "the store threw what is no exception";
    }
    _inStore.fetch_add((Clock::now() - _enteredStore).count(), std::memory_order_relaxed);
    return fault;
}

void SignallingStorage::removed(int type, int id) {
    _inStore.fetch_add((Clock::now() - _enteredStore).count(), std::memory_order_relaxed);
    for (const feed::ElementType& known : feed::elementTypes()) {
        if (isStatus(known) || (type != ALL_ELEMENTS && type != known.table)) continue;
        if (id == 0) {
            _records.erase(known.code);
        } else if (const auto ofType = _records.find(known.code); ofType != _records.end()) {
            ofType->second.erase(id);
        }
    }
    if (_onRemoval) _onRemoval(type, id);
    _enteredStore = Clock::now();
}

feed::Outcome SignallingStorage::counted(std::size_t row, feed::Outcome outcome, std::string reason) {
    _lastReason = reason;
    const std::lock_guard<std::mutex> guard(_countsMutex);
    feed::OutcomeCount& count = _counts[row].outcomes[static_cast<std::size_t>(outcome)];
    ++count.count;
    count.lastReason = std::move(reason);
    count.lastTime = _options.wallClock();
    return outcome;
}

}  // namespace pis::feeding
