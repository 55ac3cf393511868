// Which rows of the picture a client wants: some tables, or what belongs to one station.
#ifndef PIS_SERVICE_CHANGEFILTER_H
#define PIS_SERVICE_CHANGEFILTER_H

#include <bitset>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "picture/Picture.h"
#include "records/Tables.h"

namespace pis::service {

/// A choice of rows. The empty one takes everything.
struct ChangeFilter {
    std::bitset<records::kTables> tables = std::bitset<records::kTables>().set();
    int stationId = 0;  ///< 0 for every station.

    bool includes(records::Table table) const { return tables.test(records::indexOf(table)); }

    /// The same text for the same choice.
    std::string key() const { return tables.to_string() + "/" + std::to_string(stationId); }
};

/// What belongs to one station in one picture: the station, its platforms, the trip stops and service
/// stops there, and the trips and services that call or pass. Lines and vehicles belong to none.
class StationRows {
public:
    /// Keeps no reference to the picture.
    StationRows(const picture::Picture& picture, int stationId);

    /// Whether a row that stands in the picture belongs to the station.
    bool include(records::Table table, const picture::Row& row) const;

    /// Every row of a table that does, in the order of the ids.
    std::vector<std::shared_ptr<const picture::Row>> of(const picture::Picture& picture, records::Table table) const;

private:
    int _stationId;
    std::unordered_set<int> _platforms;
    std::unordered_set<int> _tripStops;
    std::unordered_set<int> _trips;
};

/// The rows of a table that a filter takes, in the order of the ids.
std::vector<std::shared_ptr<const picture::Row>> rowsOf(const picture::Picture& picture, records::Table table,
                                                        const ChangeFilter& filter);

}  // namespace pis::service

#endif
