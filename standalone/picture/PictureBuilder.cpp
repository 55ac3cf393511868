#include "picture/PictureBuilder.h"

#include <memory>
#include <type_traits>
#include <utility>

#include "SignallingCodes.h"
#include "base/WallTime.h"
#include "feed/StopRecords.h"
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
/// Returns whether it stands elsewhere now.
template <typename Record>
bool moveBy(int (Record::*key)() const, IndexEdits& edits, int id, const Record* before, const Record* after) {
    const int from = before != nullptr ? (before->*key)() : 0;
    const int to = after != nullptr ? (after->*key)() : 0;
    edits.move(id, from, to);
    return from != to;
}

}  // namespace

PictureBuilder::PictureBuilder(PublishedPicture& published, std::function<base::WallTime()> wallClock,
                               std::size_t loggedChanges)
    : _published(published), _wallClock(std::move(wallClock)), _loggedChanges(loggedChanges) {}

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
    ++_picture.revision;
    const std::string updatedAt = base::isoTime(_wallClock());
    std::vector<Change> changes;
    joinStops();
    records::forEachTable([&](auto of) { apply<typename decltype(of)::Record>(updatedAt, changes); });
    applyIndexes();
    logChanges(std::move(changes));
    freeze();
}

/// Brings the service stops up to date with their trip stops: those that changed themselves and those
/// whose trip stop did.
void PictureBuilder::joinStops() {
    auto& stops = pending<ServiceStop>();
    const auto& tripStops = pending<TripStop>();
    for (const auto& [tripStopId, tripStop] : tripStops) {
        for (const int id : idsUnder(_stopsOfTripStop, tripStopId)) {
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
        _picture.tableRevisions[records::indexOf(kTable)] = _picture.revision;
        changes.push_back({kTable, id, std::move(row)});
    }
    pending<Record>().clear();
}

// What stands at a platform or runs a trip belongs to other stations when the platform or a stop of the trip
// moves, although its own row stays as it is. A service or a service stop takes only itself along.

void PictureBuilder::link(int id, const PlatformInfo* before, const PlatformInfo* after) {
    if (moveBy(&PlatformInfo::getStationId, _platformsOfStation, id, before, after)) noteMembership();
}

void PictureBuilder::link(int id, const TripStop* before, const TripStop* after) {
    if (moveBy(&TripStop::getPlatformId, _tripStopsAtPlatform, id, before, after)) noteMembership();
    if (moveBy(&TripStop::getTripId, _tripStopsOfTrip, id, before, after)) noteMembership();
}

void PictureBuilder::link(int id, const Service* before, const Service* after) {
    const bool moved = moveBy(&Service::getTripId, _servicesOfTrip, id, before, after);
    if (moved && before != nullptr && after != nullptr) noteMembership();
}

void PictureBuilder::link(int id, const ServiceStop* before, const ServiceStop* after) {
    moveBy(&ServiceStop::getServiceId, _stopsOfService, id, before, after);
    const bool moved = moveBy(&ServiceStop::getTripStopId, _joins, id, before, after);
    if (moved && before != nullptr && after != nullptr) noteMembership();
}

void PictureBuilder::applyIndexes() {
    _platformsOfStation.applyTo(_picture.platformsOfStation);
    _tripStopsAtPlatform.applyTo(_picture.tripStopsAtPlatform);
    _tripStopsOfTrip.applyTo(_picture.tripStopsOfTrip);
    _servicesOfTrip.applyTo(_picture.servicesOfTrip);
    _stopsOfService.applyTo(_picture.stopsOfService);
    _joins.applyTo(_stopsOfTripStop);
}

/// Adds the changes of this revision to the log and takes the oldest revisions out of it.
void PictureBuilder::logChanges(std::vector<Change> changes) {
    _logged += changes.size();
    _picture.log.set(_picture.revision, std::make_shared<const std::vector<Change>>(std::move(changes)));
    while (_logged > _loggedChanges) {
        const Revision oldest = ++_picture.logReachesBackTo;
        _logged -= (*_picture.log.find(oldest))->size();
        _picture.log.erase(oldest);
    }
}

/// The published copies share what stands here now.
void PictureBuilder::freeze() {
    std::apply([](auto&... rows) { (rows.freeze(), ...); }, _picture.tables);
    for (auto* index : {&_picture.platformsOfStation, &_picture.tripStopsAtPlatform, &_picture.tripStopsOfTrip,
                        &_picture.servicesOfTrip, &_picture.stopsOfService}) {
        index->freeze();
    }
    _picture.log.freeze();
}

}  // namespace pis::picture
