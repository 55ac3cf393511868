#include "service/ChangeStream.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "base/JsonText.h"
#include "service/Chunks.h"

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

/// A `reset` event of a picture's rows, under the same name for the same readers.
std::shared_ptr<const RowDocument> resetOf(const std::shared_ptr<const picture::Picture>& picture,
                                           const ChangeFilter& filter, const std::string& token) {
    const std::string name = filter.key() + "/" + std::to_string(picture->revision) + "/";
    std::string before = "event: reset\nid: " + token + "\ndata: {\"revision\":\"" + token + "\",\"tables\":{";
    std::vector<RowDocument::Section> sections;
    for (const records::Table table : records::kEveryTable) {
        if (!filter.includes(table)) continue;
        before.append("\"").append(tableName(table)).append("\":[");
        sections.push_back({std::move(before), table});
        before = "],";
    }
    std::optional<picture::RowIds> rows;
    if (filter.isOfStation()) rows = rowsOfStation(*picture, filter.stationId);
    return std::make_shared<const RowDocument>(name, picture, std::move(sections), "]}}\n\n", std::move(rows));
}

/// Whether a reader who is given an older picture, and then what came since, is served as well as with the latest one:
/// most of what it is sent stands already made.
bool isCloseEnough(const RowDocument& older, const picture::Picture& picture) {
    constexpr std::uint64_t kFew = 64;
    constexpr std::uint64_t kShare = 16;
    std::uint64_t rows = 0;
    for (const records::Table table : records::kEveryTable) rows += picture.size(table);
    return picture.knowsSince(older.revision()) && picture.changes - older.changes() <= std::max(kFew, rows / kShare);
}

}  // namespace

ChangeStream::Reader::Reader(ChangeFilter filter, std::optional<picture::Revision> knows)
    : _filter(filter), _key(filter.key() + "/") {
    if (knows) _knows = picture::LogPlace{*knows, 0};
}

ChangeStream::ChangeStream(const RevisionTokens& tokens, TextAccount& account, DocumentTexts& documents,
                           std::function<std::string(const picture::Picture&)> tick,
                           std::function<Clock::time_point()> clock)
    : _tokens(tokens),
      _account(account),
      _documents(documents),
      _tick(std::move(tick)),
      _clock(std::move(clock)),
      _steps(DocumentTexts::roomIn(account)) {}

ChangeStream::Piece ChangeStream::next(Reader& reader, const std::shared_ptr<const picture::Picture>& picture,
                                       bool tick) {
    forgetTicks(picture);
    if (reader._knows && !picture->knowsSince(reader._knows->revision)) reader._knows.reset();
    if (reader._knows) return nextStep(reader, *picture, tick);

    if (!reader._whole) {
        reader._whole.emplace(wholeFor(reader, picture), DocumentTexts::CHUNKS);
    } else if (!picture->knowsSince(reader._whole->document().revision())) {
        return {nullptr, 0, Piece::LEFT_BEHIND};
    }
    return nextOfWhole(reader);
}

/// What leads to the latest picture holds only for that, and not for long.
void ChangeStream::forgetTicks(const std::shared_ptr<const picture::Picture>& picture) {
    const Clock::time_point now = _clock();
    if (_latestOf.lock() == picture && now - _latestSince < kFresh) return;
    _latest.clear();
    _last.reset();
    _latestOf = picture;
    _latestSince = now;
}

// --- The whole ----------------------------------------------------------------------------------

/// Readers who come while others are being given a picture are given the same one where it will do: however many come,
/// and however slowly they read, few pictures are held.
std::shared_ptr<const RowDocument> ChangeStream::wholeFor(const Reader& reader,
                                                          const std::shared_ptr<const picture::Picture>& picture) {
    constexpr std::size_t kWorthALook = 1024;
    if (_wholes.size() > kWorthALook) {
        for (auto each = _wholes.begin(); each != _wholes.end();) {
            each = each->second.expired() ? _wholes.erase(each) : std::next(each);
        }
    }
    std::weak_ptr<const RowDocument>& latest = _wholes[reader._key];
    std::shared_ptr<const RowDocument> whole = latest.lock();
    if (whole == nullptr || !isCloseEnough(*whole, *picture)) {
        whole = resetOf(picture, reader._filter, _tokens.of(picture->revision));
        latest = whole;
    }
    return whole;
}

ChangeStream::Piece ChangeStream::nextOfWhole(Reader& reader) {
    Piece piece{_documents.next(*reader._whole)};
    if (piece.chunk == nullptr) piece.state = Piece::WAIT;
    if (reader._whole->isAtEnd()) {
        reader._knows = picture::LogPlace{reader._whole->document().revision(), 0};
        reader._whole.reset();
    }
    return piece;
}

// --- From revision to revision ------------------------------------------------------------------

ChangeStream::Piece ChangeStream::nextStep(Reader& reader, const picture::Picture& picture, bool tick) {
    const auto take = [&reader, tick](const Step& step) {
        reader._knows = step.leadsTo;
        return Piece{step.isTick && !tick ? nullptr : step.chunk, step.coalesced,
                     step.isLatest ? Piece::LATEST : Piece::MORE};
    };
    if (_last && _lastFrom == *reader._knows && _lastKey == reader._key) return take(*_last);
    _last = stepFrom(reader, picture);
    if (!_last) return {nullptr, 0, Piece::WAIT};
    _lastFrom = *reader._knows;
    _lastKey = reader._key;
    return take(*_last);
}

/// The step that a reader takes; nothing where no text may be made now.
std::optional<ChangeStream::Step> ChangeStream::stepFrom(const Reader& reader, const picture::Picture& picture) {
    const std::string name = fmt::format("{}{}.{}", reader._key, reader._knows->revision, reader._knows->parts);
    if (const auto made = _latest.find(name); made != _latest.end()) return made->second;
    if (const Step* made = _steps.find(name)) return *made;
    if (!_account.hasRoom()) return std::nullopt;
    Step step = makeStep(reader, picture);
    if (step.isLatest) {
        _latest.emplace(name, step);
    } else {
        // It stays true for later pictures: what it leaves out because that has changed again comes with a later step.
        _steps.put(name, step, step.chunk->size());
    }
    return step;
}

ChangeStream::Step ChangeStream::makeStep(const Reader& reader, const picture::Picture& picture) const {
    Step step;
    step.leadsTo = *reader._knows;
    step.isLatest = true;
    std::string events;
    std::size_t seen = 0;
    const auto append = [&](const picture::Change& change, bool isOfLatestRevision) {
        if (!reader._filter.includes(change.table)) return;
        if (change.row == nullptr) {
            appendEvent(events, "remove", removalOf(change));
        } else if (isOfLatestRevision || picture.find(change.table, change.id) == change.row) {
            appendEvent(events, "update", change.row->json);
        } else {
            ++step.coalesced;
        }
    };
    const auto visit = [&](const picture::LogPlace& place, const std::vector<picture::Change>& changes) {
        const bool meets = place.revision / kMeetingPoint != step.leadsTo.revision / kMeetingPoint;
        if (seen > 0 && (meets || events.size() >= _documents.pieceBytes() || seen >= kPieceChanges)) {
            step.isLatest = false;
            return false;
        }
        const bool isOfLatestRevision = place.revision + 1 == picture.revision;
        for (const picture::Change& change : changes) append(change, isOfLatestRevision);
        seen += changes.size();
        step.leadsTo = place;
        return true;
    };
    picture.log.forEachAfter(reader._filter.stationId, step.leadsTo, visit);
    if (step.isLatest) {
        step.leadsTo = {picture.revision, 0};
        step.isTick = events.empty();
        appendEvent(events, "revision", _tick(picture), _tokens.of(picture.revision));
    } else if (events.empty()) {
        events = ": on the way\n\n";  // an empty chunk would be the last one
    }
    step.chunk = _account.keep(chunkOf(events));
    return step;
}

}  // namespace pis::service
