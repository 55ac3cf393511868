#include "feed/FeedDelivery.h"

#include <algorithm>
#include <vector>

#include "feed/ElementTypes.h"

namespace pis::feed {

namespace {

/// The store asks for a destination number and ignores it.
constexpr int kAnyDestination = 0;

}  // namespace

void FeedDelivery::deliver(const FeedRecord& record) {
    switch (record.kind) {
        case FeedRecord::UPDATE: update(record); break;
        case FeedRecord::DELETION:
            ++_counts[record.type].deletions;
            remove(record.type, record.id);
            break;
        case FeedRecord::SNAPSHOT_BEGIN:
            ++_snapshotNumber;
            _inSnapshot = true;
            break;
        case FeedRecord::SNAPSHOT_END:
            if (_inSnapshot) endSnapshot();
            break;
    }
}

std::size_t FeedDelivery::elements(int type) const {
    const auto known = _lastSeen.find(type);
    return known == _lastSeen.end() ? 0 : known->second.size();
}

std::size_t FeedDelivery::elements() const {
    std::size_t total = 0;
    for (const auto& [type, known] : _lastSeen) {
        if (type <= SignallingCodes::SERVICE_STOP) total += known.size();
    }
    return total;
}

bool FeedDelivery::holds(int type, int id) const {
    const auto known = _lastSeen.find(type);
    return known != _lastSeen.end() && known->second.count(id) != 0;
}

void FeedDelivery::update(const FeedRecord& record) {
    Count& count = _counts[record.type];
    ++count.updates;
    if (record.id == 0) ++count.updatesOfIdZero;
    // Noted first: the store may hold the element even when an observer throws.
    const ElementType* type = findElementType(record.type);
    if (type != nullptr && record.id != 0) _lastSeen[type->table][record.id] = _snapshotNumber;
    _store.updatePassengerInformation(kAnyDestination, record.type, record.id, _list.of(record.fields));
}

void FeedDelivery::remove(int type, int id) {
    _store.deletePassengerInformation(type, id);
    for (auto& [knownType, known] : _lastSeen) {
        if (type != SignallingCodes::ALL_ELEMENTS && type != knownType) continue;
        if (id == 0) {
            known.clear();
        } else {
            known.erase(id);
        }
    }
    if (_onRemoval) _onRemoval(type, id);
}

void FeedDelivery::endSnapshot() {
    for (const ElementType& type : elementTypes()) {
        if (!type.hasTable()) continue;
        std::vector<int> leftOut;
        for (const auto& [id, seen] : _lastSeen[type.code]) {
            if (seen != _snapshotNumber) leftOut.push_back(id);
        }
        std::sort(leftOut.begin(), leftOut.end());
        for (const int id : leftOut) {
            ++_counts[type.code].leftOut;
            remove(type.code, id);
        }
    }
    _inSnapshot = false;
    ++_snapshots;
}

}  // namespace pis::feed
