#include "feed/Intake.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <utility>

namespace pis::feed {

using namespace SignallingCodes;

namespace {

/// Rows of the counts: the element types, and behind them what belongs to none.
enum Behind : std::size_t { EVERY_TYPE, SNAPSHOT, UNKNOWN };

std::size_t rowOf(Behind row) {
    return elementTypes().size() + row;
}

/// Lines that tell no code tell 0, which as a type is unknown.
std::size_t rowOf(int code) {
    const ElementType* type = findElementType(code);
    return type == nullptr ? rowOf(UNKNOWN) : static_cast<std::size_t>(type - elementTypes().data());
}

std::size_t rowOf(const FeedRecord& record) {
    switch (record.kind) {
        case FeedRecord::SNAPSHOT_BEGIN:
        case FeedRecord::SNAPSHOT_END: return rowOf(SNAPSHOT);
        case FeedRecord::DELETION: return record.type == ALL_ELEMENTS ? rowOf(EVERY_TYPE) : rowOf(record.type);
        case FeedRecord::UPDATE: break;
    }
    return rowOf(record.type);
}

IntakeCounts emptyCounts() {
    IntakeCounts counts;
    for (const ElementType& type : elementTypes()) counts.push_back({type.name});
    for (const char* name : {"every type", "snapshot", "unknown"}) counts.push_back({name});
    return counts;
}

Intake::Verdict ignored(std::string reason) {
    return {Outcome::IGNORED, std::move(reason)};
}

std::string subjectOf(const ElementType& type, int id) {
    return std::string(type.name) + " " + std::to_string(id);
}

template <typename Number>
Number twice(Number number) {
    return number > std::numeric_limits<Number>::max() / 2 ? std::numeric_limits<Number>::max() : 2 * number;
}

/// Why an element may not become what it would; empty where it may. What does not grow always may.
std::string faultOf(const KnownElements::Growth& growth, const ElementSums& most, int id, const std::string& ofWhat) {
    const auto& [now, then] = growth;
    const std::string subject = "id " + std::to_string(id);
    if (then.elements > now.elements && then.elements > most.elements) {
        return subject + " is new, and " + std::to_string(most.elements) + " elements" + ofWhat + " are the most";
    }
    if (then.bytes > now.bytes && then.bytes > most.bytes) {
        const std::uint64_t more = then.bytes - now.bytes;
        return subject + " takes " + std::to_string(more) + (more == 1 ? " byte more, and " : " bytes more, and ") +
               std::to_string(most.bytes) + " bytes of all elements" + ofWhat + " are the most";
    }
    return "";
}

}  // namespace

Intake::Intake(IntakeReceiver* receiver, Options options)
    : _receiver(receiver), _options(std::move(options)), _counts(emptyCounts()) {}

// --- Verdicts -----------------------------------------------------------------------------------

Intake::Verdict Intake::judge(const FeedRecord& record) const {
    switch (record.kind) {
        case FeedRecord::UPDATE: return judgeUpdate(record);
        case FeedRecord::DELETION: return judgeDeletion(record);
        case FeedRecord::SNAPSHOT_BEGIN: return {};
        case FeedRecord::SNAPSHOT_END: break;
    }
    return _inSnapshot ? Verdict() : ignored("the snapshot that ends here has not begun");
}

Intake::Verdict Intake::judgeUpdate(const FeedRecord& record) const {
    const ElementType* type = findElementType(record.type);
    if (type == nullptr) return ignored("unknown code " + std::to_string(record.type) + ": the record is ignored");
    if (type->isStatus()) {
        if (record.id == 1) return {};
        return ignored(subjectOf(*type, record.id) + ": only record 1 is taken, this one is ignored");
    }
    if (record.id == 0) return ignored(subjectOf(*type, 0) + ": a record with id 0 is ignored");
    return judgeSize(*type, record);
}

Intake::Verdict Intake::judgeSize(const ElementType& type, const FeedRecord& record) const {
    const std::size_t bytes = record.fields.textBytes();
    const ElementSums most{_options.maxElements, _options.maxBytes};
    const auto judged = [&](const KnownElements::Growth& growth, const ElementSums& limit, const char* ofWhat) {
        const std::string fault = faultOf(growth, limit, record.id, ofWhat);
        return fault.empty() ? Verdict() : Verdict{Outcome::REFUSED, fault};
    };
    if (!_inSnapshot) return judged(_known.growthOfAll(type, record.id, bytes), most, "");
    Verdict verdict = judged(_known.growthOfStanding(type, record.id, bytes), most, " of a snapshot");
    if (verdict.outcome != Outcome::DELIVERED) return verdict;
    return judged(_known.growthOfAll(type, record.id, bytes), {twice(most.elements), twice(most.bytes)},
                  " inside a snapshot, old and new together,");
}

Intake::Verdict Intake::judgeDeletion(const FeedRecord& record) const {
    if (record.type == ALL_ELEMENTS) return {};
    const ElementType* type = findElementType(record.type);
    if (type != nullptr && type->hasTable()) return {};
    return ignored("a deletion with code " + std::to_string(record.type) + " removes nothing");
}

// --- What goes on -------------------------------------------------------------------------------

Intake::Verdict Intake::accept(const FeedRecord& record) {
    Verdict verdict = judge(record);
    if (verdict.outcome == Outcome::DELIVERED) {
        try {
            verdict = deliver(record);
        } catch (const std::exception& error) {
            verdict = {Outcome::FAILED, std::string("the store threw: ") + error.what()};
        } catch (...) {
            verdict = {Outcome::FAILED, "the store threw what is no exception"};
        }
        if (verdict.outcome == Outcome::FAILED && record.kind == FeedRecord::SNAPSHOT_END) abandonSnapshot();
        noteSize();
    }
    count(record, verdict);
    return verdict;
}

Intake::Verdict Intake::deliver(const FeedRecord& record) {
    switch (record.kind) {
        case FeedRecord::UPDATE: update(record); break;
        case FeedRecord::DELETION: remove(record.type, record.id); break;
        case FeedRecord::SNAPSHOT_BEGIN:
            _known.beginSnapshot();
            _inSnapshot = true;
            break;
        case FeedRecord::SNAPSHOT_END: return endSnapshot();
    }
    return {};
}

void Intake::update(const FeedRecord& record) {
    const ElementType& type = *findElementType(record.type);
    if (!type.isStatus()) _known.note(type, record.id, record.fields.textBytes());
    if (_receiver != nullptr) _receiver->onUpdate(record);
}

void Intake::remove(int type, int id) {
    if (_receiver != nullptr) _receiver->onDeletion(type, id);
    _known.forget(type, id);
}

Intake::Verdict Intake::endSnapshot() {
    const auto& types = elementTypes();
    const bool isWhole =
        std::all_of(types.begin(), types.end(), [this](const ElementType& type) { return resetStates(type); }) &&
        std::all_of(types.begin(), types.end(), [this](const ElementType& type) { return removeLeftOut(type); });
    if (!isWhole) return {Outcome::FAILED, "told to stop before everything that it leaves out was deleted"};
    _inSnapshot = false;
    ++_snapshots;
    return {};
}

/// Gives a state's defaults to the elements that came without it. False when the receiver wants no more.
bool Intake::resetStates(const ElementType& state) {
    if (state.hasTable() || state.isStatus()) return true;
    FeedRecord defaults;
    defaults.type = state.code;
    for (const int id : _known.withOldState(state.table)) {
        if (!mayGoOn()) return false;
        defaults.id = id;
        if (_receiver != nullptr) _receiver->onUpdate(defaults);
        _known.forgetState(state.table, id);
        countStep(state, &TypeCounts::reset);
    }
    return true;
}

/// Deletes the elements that did not come. False when the receiver wants no more.
bool Intake::removeLeftOut(const ElementType& type) {
    if (!type.hasTable()) return true;
    for (const int id : _known.leftOut(type.table)) {
        if (!mayGoOn()) return false;
        remove(type.code, id);
        countStep(type, &TypeCounts::leftOut);
    }
    return true;
}

bool Intake::mayGoOn() {
    noteSize();
    return _receiver == nullptr || _receiver->mayGoOn();
}

void Intake::noteSize() {
    _elements.store(_known.all().elements, std::memory_order_relaxed);
    _bytes.store(_known.all().bytes, std::memory_order_relaxed);
}

// --- Counts -------------------------------------------------------------------------------------

void Intake::count(const FeedRecord& record, const Verdict& verdict) {
    const base::MutexLock lock(_countsMutex);
    TypeCounts& type = _counts[rowOf(record)];
    OutcomeCount& outcome = type.of(verdict.outcome);
    ++outcome.count;
    if (verdict.outcome == Outcome::DELIVERED) {
        if (record.kind == FeedRecord::DELETION) ++type.deletions;
        return;
    }
    outcome.lastReason = verdict.reason;
    outcome.lastTime = _options.wallClock();
}

void Intake::countStep(const ElementType& type, std::uint64_t TypeCounts::*count) {
    const base::MutexLock lock(_countsMutex);
    ++(_counts[rowOf(type.code)].*count);
}

void Intake::countMalformed(int type, const std::string& fault) {
    const base::MutexLock lock(_countsMutex);
    OutcomeCount& outcome = _counts[rowOf(type)].of(Outcome::MALFORMED);
    ++outcome.count;
    outcome.lastReason = fault;
    outcome.lastTime = _options.wallClock();
}

IntakeCounts Intake::counts() const {
    const base::MutexLock lock(_countsMutex);
    return _counts;
}

}  // namespace pis::feed
