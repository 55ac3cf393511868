// The one book of what is known of the feed's elements: records come in, each is judged and counted, and what the
// store is to hear goes out to a receiver. Replay, service and check ask it; what exists is written down here alone.
//
// Invariant: an element is known from before its first update goes out until its deletion has been made, and its state
// from before the first record of it until its defaults have been delivered, so that a snapshot's end puts right
// whatever the store may hold, also where an update or a deletion failed half-way.
#ifndef PIS_FEED_INTAKE_H
#define PIS_FEED_INTAKE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>

#include "base/Mutex.h"
#include "base/WallTime.h"
#include "feed/ElementTypes.h"
#include "feed/FeedRecord.h"
#include "feed/KnownElements.h"
#include "feed/Outcomes.h"

namespace pis::feed {

/// Where goes what the intake lets through.
class IntakeReceiver {
public:
    virtual ~IntakeReceiver() = default;

    /// An update of a type that the store knows: a record as it came, or one without fields, which gives a state its
    /// defaults, where a snapshot brought an element and not its state.
    virtual void onUpdate(const FeedRecord& record) = 0;

    /// A deletion: a deletion record as it came, type 0 for every type and id 0 for every element, or an element
    /// that a snapshot left out.
    virtual void onDeletion(int type, int id) = 0;

    /// Asked before every step of a snapshot's end, which may have many and take long: time for what cannot wait. False
    /// to leave the rest of them undone; the snapshot is abandoned then.
    virtual bool mayGoOn() { return true; }
};

/// [Threading] For one thread, but for counts(), elements() and bytes(), which any thread may call.
class Intake {
public:
    struct Options {
        std::size_t maxElements = std::numeric_limits<std::size_t>::max();   ///< Of all types together.
        std::uint64_t maxBytes = std::numeric_limits<std::uint64_t>::max();  ///< Of their fields' texts.
        std::function<base::WallTime()> wallClock = std::chrono::system_clock::now;
    };

    /// What becomes of a record, and why, for people; no reason where it is delivered.
    struct Verdict {
        Outcome outcome = Outcome::DELIVERED;
        std::string reason;
    };

    /// @param receiver must outlive this; null where nobody is to hear.
    explicit Intake(IntakeReceiver* receiver) : Intake(receiver, Options()) {}
    Intake(IntakeReceiver* receiver, Options options);

    /// What would become of a record if it came now. An update by which more would be known than the options allow is
    /// REFUSED, and what is known stays as it was. Inside a snapshot the limits are for what will stand at its end;
    /// what it leaves out is known besides until then, old and new together twice as much at the most. That much
    /// stays known after a snapshot that was abandoned: nothing is added then until deletions or a snapshot's end
    /// have made room.
    Verdict judge(const FeedRecord& record) const;

    /// Judges a record, counts it, and hands it on where the store is to hear of it. The end of a snapshot first gives
    /// the state's defaults to every element that came since its beginning without the state that it had before, then
    /// deletes every element that did not come: what is told of never names what is gone already. Both go in the order
    /// of the types and of the ids. What the receiver throws makes the record FAILED, and so does a receiver that does
    /// not want to go on; a snapshot whose end fails is abandoned.
    Verdict accept(const FeedRecord& record);

    /// Counts a line that is no record.
    /// @param type element type code as far as the line told one, else 0.
    void countMalformed(int type, const std::string& fault);

    /// A snapshot that has begun will not end: it deletes nothing. The next one starts over.
    void abandonSnapshot() { _inSnapshot = false; }

    /// True between the two marks of a snapshot.
    bool inSnapshot() const { return _inSnapshot; }

    /// Snapshots taken whole.
    std::uint64_t snapshots() const { return _snapshots; }

    /// Elements of all types together; a state belongs to its element.
    std::size_t elements() const { return _elements.load(std::memory_order_relaxed); }

    /// Bytes of their fields' texts, as ElementSums counts them.
    std::uint64_t bytes() const { return _bytes.load(std::memory_order_relaxed); }

    IntakeCounts counts() const;

private:
    Verdict judgeUpdate(const FeedRecord& record) const;
    Verdict judgeSize(const ElementType& type, const FeedRecord& record) const;
    Verdict judgeDeletion(const FeedRecord& record) const;
    Verdict deliver(const FeedRecord& record);
    void update(const FeedRecord& record);
    void remove(int type, int id);
    Verdict endSnapshot();
    bool resetStates(const ElementType& state);
    bool removeLeftOut(const ElementType& type);
    bool mayGoOn();
    void noteSize();
    void count(const FeedRecord& record, const Verdict& verdict);
    void countStep(const ElementType& type, std::uint64_t TypeCounts::*count);

    IntakeReceiver* _receiver;
    Options _options;
    KnownElements _known;
    std::atomic<std::size_t> _elements{0};
    std::atomic<std::uint64_t> _bytes{0};
    std::uint64_t _snapshots = 0;
    bool _inSnapshot = false;

    mutable base::Mutex _countsMutex;
    IntakeCounts _counts PIS_GUARDED_BY(_countsMutex);
};

}  // namespace pis::feed

#endif
