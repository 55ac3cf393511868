// Hands feed records to the store, one after the other, and keeps what snapshots need: which
// elements the store holds by now.
#ifndef PIS_FEED_FEEDDELIVERY_H
#define PIS_FEED_FEEDDELIVERY_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <unordered_map>
#include <utility>

#include "SignallingController.h"
#include "feed/FeedRecord.h"
#include "feed/HostFieldList.h"

namespace pis::feed {

/// Delivers records through the store's own entry points. For one thread.
class FeedDelivery {
public:
    /// What was delivered of one element type code.
    struct Count {
        std::uint64_t updates = 0;  ///< All of them, those with id 0 included.
        std::uint64_t updatesOfIdZero = 0;
        std::uint64_t deletions = 0;  ///< Deletion records.
        std::uint64_t leftOut = 0;    ///< Deletions of elements that a snapshot left out.
    };

    /// Hears of a removal after the store has made it: of a deletion record as it came, type 0 for every
    /// type, id 0 for every element, and of each element that a snapshot left out.
    using OnRemoval = std::function<void(int type, int id)>;

    explicit FeedDelivery(PassengerInformationServer& store, OnRemoval onRemoval = nullptr)
        : _store(store), _onRemoval(std::move(onRemoval)) {}

    /// Delivers one record. The end of a snapshot deletes every element that was not seen since its
    /// beginning, in the order of the types and of the ids; an end without a beginning does nothing.
    /// Throws what the store's entry points throw.
    void deliver(const FeedRecord& record);

    /// A snapshot that has begun will not end: nothing is deleted. The next one starts over.
    void abandonSnapshot() { _inSnapshot = false; }

    /// True between the two marks of a snapshot.
    bool inSnapshot() const { return _inSnapshot; }

    /// Snapshots taken whole.
    std::uint64_t snapshots() const { return _snapshots; }

    /// By element type code, unknown codes included.
    const std::map<int, Count>& counts() const { return _counts; }

    /// Number of elements of a type with a table that the store holds according to what was delivered.
    std::size_t elements(int type) const;

    /// The same of all these types together.
    std::size_t elements() const;

    /// Whether the store holds an element of a type with a table, according to what was delivered.
    bool holds(int type, int id) const;

private:
    void update(const FeedRecord& record);
    void remove(int type, int id);
    void endSnapshot();

    PassengerInformationServer& _store;
    OnRemoval _onRemoval;
    HostFieldList _list;
    std::map<int, Count> _counts;
    std::map<int, std::unordered_map<int, std::uint64_t>> _lastSeen;  // by type and id: snapshot number
    std::uint64_t _snapshotNumber = 0;
    std::uint64_t _snapshots = 0;
    bool _inSnapshot = false;
};

}  // namespace pis::feed

#endif
