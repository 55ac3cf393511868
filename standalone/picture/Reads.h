// What an answer was made of: every fact that was looked up in a picture, so that it can be told whether a later
// picture says otherwise.
#ifndef PIS_PICTURE_READS_H
#define PIS_PICTURE_READS_H

#include <boost/unordered/unordered_flat_set.hpp>
#include <cstddef>
#include <cstdint>

#include "records/Tables.h"

namespace pis::picture {

/// What one can ask a picture for under an id.
enum class FactKind : std::size_t {
    // The tables' records themselves come first, by the numbers of the tables.
    PLATFORM_NAME = records::kTables,  ///< PlatformName alone.
    VEHICLE_LABEL,                     ///< VehicleLabel alone.
    PLATFORMS_OF_STATION,              ///< An index's entry.
    TRIP_STOPS_AT_PLATFORM,
    TRIP_STOPS_OF_TRIP,
    STOPS_OF_SERVICE,
    CALLS_AT_TRIP_STOP  ///< CallsAtStop.
};

/// Something that a picture says, be it that there is no such thing.
struct Fact {
    FactKind kind;
    int id;
};

inline Fact recordIn(records::Table table, int id) {
    return {static_cast<FactKind>(records::indexOf(table)), id};
}

/// A set of facts.
class Reads {
public:
    void note(Fact fact) { _facts.insert(keyOf(fact)); }
    bool hold(Fact fact) const { return _facts.count(keyOf(fact)) != 0; }

    /// Memory that they take.
    std::size_t bytes() const { return _facts.bucket_count() * (sizeof(std::uint64_t) + 1); }

private:
    static std::uint64_t keyOf(Fact fact) {
        return (static_cast<std::uint64_t>(fact.kind) << 32U) | static_cast<std::uint32_t>(fact.id);
    }

    boost::unordered_flat_set<std::uint64_t> _facts;
};

}  // namespace pis::picture

#endif
