// In go changes of records and publications. Every picture's indexes and sums are what a look through its tables gives,
// its log keeps within its bounds, and what it says has changed since an earlier picture makes that one's rows its own:
// of the whole railway, and of each station.
#include <deque>
#include <limits>
#include <map>
#include <string_view>
#include <vector>

#include "FuzzCheck.h"
#include "FuzzedRailway.h"
#include "StationModel.h"

namespace {

using namespace pis::picture;
namespace records = pis::records;

constexpr int kStations = RandomRailway::kStations + 1;  // the last is none of the railway's

// --- What stands in a picture by the way ---

using Index = std::map<int, std::vector<int>>;

/// The ids of a table's records by what they name.
template <typename Record>
Index indexOf(const Picture& picture, int (Record::*named)() const) {
    Index index;
    picture.table<Record>().forEach([&](int id, const auto& row) {
        const int key = (row->record.*named)();
        if (key != 0) index[key].push_back(id);
    });
    return index;
}

void requireSame(const PersistentMap<int, Ids>& kept, const Index& found, const char* what) {
    Index index;
    kept.forEach([&index](int key, const Ids& ids) { index.emplace(key, *ids); });
    require(index == found, std::string("index ") + what);
}

void checkIndexes(const Picture& picture) {
    requireSame(picture.platformsOfStation, indexOf(picture, &PlatformInfo::getStationId), "platforms of station");
    requireSame(picture.tripStopsAtPlatform, indexOf(picture, &TripStop::getPlatformId), "trip stops at platform");
    requireSame(picture.tripStopsOfTrip, indexOf(picture, &TripStop::getTripId), "trip stops of trip");
    requireSame(picture.servicesOfTrip, indexOf(picture, &Service::getTripId), "services of trip");
    requireSame(picture.stopsOfService, indexOf(picture, &ServiceStop::getServiceId), "stops of service");
    requireSame(picture.stopsOfTripStop, indexOf(picture, &ServiceStop::getTripStopId), "stops of trip stop");
}

void checkSums(const Picture& picture) {
    for (const records::Table table : records::kEveryTable) {
        const std::string name(records::tableName(table));
        std::size_t bytes = 0;
        for (const auto& row : picture.rowsOf(table)) {
            bytes += row->json.size();
            require(row->revision <= picture.revisionOf(table), "a row is younger than its table: " + row->json);
        }
        requireEqual(picture.tableBytes[records::indexOf(table)], bytes, "bytes of " + name);
        require(picture.revisionOf(table) <= picture.revision, name + " are younger than their picture");
    }
}

void checkLog(const Picture& picture) {
    const Revision oldest = picture.log.reachesBackTo();
    require(oldest <= picture.revision, "the log begins behind its end");
    for (int station = ChangeLog::kEveryStation; station <= kStations; ++station) {
        std::size_t changes = 0;
        picture.log.forEachAfter(station, {}, [&](const LogPlace& place, const std::vector<Change>& part) {
            require(place.revision >= oldest && place.revision < picture.revision, "a part that is none of the log's");
            require(!part.empty() && part.size() <= ChangeLog::kPartChanges, "the size of a part");
            changes += part.size();
            return true;
        });
        if (station == ChangeLog::kEveryStation) require(changes <= FuzzedRailway::kLoggedChanges, "a log too long");
    }
}

// --- From one picture to the next ---

using Key = std::pair<records::Table, int>;
using Rows = std::map<Key, std::string_view>;

/// A picture, and what belongs to each station.
struct Held {
    explicit Held(std::shared_ptr<const Picture> held) : picture(std::move(held)) {
        const StationModel stations(*picture);
        for (const records::Table table : records::kEveryTable) {
            picture->forEachRowFrom(table, std::numeric_limits<int>::min(), [&](const Row& row) {
                rows[ChangeLog::kEveryStation].emplace(Key{table, row.id}, row.json);
                for (const int station : stations.of(table, row.id)) {
                    if (station != 0) rows[station].emplace(Key{table, row.id}, row.json);
                }
                return true;
            });
        }
    }

    const Rows& rowsOf(int station) const {
        static const Rows none;
        const auto found = rows.find(station);
        return found != rows.end() ? found->second : none;
    }

    std::shared_ptr<const Picture> picture;
    std::map<int, Rows> rows;  // that of every station holds all rows
};

void checkStep(const Held& before, const Held& now, int station) {
    const Revision since = before.picture->revision;
    const auto changes = now.picture->changesSince(since, station);
    require(changes.has_value() == (since >= now.picture->log.reachesBackTo()), "what the log says that it knows");
    if (!changes) return;
    Rows rows = before.rowsOf(station);
    for (const Change& change : changes->latest) {
        const Key key{change.table, change.id};
        rows.erase(key);
        if (change.row != nullptr) rows.emplace(key, change.row->json);
    }
    if (rows == now.rowsOf(station)) return;
    require(false, "what station " + std::to_string(station) + " is told from revision " + std::to_string(since) +
                       " to " + std::to_string(now.picture->revision));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    FuzzedRailway railway(input);
    std::deque<Held> held;
    held.emplace_back(railway.published().current());
    while (!input.isAtEnd()) {
        railway.change();
        if (!input.once(6)) continue;
        held.emplace_back(railway.publish());
        checkLog(*held.back().picture);
        const auto before = static_cast<std::size_t>(input.upTo(static_cast<int>(held.size()))) - 1;
        checkStep(held[before], held.back(), input.upTo(kStations + 1) - 1);
    }
    const Held last(railway.publish());
    checkIndexes(*last.picture);
    checkSums(*last.picture);
    checkLog(*last.picture);
    for (int station = ChangeLog::kEveryStation; station <= kStations; ++station) {
        checkStep(held.back(), last, station);
        checkStep(held[held.size() / 2], last, station);
    }
    return 0;
}
