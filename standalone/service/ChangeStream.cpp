#include "service/ChangeStream.h"

#include "base/JsonText.h"

namespace pis::service {

namespace {

void appendEvent(std::string& events, std::string_view kind, std::string_view data, const std::string& id = {}) {
    events.append("event: ").append(kind).append("\n");
    if (!id.empty()) events.append("id: ").append(id).append("\n");
    events.append("data: ").append(data).append("\n\n");
}

std::string removalOf(const picture::Change& change) {
    base::JsonText json;
    json.beginObject().key("table").text(tableName(change.table)).key("id").number(change.id).endObject();
    return json.str();
}

std::string wholeOf(const picture::Picture& picture, const ChangeFilter& filter, const std::string& token) {
    std::optional<StationRows> station;
    if (filter.stationId != 0) station.emplace(picture, filter.stationId);
    base::JsonText json;
    json.beginObject().key("revision").text(token).key("tables").beginObject();
    for (const records::Table table : records::kEveryTable) {
        if (!filter.includes(table)) continue;
        json.key(tableName(table)).beginArray();
        for (const auto& row : station ? station->of(picture, table) : picture.rowsOf(table)) json.raw(row->json);
        json.endArray();
    }
    json.endObject().endObject();
    return json.str();
}

}  // namespace

ChangeStream::Piece ChangeStream::piece(const std::shared_ptr<const picture::Picture>& picture,
                                        const ChangeFilter& filter, std::optional<picture::Revision> knows) {
    const Clock::time_point now = _clock();
    if (_of != picture || now - _since >= kFresh || _bytes > kRoom) {
        _pieces.clear();
        _bytes = 0;
        _of = picture;
        _since = now;
    }
    const std::string key = filter.key() + "/" + (knows ? std::to_string(*knows) : "");
    const auto made = _pieces.find(key);
    if (made != _pieces.end()) return made->second;
    const Piece& piece = _pieces.emplace(key, make(*picture, filter, knows)).first->second;
    _bytes += key.size() + piece.events->size();
    return piece;
}

ChangeStream::Piece ChangeStream::make(const picture::Picture& picture, const ChangeFilter& filter,
                                       std::optional<picture::Revision> knows) const {
    const std::string token = _tokens.of(picture.revision);
    std::string events;
    Piece piece;

    // Where rows have moved from one station to another, only the whole says what belongs to one now.
    const bool moved = filter.stationId != 0 && knows && *knows < picture.membershipRevision;
    const std::optional<picture::Changes> changes = knows && !moved ? picture.changesSince(*knows) : std::nullopt;
    if (changes) {
        std::optional<StationRows> station;
        if (filter.stationId != 0 && !changes->latest.empty()) station.emplace(picture, filter.stationId);
        for (const picture::Change& change : changes->latest) {
            if (!filter.includes(change.table)) continue;
            if (change.row == nullptr) {
                appendEvent(events, "remove", removalOf(change));
            } else if (!station || station->include(change.table, *change.row)) {
                appendEvent(events, "update", change.row->json);
            }
        }
        piece.coalesced = changes->coalesced;
    } else {
        appendEvent(events, "reset", wholeOf(picture, filter, token), token);
    }
    appendEvent(events, "revision", _tick(picture), token);
    piece.events = std::make_shared<const std::string>(std::move(events));
    return piece;
}

}  // namespace pis::service
