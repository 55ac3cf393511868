// What changed of late, for everybody and for each station by itself, so that a reader who knows an earlier revision
// is told what came and what went. Shared by the pictures: a copy costs a reference count.
#ifndef PIS_PICTURE_CHANGELOG_H
#define PIS_PICTURE_CHANGELOG_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <tuple>
#include <vector>

#include "picture/PersistentMap.h"
#include "picture/Row.h"
#include "records/Tables.h"

namespace pis::picture {

/// One record that changed: its row, or null when it was removed. In the log of a station the row is there too when it
/// came to belong to the station without changing itself, and null when it went to another one.
struct Change {
    records::Table table;
    int id;
    std::shared_ptr<const Row> row;
};

/// Where a reader of the log stands: all revisions up to this one are known, and of the next one so many parts.
struct LogPlace {
    Revision revision = 0;
    std::uint32_t parts = 0;

    bool operator==(const LogPlace& other) const { return revision == other.revision && parts == other.parts; }
    bool operator<(const LogPlace& other) const {
        return revision != other.revision ? revision < other.revision : parts < other.parts;
    }
};

/// [Threading] As PersistentMap: one thread writes, any thread reads copies made after freeze().
class ChangeLog {
public:
    /// The log of the whole picture.
    static constexpr int kEveryStation = 0;

    /// Changes of one revision that a reader takes in one go, and the bytes of their rows that close a part early.
    static constexpr std::size_t kPartChanges = 256;
    static constexpr std::size_t kPartBytes = std::size_t{64} << 10;

    /// Oldest revision whose successors are all here; a reader who knows less starts over.
    Revision reachesBackTo() const { return _reachesBackTo; }

    /// Calls visit(place, changes) for the parts that come after a place, in their order, with the place that a
    /// reader stands at who knows the part; until visit returns false.
    template <typename Visit>
    void forEachAfter(int stationId, LogPlace known, Visit visit) const {
        _parts.forEachFrom(Key{stationId, known.revision + 1, known.parts}, [&](const Key& key, const Part& part) {
            return key.stationId == stationId && visit(LogPlace{key.revision - 1, key.number + 1}, *part);
        });
    }

    /// The changes of a revision, for everybody or for one station, in parts.
    void add(Revision revision, int stationId, std::vector<Change> changes);

    /// Forgets what is logged under a revision, for everybody and for these stations; the oldest goes first.
    void forget(Revision oldest, const std::vector<int>& stations);

    /// From now on changes leave the copies that were made alone.
    void freeze() { _parts.freeze(); }

private:
    struct Key {
        int stationId;
        Revision revision;
        std::uint32_t number;  // of the part

        auto order() const { return std::tie(stationId, revision, number); }
        bool operator<(const Key& other) const { return order() < other.order(); }
        bool operator==(const Key& other) const { return order() == other.order(); }
    };
    using Part = std::shared_ptr<const std::vector<Change>>;

    void erase(Revision revision, int stationId);

    PersistentMap<Key, Part> _parts;
    Revision _reachesBackTo = 0;
};

}  // namespace pis::picture

#endif
