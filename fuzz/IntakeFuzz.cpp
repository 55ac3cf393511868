// In go records of a feed, limits, and what the receiver does: it may throw, or want no more. Verdicts, what the
// receiver is told, what is known and how much that is are those of a book that is kept here in plain maps.
#include <algorithm>
#include <map>
#include <stdexcept>

#include "FuzzCheck.h"
#include "Input.h"
#include "feed/Intake.h"

namespace {

using namespace pis::feed;
using namespace SignallingCodes;

/// What a receiver is told, as a text: "update 3 12 fields 2", "deletion 3 12", "may go on".
using Steps = std::vector<std::string>;

std::string updateStep(int type, int id, std::size_t fields) {
    return "update " + std::to_string(type) + " " + std::to_string(id) + " fields " + std::to_string(fields);
}
std::string deletionStep(int type, int id) {
    return "deletion " + std::to_string(type) + " " + std::to_string(id);
}
const std::string kMayGoOn = "may go on";

/// Ends what it is told at one step: it throws there, or wants no more.
class Receiver : public IntakeReceiver {
public:
    void onUpdate(const FeedRecord& record) override { hear(updateStep(record.type, record.id, record.fields.size())); }
    void onDeletion(int type, int id) override { hear(deletionStep(type, id)); }
    bool mayGoOn() override {
        steps.push_back(kMayGoOn);
        return steps.size() != endsAt;
    }

    std::size_t endsAt = 0;  // 0 for never
    bool throwsAnything = false;
    Steps steps;

private:
    void hear(std::string step) {
        steps.push_back(std::move(step));
        if (steps.size() != endsAt) return;
        if (throwsAnything) throw 1;
        throw std::runtime_error("told to");
    }
};

// --- The book ---

struct Part {
    bool came = false;   // ever
    bool isNew = false;  // since the latest snapshot began
    std::uint64_t bytes = 0;
};
struct Element {
    Part own;
    Part state;

    bool isNew() const { return own.isNew || state.isNew; }
};
struct Sums {
    std::uint64_t elements = 0;
    std::uint64_t bytes = 0;
};

class Book {
public:
    Book(std::uint64_t elements, std::uint64_t bytes) : _most{elements, bytes} {}

    /// Takes a record where the receiver ends what it is told at a step. Adds the steps.
    Outcome take(const FeedRecord& record, std::size_t endsAt, Steps& steps) {
        _endsAt = endsAt;
        _steps = &steps;
        const Outcome outcome = outcomeOf(record);
        if (outcome != Outcome::DELIVERED) return outcome;
        if (deliver(record)) return Outcome::DELIVERED;
        if (record.kind == FeedRecord::SNAPSHOT_END) inSnapshot = false;
        return Outcome::FAILED;
    }

    Sums all() const {
        Sums sums;
        for (const auto& [key, element] : _elements) {
            ++sums.elements;
            sums.bytes += element.own.bytes + element.state.bytes;
        }
        return sums;
    }

    bool inSnapshot = false;
    std::uint64_t snapshots = 0;

private:
    using Key = std::pair<int, int>;  // code of the table, id
    using Elements = std::map<Key, Element>;

    static Sums standing(const Elements& elements) {
        Sums sums;
        for (const auto& [key, element] : elements) {
            if (!element.isNew()) continue;
            ++sums.elements;
            sums.bytes += element.own.bytes + (element.state.isNew ? element.state.bytes : 0);
        }
        return sums;
    }

    static bool isBeyond(const Sums& now, const Sums& then, const Sums& most) {
        return (then.elements > now.elements && then.elements > most.elements) ||
               (then.bytes > now.bytes && then.bytes > most.bytes);
    }

    Outcome outcomeOf(const FeedRecord& record) {
        const ElementType* type = findElementType(record.type);
        switch (record.kind) {
            case FeedRecord::SNAPSHOT_BEGIN: return Outcome::DELIVERED;
            case FeedRecord::SNAPSHOT_END: return inSnapshot ? Outcome::DELIVERED : Outcome::IGNORED;
            case FeedRecord::DELETION:
                return record.type == ALL_ELEMENTS || (type != nullptr && type->hasTable()) ? Outcome::DELIVERED
                                                                                            : Outcome::IGNORED;
            case FeedRecord::UPDATE: break;
        }
        if (type == nullptr) return Outcome::IGNORED;
        if (type->isStatus()) return record.id == 1 ? Outcome::DELIVERED : Outcome::IGNORED;
        if (record.id == 0) return Outcome::IGNORED;
        const Elements before = _elements;
        const Sums allBefore = all();
        note(*type, record);
        const Sums allThen = all();
        const Sums twice{2 * _most.elements, 2 * _most.bytes};
        const bool isRefused =
            inSnapshot ? isBeyond(standing(before), standing(_elements), _most) || isBeyond(allBefore, allThen, twice)
                       : isBeyond(allBefore, allThen, _most);
        _elements = before;
        return isRefused ? Outcome::REFUSED : Outcome::DELIVERED;
    }

    void note(const ElementType& type, const FeedRecord& record) {
        Element& element = _elements[{type.table, record.id}];
        (type.hasTable() ? element.own : element.state) = {true, true, record.fields.textBytes()};
    }

    /// False where the receiver ends it.
    bool step(std::string what) {
        _steps->push_back(std::move(what));
        return _steps->size() != _endsAt;
    }

    bool deliver(const FeedRecord& record) {
        switch (record.kind) {
            case FeedRecord::UPDATE: {
                const ElementType& type = *findElementType(record.type);
                if (!type.isStatus()) note(type, record);
                return step(updateStep(record.type, record.id, record.fields.size()));
            }
            case FeedRecord::DELETION: {
                if (!step(deletionStep(record.type, record.id))) return false;
                for (auto known = _elements.begin(); known != _elements.end();) {
                    const bool goes = (record.type == ALL_ELEMENTS || known->first.first == record.type) &&
                                      (record.id == 0 || known->first.second == record.id);
                    known = goes ? _elements.erase(known) : std::next(known);
                }
                return true;
            }
            case FeedRecord::SNAPSHOT_BEGIN:
                for (auto& known : _elements) known.second.own.isNew = known.second.state.isNew = false;
                inSnapshot = true;
                return true;
            case FeedRecord::SNAPSHOT_END: break;
        }
        if (!resetStates() || !deleteOld()) return false;
        inSnapshot = false;
        ++snapshots;
        return true;
    }

    bool resetStates() {
        for (const ElementType& type : elementTypes()) {
            if (type.hasTable() || type.isStatus()) continue;
            for (auto& [key, element] : _elements) {
                const bool isOld = element.isNew() && element.state.came && !element.state.isNew;
                if (key.first != type.table || !isOld) continue;
                if (!step(kMayGoOn) || !step(updateStep(type.code, key.second, 0))) return false;
                element.state = {};
            }
        }
        return true;
    }

    bool deleteOld() {
        for (auto known = _elements.begin(); known != _elements.end();) {
            if (known->second.isNew()) {
                ++known;
                continue;
            }
            if (!step(kMayGoOn) || !step(deletionStep(known->first.first, known->first.second))) return false;
            known = _elements.erase(known);
        }
        return true;
    }

    const Sums _most;
    Elements _elements;
    std::size_t _endsAt = 0;
    Steps* _steps = nullptr;
};

// --- What comes in ---

FeedRecord someRecord(Input& input) {
    constexpr int kIds = 5;
    constexpr std::size_t kLongestText = 12;
    FeedRecord record;
    switch (input.upTo(12)) {
        case 1: record.kind = FeedRecord::SNAPSHOT_BEGIN; return record;
        case 2: record.kind = FeedRecord::SNAPSHOT_END; return record;
        case 3: record.kind = FeedRecord::DELETION; break;
        default: break;
    }
    const auto& types = elementTypes();
    const auto type = static_cast<std::size_t>(input.upTo(static_cast<int>(types.size()) + 2)) - 1;
    record.type = type < types.size() ? types[type].code : type == types.size() ? ALL_ELEMENTS : input.any<int>();
    record.id = input.once(20) ? input.any<int>() : input.upTo(kIds + 1) - 1;
    if (record.kind == FeedRecord::DELETION) return record;
    for (int fields = input.upTo(4); fields < 4; ++fields) {
        input.once(5) ? record.fields.appendMissing() : record.fields.append(input.text(kLongestText));
    }
    return record;
}

std::uint64_t recordsOf(const IntakeCounts& counts, Outcome outcome) {
    std::uint64_t records = 0;
    for (const TypeCounts& type : counts) records += type.of(outcome).count;
    return records;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Intake::Options options;
    options.wallClock = [] { return pis::base::WallTime(); };
    if (input.once(2)) options.maxElements = static_cast<std::size_t>(input.upTo(8));
    if (input.once(2)) options.maxBytes = static_cast<std::uint64_t>(input.upTo(100));
    constexpr std::uint64_t kPlenty = std::uint64_t{1} << 40;
    const std::uint64_t mostElements = std::min<std::uint64_t>(options.maxElements, kPlenty);
    const std::uint64_t mostBytes = std::min(options.maxBytes, kPlenty);
    Book book(mostElements, mostBytes);
    Receiver receiver;
    Intake intake(&receiver, options);

    std::map<Outcome, std::uint64_t> outcomes;
    bool wasAbandoned = false;
    while (!input.isAtEnd()) {
        if (input.once(20)) {
            wasAbandoned = wasAbandoned || intake.inSnapshot();
            intake.abandonSnapshot();
            book.inSnapshot = false;
        }
        if (input.once(20)) {
            intake.countMalformed(input.any<int>(), "no record");
            ++outcomes[Outcome::MALFORMED];
        }
        const FeedRecord record = someRecord(input);
        receiver.endsAt = input.once(5) ? static_cast<std::size_t>(input.upTo(6)) : 0;
        receiver.throwsAnything = receiver.endsAt != 0 && input.once(4);
        receiver.steps.clear();
        const Outcome judged = intake.judge(record).outcome;
        const Intake::Verdict verdict = intake.accept(record);
        Steps steps;
        const Outcome outcome = book.take(record, receiver.endsAt, steps);
        ++outcomes[outcome];

        requireEqual(std::string(outcomeName(verdict.outcome)), std::string(outcomeName(outcome)), "the outcome");
        require(judged == (outcome == Outcome::FAILED ? Outcome::DELIVERED : outcome), "what was said before");
        require(verdict.reason.empty() == (outcome == Outcome::DELIVERED), "the reason: " + verdict.reason);
        require(receiver.steps == steps, "what the receiver is told");
        requireEqual(intake.inSnapshot(), book.inSnapshot, "whether a snapshot is under way");
        requireEqual(intake.snapshots(), book.snapshots, "whole snapshots");
        const Sums all = book.all();
        requireEqual(std::uint64_t{intake.elements()}, all.elements, "elements");
        requireEqual(intake.bytes(), all.bytes, "bytes");

        wasAbandoned = wasAbandoned || (record.kind == FeedRecord::SNAPSHOT_END && outcome == Outcome::FAILED);
        const std::uint64_t times = intake.inSnapshot() || wasAbandoned ? 2 : 1;
        require(all.elements <= times * mostElements, "too many elements");
        require(all.bytes <= times * mostBytes, "too many bytes");
    }
    const IntakeCounts counts = intake.counts();
    for (const auto& [outcome, count] : outcomes) requireEqual(recordsOf(counts, outcome), count, outcomeName(outcome));
    return 0;
}
