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
#include "picture/PersistentMap.h"
#include "records/Tables.h"

namespace pis::picture {

/// Counts the changes of the picture, for all tables together; 0 before the first.
using Revision = std::uint64_t;

/// What every table keeps of a record.
struct Row {
    int id;
    Revision revision;  ///< At which the record came to be as it is.
    std::string json;   ///< The record as one JSON object: the keys of a dump, then "updated_at".
};

/// A row with its record. A service stop's record has what its trip stop says filled in.
template <typename Record>
struct RowOf : Row {
    Record record;
};

template <typename Record>
using TableOf = PersistentMap<int, std::shared_ptr<const RowOf<Record>>>;

/// Ids in ascending order.
using Ids = std::shared_ptr<const std::vector<int>>;

/// One record that changed: its row, or null when it was removed.
struct Change {
    records::Table table;
    int id;
    std::shared_ptr<const Row> row;
};

/// Changes, each record once with its latest state, in the order of the latest changes.
struct Changes {
    std::vector<Change> latest;
    std::size_t coalesced = 0;  ///< Changes left out because the same record changed again later.
};

struct Picture {
    Revision revision = 0;
    std::array<Revision, records::kTables> tableRevisions{};  ///< Of the last change of each table.
    feed::FeedStatus feed;

    records::PerTable<TableOf>::Tuple tables;

    /// At which a record that stood already last came to belong to another station, or a platform or a
    /// trip stop came or went: readers of one station's rows who know an older revision start over.
    Revision membershipRevision = 0;

    // Who names whom, by what the records themselves say. No entry is empty, and none stands under 0,
    // which names nobody.
    PersistentMap<int, Ids> platformsOfStation;
    PersistentMap<int, Ids> tripStopsAtPlatform;
    PersistentMap<int, Ids> tripStopsOfTrip;
    PersistentMap<int, Ids> servicesOfTrip;
    PersistentMap<int, Ids> stopsOfService;   ///< Service stops.
    PersistentMap<int, Ids> stopsOfTripStop;  ///< Service stops.

    /// Changes by revision, the latest ones; a client that knows an older revision starts over.
    PersistentMap<Revision, std::shared_ptr<const std::vector<Change>>> log;
    Revision logReachesBackTo = 0;  ///< Oldest revision whose successors are all in the log.

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

    /// What changed after a revision; nothing when that is too long ago to say, or still to come. Costs
    /// what changed.
    std::optional<Changes> changesSince(Revision since) const;
};

/// The ids that stand under a key, empty where none do; valid as long as the picture.
const std::vector<int>& idsUnder(const PersistentMap<int, Ids>& index, int key);

}  // namespace pis::picture

#endif
