#include "picture/PictureBuilder.h"

#include <memory>
#include <type_traits>
#include <utility>

#include "SignallingCodes.h"
#include "base/WallTime.h"
#include "feed/StopRecords.h"
#include "picture/StationRows.h"
#include "records/Members.h"
#include "records/TableDump.h"

namespace pis::picture {

using namespace SignallingCodes;

namespace {

/// Whether a record says itself what another one says. A service stop is compared without what its trip
/// stop adds, which it gets at the publication.
template <typename Record>
bool saysTheSame(const Record& one, const Record& other) {
    return records::sameRecord(one, other, records::Extent::ITS_OWN);
}

/// The record as a dump prints it, with signed times and one member more.
template <typename Record>
std::string jsonOf(const Record& record, const std::string& updatedAt) {
    std::string json = records::dumpLine(record, records::Times::SIGNED);
    json.pop_back();
    json += R"(,"updated_at":")";
    json += updatedAt;
    json += "\"}";
    return json;
}

/// Gives a service stop what its trip stop says; nothing where there is none.
void joinOrClear(ServiceStop& stop, const TripStop* tripStop) {
    feed::join(stop, tripStop != nullptr ? *tripStop : TripStop(0));
}

/// Moves a record in an index by what a getter says of it; a record that is not there stands nowhere.
template <typename Record>
void moveBy(int (Record::*key)() const, IndexEdits& edits, int id, const Record* before, const Record* after) {
    edits.move(id, before != nullptr ? (before->*key)() : 0, after != nullptr ? (after->*key)() : 0);
}

/// What a change takes up in the log, about: a row that has been replaced stands there alone.
std::size_t bytesOf(const Change& change) {
    constexpr std::size_t kEntry = 64;
    constexpr std::size_t kRecord = 256;
    return change.row != nullptr ? kEntry + kRecord + 2 * change.row->json.size() : kEntry;
}

}  // namespace

PictureBuilder::PictureBuilder(PublishedPicture& published, std::function<base::WallTime()> wallClock,
                               std::size_t loggedChanges, std::size_t loggedBytes)
    : _published(published),
      _wallClock(std::move(wallClock)),
      _loggedChanges(loggedChanges),
      _loggedBytes(loggedBytes) {}

// --- What comes in ------------------------------------------------------------------------------

void PictureBuilder::accept(const platform::EventQueue::Item& item) {
    std::visit(
        [this, &item](const auto& record) {
            using Record = std::decay_t<decltype(record)>;
            if constexpr (!std::is_same_v<Record, std::monostate>) {
                using Traits = records::TraitsOf<Record>;
                if (item.code == Traits::kUpdated) put(record);
                if (item.code == Traits::kDeleted) remove<Record>(item.id);
            }
        },
        item.record);
}

void PictureBuilder::acceptStop(const feed::FeedRecord& record) {
    if (record.id == 0) return;
    if (record.type == TRIP_STOP) put(feed::tripStopOf(record.id, record.fields));
    if (record.type == SERVICE_STOP) put(feed::serviceStopOf(record.id, record.fields));
}

void PictureBuilder::acceptDeletion(int type, int id) {
    if (type == TRIP_STOP || type == ALL_ELEMENTS) removeMatching<TripStop>(id);
    if (type == SERVICE_STOP || type == ALL_ELEMENTS) removeMatching<ServiceStop>(id);
}

/// The record stands as given from now on.
template <typename Record>
void PictureBuilder::put(const Record& record) {
    const auto* published = _picture.record<Record>(record.getId());
    if (published != nullptr && saysTheSame(*published, record)) {
        pending<Record>().erase(record.getId());
    } else {
        pending<Record>().insert_or_assign(record.getId(), record);
    }
}

/// There is no such record from now on.
template <typename Record>
void PictureBuilder::remove(int id) {
    if (_picture.table<Record>().find(id) == nullptr) {
        pending<Record>().erase(id);
    } else {
        pending<Record>().insert_or_assign(id, std::nullopt);
    }
}

template <typename Record>
void PictureBuilder::removeMatching(int id) {
    if (id != 0) return remove<Record>(id);
    pending<Record>().clear();
    _picture.table<Record>().forEach([this](int held, const auto&) { pending<Record>()[held] = std::nullopt; });
}

// --- What goes out ------------------------------------------------------------------------------

bool PictureBuilder::hasChanges() const {
    return std::apply([](const auto&... pending) { return (!pending.empty() || ...); }, _pending);
}

void PictureBuilder::publish() {
    if (hasChanges()) applyChanges();
    _picture.feed = _feed;
    _published.publish(std::make_shared<const Picture>(_picture));
}

void PictureBuilder::applyChanges() {
    const Picture before = _picture;
    ++_picture.revision;
    const std::string updatedAt = base::isoTime(_wallClock());
    std::vector<Change> changes;
    joinStops();
    records::forEachTable([&](auto of) { apply<typename decltype(of)::Record>(updatedAt, changes); });
    applyIndexes();
    logChanges(before, std::move(changes));
    freeze();
}

/// Brings the service stops up to date with their trip stops: those that changed themselves and those
/// whose trip stop did.
void PictureBuilder::joinStops() {
    auto& stops = pending<ServiceStop>();
    const auto& tripStops = pending<TripStop>();
    for (const auto& [tripStopId, tripStop] : tripStops) {
        for (const int id : idsUnder(_picture.stopsOfTripStop, tripStopId)) {
            if (stops.count(id) == 0) stops.emplace(id, *_picture.record<ServiceStop>(id));
        }
    }
    for (auto& [id, stop] : stops) {
        if (!stop) continue;
        const auto changed = tripStops.find(stop->getTripStopId());
        if (changed == tripStops.end()) {
            joinOrClear(*stop, _picture.record<TripStop>(stop->getTripStopId()));
        } else {
            joinOrClear(*stop, changed->second ? &*changed->second : nullptr);
        }
    }
}

/// Writes what changed in one table.
template <typename Record>
void PictureBuilder::apply(const std::string& updatedAt, std::vector<Change>& changes) {
    constexpr records::Table kTable = records::TraitsOf<Record>::kTable;
    auto& rows = std::get<TableOf<Record>>(_picture.tables);
    for (const auto& [id, record] : pending<Record>()) {
        const std::shared_ptr<const RowOf<Record>>* standing = rows.find(id);
        const std::shared_ptr<const RowOf<Record>> before = standing != nullptr ? *standing : nullptr;
        const Record* recordBefore = before != nullptr ? &before->record : nullptr;
        if (record && before != nullptr && records::sameRecord(*record, *recordBefore)) continue;

        std::shared_ptr<const RowOf<Record>> row;
        if (record) {
            RowOf<Record> contents{{id, _picture.revision, jsonOf(*record, updatedAt)}, *record};
            row = std::make_shared<const RowOf<Record>>(std::move(contents));
            rows.set(id, row);
        } else {
            rows.erase(id);
        }
        link(id, recordBefore, record ? &*record : nullptr);
        std::size_t& bytes = _picture.tableBytes[records::indexOf(kTable)];
        if (before != nullptr) bytes -= before->json.size();
        if (row != nullptr) bytes += row->json.size();
        _picture.tableRevisions[records::indexOf(kTable)] = _picture.revision;
        changes.push_back({kTable, id, std::move(row)});
    }
    pending<Record>().clear();
}

void PictureBuilder::link(int id, const PlatformInfo* before, const PlatformInfo* after) {
    moveBy(&PlatformInfo::getStationId, _platformsOfStation, id, before, after);
}

void PictureBuilder::link(int id, const TripStop* before, const TripStop* after) {
    moveBy(&TripStop::getPlatformId, _tripStopsAtPlatform, id, before, after);
    moveBy(&TripStop::getTripId, _tripStopsOfTrip, id, before, after);
}

void PictureBuilder::link(int id, const Service* before, const Service* after) {
    moveBy(&Service::getTripId, _servicesOfTrip, id, before, after);
}

void PictureBuilder::link(int id, const ServiceStop* before, const ServiceStop* after) {
    moveBy(&ServiceStop::getServiceId, _stopsOfService, id, before, after);
    moveBy(&ServiceStop::getTripStopId, _stopsOfTripStop, id, before, after);
}

void PictureBuilder::applyIndexes() {
    _platformsOfStation.applyTo(_picture.platformsOfStation);
    _tripStopsAtPlatform.applyTo(_picture.tripStopsAtPlatform);
    _tripStopsOfTrip.applyTo(_picture.tripStopsOfTrip);
    _servicesOfTrip.applyTo(_picture.servicesOfTrip);
    _stopsOfService.applyTo(_picture.stopsOfService);
    _stopsOfTripStop.applyTo(_picture.stopsOfTripStop);
}

/// Adds the changes of this revision to the log and takes the oldest revisions out of it.
void PictureBuilder::logChanges(const Picture& before, std::vector<Change> changes) {
    Logged logged;
    logged.changes = changes.size();
    for (const Change& change : changes) logged.bytes += bytesOf(change);
    for (auto& [station, ofStation] : changesOfStations(before, _picture, changes)) {
        logged.bytes += ofStation.size() * sizeof(Change);
        logged.stations.push_back(station);
        _picture.log.add(_picture.revision, station, std::move(ofStation));
    }
    _picture.changes += changes.size();
    _picture.log.add(_picture.revision, ChangeLog::kEveryStation, std::move(changes));

    _changesInLog += logged.changes;
    _bytesInLog += logged.bytes;
    _logged.push_back(std::move(logged));
    while (_changesInLog > _loggedChanges || _bytesInLog > _loggedBytes) {
        const Logged& oldest = _logged.front();
        _picture.log.forget(_picture.log.reachesBackTo() + 1, oldest.stations);
        _changesInLog -= oldest.changes;
        _bytesInLog -= oldest.bytes;
        _logged.pop_front();
    }
}

/// The published copies share what stands here now.
void PictureBuilder::freeze() {
    std::apply([](auto&... rows) { (rows.freeze(), ...); }, _picture.tables);
    for (auto* index : {&_picture.platformsOfStation, &_picture.tripStopsAtPlatform, &_picture.tripStopsOfTrip,
                        &_picture.servicesOfTrip, &_picture.stopsOfService, &_picture.stopsOfTripStop}) {
        index->freeze();
    }
    _picture.log.freeze();
}

}  // namespace pis::picture
