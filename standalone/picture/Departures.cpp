#include "picture/Departures.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "base/JsonText.h"
#include "picture/NextCalls.h"
#include "records/Enumerators.h"

namespace pis::picture {

namespace {

/// A platform's name without the station's in front: "Harbour Central 1" is "1" there.
std::string trackOf(const PlatformInfo& platform, const Station* station) {
    std::string name = platform.getName();
    if (station == nullptr) return name;
    const std::string front = station->getName() + " ";
    if (name.compare(0, front.size(), front) != 0) return name;
    const std::size_t track = name.find_first_not_of(' ', front.size());
    return track != std::string::npos ? name.substr(track) : name;
}

/// Writes the parts of the answer into one text.
class DepartureWriter {
public:
    DepartureWriter(PictureReader& reader, const ServiceMoment& now) : _reader(reader), _now(now) {}

    void writePlace(const DepartureQuery& query) {
        if (query.stationId != 0) {
            const auto* station = _reader.record<Station>(query.stationId);
            _json.key("station").beginObject().key("id").number(query.stationId);
            text("name", station != nullptr ? station->getName() : "");
            text("abrv", station != nullptr ? station->getAbrv() : "");
        } else {
            const auto* platform = _reader.record<PlatformInfo>(query.platformId);
            const Station* station = stationOf(platform);
            _json.key("platform").beginObject().key("id").number(query.platformId);
            text("name", platform != nullptr ? platform->getName() : "");
            text("track", platform != nullptr ? trackOf(*platform, station) : "");
            _json.key("station_id").number(platform != nullptr ? platform->getStationId() : 0);
            text("station_name", station != nullptr ? station->getName() : "");
        }
        _json.endObject();
    }

    void writeCall(const Call& call) {
        const Service& service = *call.service;
        _json.beginObject().key("service_id").number(service.getId());
        _json.key("service_stop_id");
        call.serviceStop != nullptr ? _json.number(call.serviceStop->getId()) : _json.raw("null");
        _json.key("trip_id").number(service.getTripId());
        text("name", call.run->trip->getName());
        writeLine(call);
        writeDestination(call);
        _json.key("platform").beginObject().key("id").number(call.platform->getId());
        text("name", call.platform->getName());
        text("track", trackOf(*call.platform, stationOf(call.platform)));
        _json.endObject();
        writeTimes(call.scheduled, call.expected());
        _json.key("delay").number(call.delay);
        writeState(call);
        writeVehicle(service.getVehicleId());
        writeStopsAhead(call);
        _json.endObject();
    }

    base::JsonText& json() { return _json; }

private:
    void text(const char* key, const std::string& value) { _json.key(key).text(value); }

    /// By its enumerator's name; a code without one as the number.
    template <typename Enumeration>
    void code(const char* key, Enumeration value) {
        const char* name = records::enumeratorName(value);
        _json.key(key);
        name != nullptr ? _json.text(name) : _json.number(value);
    }

    void writeTimes(std::int64_t scheduled, std::int64_t expected) {
        _json.key("scheduled").number(scheduled);
        text("scheduled_text", _now.text(scheduled));
        _json.key("expected").number(expected);
        text("expected_text", _now.text(expected));
    }

    void writeState(const Call& call) {
        const Service& service = *call.service;
        code("state", service.getState());
        text("state_text", service.getStateText());
        code("platform_state", call.platform->getState());
        _json.key("at_platform").flag(call.isAtPlatform());
        _json.key("is_stopping").flag(call.stop->isStopping());
        _json.key("cancelled").flag(call.isCancelled());
        _json.key("last_train").flag(service.getIsLastTrain());
        code("priority", call.run->trip->getPriority());
        text("priority_text", call.run->trip->getPriorityText());
    }

    /// The service's own line, else its trip's.
    void writeLine(const Call& call) {
        const auto* line = _reader.record<Line>(call.service->getLineId());
        if (line == nullptr) line = _reader.record<Line>(call.run->trip->getLineId());
        _json.key("line");
        if (line == nullptr) {
            _json.raw("null");
            return;
        }
        _json.beginObject().key("id").number(line->getId());
        text("name", line->getName());
        text("abrv", line->getAbrv());
        _json.endObject();
    }

    /// The station that the service names, else that of its last call.
    void writeDestination(const Call& call) {
        const auto* station = _reader.record<Station>(call.service->getDestinationStationId());
        if (station == nullptr) station = stationOfLast(*call.pattern);
        _json.key("destination");
        if (station == nullptr) {
            _json.raw("null");
            return;
        }
        _json.beginObject().key("id").number(station->getId());
        text("name", station->getName());
        _json.endObject();
    }

    const Station* stationOfLast(const Pattern& pattern) {
        for (auto id = pattern.stops.rbegin(); id != pattern.stops.rend(); ++id) {
            const auto* stop = _reader.record<TripStop>(*id);
            if (stop == nullptr) continue;
            const std::optional<PlatformName> platform = _reader.platformName(stop->getPlatformId());
            return platform ? _reader.record<Station>(platform->stationId()) : nullptr;
        }
        return nullptr;
    }

    void writeVehicle(int id) {
        const std::optional<VehicleLabel> vehicle = _reader.vehicle(id);
        _json.key("vehicle");
        if (!vehicle) {
            _json.raw("null");
            return;
        }
        _json.beginObject().key("id").number(id);
        text("name", vehicle->name());
        _json.key("cars").number(vehicle->cars()).endObject();
    }

    void writeStopsAhead(const Call& call) {
        _json.key("stops_ahead").beginArray();
        findStopsOf(call.service->getId());
        for (std::size_t place = call.place + 1; place < call.pattern->stops.size(); ++place) {
            const auto* stop = _reader.record<TripStop>(call.pattern->stops[place]);
            if (stop != nullptr && stop->isStopping()) writeStopAhead(call, *stop);
        }
        _json.endArray();
    }

    /// Times are those of the arrival. A stop at a platform that is not held has no name to go by.
    void writeStopAhead(const Call& call, const TripStop& stop) {
        const std::string& place = placeOfStop(stop.getPlatformId());
        if (place.empty()) return;
        const ServiceStop* serviceStop = stopThatRealises(stop.getId());
        const std::int64_t scheduled = call.start + secondsOf(stop.getSchArvOffset());
        const std::int64_t delay = serviceStop != nullptr ? secondsOf(serviceStop->getArvDelay()) : 0;
        _json.beginObject().raw(place);
        writeTimes(scheduled, scheduled + delay);
        _json.endObject();
    }

    /// What is said of a platform at which a train stops further on, members of an object; empty where the platform
    /// is not held. Most trains of a board go on to the same ones.
    const std::string& placeOfStop(int platformId) {
        const auto [known, isNew] = _places.try_emplace(platformId);
        if (!isNew) return known->second;
        const std::optional<PlatformName> platform = _reader.platformName(platformId);
        if (!platform) return known->second;
        const auto* station = _reader.record<Station>(platform->stationId());
        base::JsonText place;
        place.key("station_id").number(platform->stationId());
        place.key("name").text(station != nullptr ? station->getName() : platform->name());
        place.key("platform_id").number(platformId);
        return known->second = place.str();
    }

    void findStopsOf(int serviceId) {
        _stops.clear();
        for (const int id : _reader.stopsOfService(serviceId)) {
            const auto* stop = _reader.record<ServiceStop>(id);
            _stops.emplace_back(stop->getTripStopId(), stop);
        }
        std::stable_sort(_stops.begin(), _stops.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    }

    /// Of several the first counts; null where none has come.
    const ServiceStop* stopThatRealises(int tripStopId) const {
        const auto found = std::lower_bound(_stops.begin(), _stops.end(), tripStopId,
                                            [](const auto& stop, int id) { return stop.first < id; });
        return found != _stops.end() && found->first == tripStopId ? found->second : nullptr;
    }

    const Station* stationOf(const PlatformInfo* platform) {
        return platform != nullptr ? _reader.record<Station>(platform->getStationId()) : nullptr;
    }

    PictureReader& _reader;
    const ServiceMoment& _now;
    base::JsonText _json;
    std::unordered_map<int, std::string> _places;            // by platform
    std::vector<std::pair<int, const ServiceStop*>> _stops;  // of the service that is written, by trip stop
};

}  // namespace

bool knows(const Picture& picture, const DepartureQuery& query) {
    if (!picture.feed.ready) return true;
    return query.stationId != 0 ? picture.table<Station>().find(query.stationId) != nullptr
                                : picture.table<PlatformInfo>().find(query.platformId) != nullptr;
}

bool hasTimetable(const Picture& picture) {
    return picture.feed.ready && !picture.table<TripStop>().empty();
}

std::string departuresJson(CallBook& book, const DepartureQuery& query, const ServiceMoment& now, Reads& reads) {
    const bool hasData = hasTimetable(book.picture());
    PictureReader reader(book, reads);
    NextCalls next(reader, now);
    std::vector<Call> calls;
    if (hasData) {
        const std::size_t least = std::max(query.limit, std::size_t{1});  // one tells whether there are any
        calls = query.stationId != 0 ? next.at(reader.platformsOfStation(query.stationId), least)
                                     : next.at({query.platformId}, least);
    }

    DepartureWriter writer(reader, now);
    base::JsonText& json = writer.json();
    json.beginObject();
    writer.writePlace(query);
    json.key("status").text(!hasData ? "no_data" : calls.empty() ? "no_trains" : "departures");
    json.key("departures").beginArray();
    for (std::size_t i = 0; i < std::min(calls.size(), query.limit); ++i) writer.writeCall(calls[i]);
    json.endArray().endObject();
    return json.str();
}

std::string departuresJson(std::shared_ptr<const Picture> picture, const DepartureQuery& query,
                           const ServiceMoment& now) {
    CallBook book(std::move(picture));
    Reads reads;
    return departuresJson(book, query, now, reads);
}

std::string boardsJson(const Picture& picture) {
    base::JsonText json;
    json.beginObject().key("stations").beginArray();
    picture.table<Station>().forEach([&](int id, const std::shared_ptr<const RowOf<Station>>& row) {
        const Station& station = row->record;
        json.beginObject().key("id").number(id).key("name").text(station.getName()).key("platforms").beginArray();
        for (const int platformId : idsUnder(picture.platformsOfStation, id)) {
            const auto* platform = picture.record<PlatformInfo>(platformId);
            if (platform == nullptr) continue;
            json.beginObject().key("id").number(platformId).key("name").text(platform->getName());
            json.key("track").text(trackOf(*platform, &station)).endObject();
        }
        json.endArray().endObject();
    });
    json.endArray().endObject();
    return json.str();
}

}  // namespace pis::picture
