// The last record of each element as it came in. Looks each record over, counts it, and hands it on to the
// store; runs on the feeding thread.
#ifndef PIS_FEEDING_SIGNALLINGSTORAGE_H
#define PIS_FEEDING_SIGNALLINGSTORAGE_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "feed/FeedDelivery.h"
#include "feed/IntakeCounts.h"

namespace pis::feeding {

/// What the store does not take is kept away from it; nothing is kept of unknown types, however many come.
///
/// [Threading] The feeding thread's, but for counts(), inStore() and elements(), which any thread may call.
class SignallingStorage {
public:
    /// A record as it came.
    struct StoredRecord {
        feed::FieldTexts fields;
        base::WallTime cameAt;
    };

    struct Options {
        std::size_t maxElements = 1000000;  ///< Of all types together; a state belongs to its element.
        std::function<base::WallTime()> wallClock = std::chrono::system_clock::now;
    };

    /// @param onRemoval told of every removal after the store has made it: a deletion record as it came, or
    ///                  an element that a snapshot left out. Type 0 stands for every type, id 0 for every id.
    SignallingStorage(PassengerInformationServer& store, Options options,
                      std::function<void(int type, int id)> onRemoval);

    /// Takes one record of the feed and tells what became of it; what the store throws makes it FAILED.
    feed::Outcome take(const feed::FeedRecord& record);

    /// Why the record taken last was not delivered, for people; empty when it was.
    const std::string& lastReason() const { return _lastReason; }

    /// Counts a line that is no record.
    void countMalformed(int type, const std::string& fault);

    /// A snapshot that has not ended will not end: it deletes nothing.
    void abandonSnapshot() { _delivery.abandonSnapshot(); }

    /// Tells the store that the signalling server is offline; no record of the feed, so not counted. Empty,
    /// or what the store threw.
    std::string tellOffline();

    /// The last record of a type with this id, or null. Valid until the next record is taken.
    const StoredRecord* find(int type, int id) const;

    bool inSnapshot() const { return _delivery.inSnapshot(); }

    /// Snapshots taken whole.
    std::uint64_t snapshots() const { return _delivery.snapshots(); }

    feed::IntakeCounts counts() const;

    /// Elements held, of all types together; a state belongs to its element.
    std::size_t elements() const { return _elements.load(std::memory_order_relaxed); }

    /// Time spent in the store's entry points.
    std::chrono::nanoseconds inStore() const {
        return std::chrono::nanoseconds(_inStore.load(std::memory_order_relaxed));
    }

private:
    using Clock = std::chrono::steady_clock;

    feed::Outcome takeUpdate(const feed::FeedRecord& record);
    feed::Outcome takeDeletion(const feed::FeedRecord& record);
    feed::Outcome takeSnapshotMark(const feed::FeedRecord& record);
    feed::Outcome deliver(std::size_t row, const feed::FeedRecord& record);
    std::string enterStore(const feed::FeedRecord& record);
    void removed(int type, int id);
    feed::Outcome counted(std::size_t row, feed::Outcome outcome, std::string reason);

    Options _options;
    std::function<void(int, int)> _onRemoval;
    feed::FeedDelivery _delivery;
    std::unordered_map<int, std::unordered_map<int, StoredRecord>> _records;  // by type and id
    std::atomic<std::size_t> _elements{0};
    std::string _lastReason;
    Clock::time_point _enteredStore;
    std::atomic<std::chrono::nanoseconds::rep> _inStore{0};

    mutable std::mutex _countsMutex;
    feed::IntakeCounts _counts;  // guarded by _countsMutex
};

}  // namespace pis::feeding

#endif
