// What became of the records that came in, by element type.
#ifndef PIS_FEED_OUTCOMES_H
#define PIS_FEED_OUTCOMES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "base/WallTime.h"

namespace pis::feed {

/// What becomes of a record.
enum class Outcome : std::size_t {
    DELIVERED,
    IGNORED,    ///< Means nothing to the store: an unknown type, id 0, a deletion that deletes nothing ever.
    MALFORMED,  ///< The line was none.
    REFUSED,    ///< A new element beyond the limit.
    FAILED      ///< Whoever it was delivered to threw, or stopped before it was done.
};

constexpr std::size_t kOutcomes = 5;

/// "delivered", "ignored", "malformed", "refused", "failed".
const char* outcomeName(Outcome outcome);

struct OutcomeCount {
    std::uint64_t count = 0;
    std::string lastReason;   ///< For people; empty for DELIVERED and before the first.
    base::WallTime lastTime;  ///< Of the last one that has a reason; the clock's epoch before the first.
};

/// Counts of one element type, or of what belongs to none.
struct TypeCounts {
    std::string name;  ///< "trip stop"; "every type" for deletions of all types, "snapshot" for snapshot marks,
                       ///< "unknown" for every other code and for lines that tell none.
    std::array<OutcomeCount, kOutcomes> outcomes = {};
    std::uint64_t deletions = 0;  ///< Deletion records among those delivered.
    std::uint64_t leftOut = 0;    ///< Elements deleted since a snapshot left them out; no records.
    std::uint64_t reset = 0;  ///< States given their defaults since a snapshot brought the element alone; no records.

    const OutcomeCount& of(Outcome outcome) const { return outcomes[static_cast<std::size_t>(outcome)]; }
    OutcomeCount& of(Outcome outcome) { return outcomes[static_cast<std::size_t>(outcome)]; }
};

/// Every element type in the order of the codes, then "every type", "snapshot" and "unknown".
using IntakeCounts = std::vector<TypeCounts>;

}  // namespace pis::feed

#endif
