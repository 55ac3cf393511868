// What belongs to a station: the station, its platforms, the trip stops and service stops there, and the trips and
// services that call or pass. Lines and vehicles belong to none.
#ifndef PIS_PICTURE_STATIONROWS_H
#define PIS_PICTURE_STATIONROWS_H

#include <array>
#include <map>
#include <unordered_map>
#include <vector>

#include "picture/Picture.h"

namespace pis::picture {

/// Ids of rows that stand in the picture, ascending, for each table.
using RowIds = std::array<std::vector<int>, records::kTables>;

/// The rows that belong to a station. Costs what belongs to it.
RowIds rowsOfStation(const Picture& picture, int stationId);

/// The same from the other side: the stations that a row belongs to. For many rows of one picture.
class StationsOfRows {
public:
    /// @param picture must outlive this.
    explicit StationsOfRows(const Picture& picture) : _picture(picture) {}

    /// Ascending, each once.
    std::vector<int> of(records::Table table, const Row& row);

private:
    int stationOfPlatform(int platformId) const;
    int stationOfTripStop(int tripStopId) const;
    const std::vector<int>& stationsOfTrip(int tripId);

    const Picture& _picture;
    std::unordered_map<int, std::vector<int>> _ofTrips;
};

/// What a publication changes for each station: rows that came to belong to it or changed there, and without a row
/// those that no longer do.
/// @param changes what the publication changed, each record once.
std::map<int, std::vector<Change>> changesOfStations(const Picture& before, const Picture& after,
                                                     const std::vector<Change>& changes);

}  // namespace pis::picture

#endif
