// The picture of the railway at one moment, for every reader outside the feeding thread: tables, what
// changed of late, and how the feed is. Immutable once it is published.
#ifndef PIS_PICTURE_PICTURE_H
#define PIS_PICTURE_PICTURE_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "SignallingController.h"
#include "feed/FeedStatus.h"
#include "picture/ChangeLog.h"
#include "picture/PersistentMap.h"
#include "picture/Row.h"
#include "records/Tables.h"

namespace pis::picture {

template <typename Record>
using TableOf = PersistentMap<int, std::shared_ptr<const RowOf<Record>>>;

/// Ids in ascending order.
using Ids = std::shared_ptr<const std::vector<int>>;

/// Changes, each record once with its latest state, in the order of the latest changes.
struct Changes {
    std::vector<Change> latest;
    std::size_t coalesced = 0;  ///< Changes left out because the same record changed again later.
};

struct Picture {
    Revision revision = 0;
    std::array<Revision, records::kTables> tableRevisions{};  ///< Of the last change of each table.
    std::array<std::size_t, records::kTables> tableBytes{};   ///< Of the rows' JSON of each table.
    std::uint64_t changes = 0;                                ///< Of single records, from the first revision on.
    feed::FeedStatus feed;

    records::PerTable<TableOf>::Tuple tables;

    // Who names whom, by what the records themselves say. No entry is empty, and none stands under 0,
    // which names nobody.
    PersistentMap<int, Ids> platformsOfStation;
    PersistentMap<int, Ids> tripStopsAtPlatform;
    PersistentMap<int, Ids> tripStopsOfTrip;
    PersistentMap<int, Ids> servicesOfTrip;
    PersistentMap<int, Ids> stopsOfService;   ///< Service stops.
    PersistentMap<int, Ids> stopsOfTripStop;  ///< Service stops.

    /// The latest changes; a client that knows a revision from before them starts over.
    ChangeLog log;

    /// The table of a type of record.
    template <typename Record>
    const TableOf<Record>& table() const {
        return std::get<TableOf<Record>>(tables);
    }

    /// A record of a table, or null; valid as long as the picture.
    template <typename Record>
    const Record* record(int id) const {
        const std::shared_ptr<const RowOf<Record>>* row = table<Record>().find(id);
        return row != nullptr ? &(*row)->record : nullptr;
    }

    std::size_t size(records::Table table) const;
    Revision revisionOf(records::Table table) const { return tableRevisions[records::indexOf(table)]; }

    /// A record's row, or null.
    std::shared_ptr<const Row> find(records::Table table, int id) const;

    /// Every row of a table in the order of the ids.
    std::vector<std::shared_ptr<const Row>> rowsOf(records::Table table) const;

    /// Calls visit(row) for the rows of a table in the order of the ids, from one on, until it returns false.
    template <typename Visit>
    void forEachRowFrom(records::Table table, int from, Visit visit) const {
        records::forEachTable([&](auto of) {
            using Record = typename decltype(of)::Record;
            if (records::TraitsOf<Record>::kTable != table) return;
            this->table<Record>().forEachFrom(from, [&visit](int, const auto& row) { return visit(*row); });
        });
    }

    /// Whether the log tells everything that came after a revision.
    bool knowsSince(Revision since) const { return since >= log.reachesBackTo() && since <= revision; }

    /// What changed after a revision, in the whole picture or for one station; nothing when that is too long ago to
    /// say, or still to come. Costs what changed.
    std::optional<Changes> changesSince(Revision since, int stationId = ChangeLog::kEveryStation) const;
};

/// The ids that stand under a key, empty where none do; valid as long as the picture.
const std::vector<int>& idsUnder(const PersistentMap<int, Ids>& index, int key);

}  // namespace pis::picture

#endif
