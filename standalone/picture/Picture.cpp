#include "picture/Picture.h"

#include <algorithm>
#include <unordered_set>

namespace pis::picture {

namespace {

/// Calls visit with one of the picture's tables.
template <typename Visit>
auto withTable(const Picture& picture, records::Table table, Visit visit) {
    return records::withTable(table, [&](auto of) { return visit(picture.table<typename decltype(of)::Record>()); });
}

/// A record among all tables.
std::uint64_t keyOf(const Change& change) {
    return (static_cast<std::uint64_t>(records::indexOf(change.table)) << 32U) | static_cast<std::uint32_t>(change.id);
}

}  // namespace

const std::vector<int>& idsUnder(const PersistentMap<int, Ids>& index, int key) {
    static const std::vector<int> none;
    const Ids* ids = index.find(key);
    return ids != nullptr ? **ids : none;
}

std::size_t Picture::size(records::Table table) const {
    return withTable(*this, table, [](const auto& rows) { return rows.size(); });
}

std::shared_ptr<const Row> Picture::find(records::Table table, int id) const {
    return withTable(*this, table, [id](const auto& rows) -> std::shared_ptr<const Row> {
        const auto* row = rows.find(id);
        return row != nullptr ? *row : nullptr;
    });
}

std::vector<std::shared_ptr<const Row>> Picture::rowsOf(records::Table table) const {
    return withTable(*this, table, [](const auto& rows) {
        std::vector<std::shared_ptr<const Row>> all;
        all.reserve(rows.size());
        rows.forEach([&all](int, const auto& row) { all.push_back(row); });
        return all;
    });
}

std::optional<Changes> Picture::changesSince(Revision since, int stationId) const {
    if (!knowsSince(since)) return std::nullopt;
    std::vector<const Change*> all;
    log.forEachAfter(stationId, {since, 0}, [&all](const LogPlace&, const std::vector<Change>& part) {
        for (const Change& change : part) all.push_back(&change);
        return true;
    });
    Changes found;
    std::unordered_set<std::uint64_t> seen;
    for (auto change = all.rbegin(); change != all.rend(); ++change) {
        if (seen.insert(keyOf(**change)).second) found.latest.push_back(**change);
    }
    std::reverse(found.latest.begin(), found.latest.end());
    found.coalesced = all.size() - found.latest.size();
    return found;
}

}  // namespace pis::picture
