#include "DepartureModel.h"

#include <algorithm>
#include <map>
#include <optional>
#include <sstream>
#include <tuple>
#include <vector>

#include "base/JsonText.h"
#include "records/Enumerators.h"

namespace pis::picture {

namespace {

/// Every record of a type, by id.
template <typename Record>
std::map<int, Record> allOf(const Picture& picture) {
    std::map<int, Record> all;
    picture.table<Record>().forEach([&all](int id, const auto& row) { all.emplace(id, row->record); });
    return all;
}

std::int64_t signedTime(unsigned long time) {
    return static_cast<std::int32_t>(time);
}

std::vector<int> listed(const std::string& list) {
    std::vector<int> ids;
    std::istringstream items(list);
    for (std::string item; std::getline(items, item, '!');) {
        std::istringstream text(item);
        std::string word;
        if (!(text >> word)) continue;
        if (word.find_first_not_of("-0123456789") != std::string::npos || std::stol(word) == 0) return {};
        ids.push_back(static_cast<int>(std::stol(word)));
    }
    return ids;
}

std::string quoted(const std::string& text) {
    return base::JsonText().text(text).str();
}

template <typename Enumeration>
std::string coded(Enumeration value) {
    const char* name = records::enumeratorName(value);
    return name != nullptr ? quoted(name) : std::to_string(value);
}

const char* yesOrNo(bool yes) {
    return yes ? "true" : "false";
}

std::string joined(const std::vector<std::string>& parts) {
    std::string all;
    for (const std::string& part : parts) all += (all.empty() ? "" : ",") + part;
    return all;
}

class Model {
public:
    Model(const Picture& picture, const ServiceMoment& now)
        : _now(now),
          _lines(allOf<Line>(picture)),
          _vehicles(allOf<Vehicle>(picture)),
          _stations(allOf<Station>(picture)),
          _platforms(allOf<PlatformInfo>(picture)),
          _trips(allOf<Trip>(picture)),
          _tripStops(allOf<TripStop>(picture)),
          _services(allOf<Service>(picture)),
          _serviceStops(allOf<ServiceStop>(picture)) {}

    std::string answer(const DepartureQuery& query, bool ready) const {
        const bool ofStation = query.stationId != 0;
        std::map<std::tuple<std::int64_t, std::int64_t, int, int>, std::string> calls;
        for (const auto& [serviceId, service] : _services) {
            for (const auto& [stopId, stop] : _tripStops) {
                if (stop.getTripId() != service.getTripId() || stop.getTripId() == 0) continue;
                const PlatformInfo* platform = in(_platforms, stop.getPlatformId());
                if (platform == nullptr) continue;
                if ((ofStation ? platform->getStationId() : platform->getId()) !=
                    (ofStation ? query.stationId : query.platformId)) {
                    continue;
                }
                const Call call = callOf(service, stop);
                if (!isShown(call)) continue;
                const std::int64_t leaves = isCancelled(service) ? call.scheduled : call.expected;
                calls[{leaves, call.scheduled, serviceId, stopId}] = textOf(call, service, stop, *platform);
            }
        }
        const bool hasData = ready && !_tripStops.empty();
        std::vector<std::string> shown;
        for (const auto& [order, text] : calls) {
            if (hasData && shown.size() < query.limit) shown.push_back(text);
        }
        const char* status = !hasData ? "no_data" : calls.empty() ? "no_trains" : "departures";
        return "{" + placeOf(query) + ",\"status\":" + quoted(status) + ",\"departures\":[" + joined(shown) + "]}";
    }

private:
    struct Call {
        std::vector<int> stops;  ///< Of the trip, in order.
        std::size_t place = 0;
        const ServiceStop* own = nullptr;
        std::optional<bool> named;  ///< Among the following stops, where that is known.
        bool stands = false;
        std::int64_t start = 0;
        std::int64_t scheduled = 0;
        std::int64_t expected = 0;
        Service::State state{};
        bool stopping = false;
    };

    template <typename Record>
    static const Record* in(const std::map<int, Record>& table, int id) {
        const auto found = table.find(id);
        return found != table.end() ? &found->second : nullptr;
    }

    static bool isCancelled(const Service& service) { return service.getState() == Service::CANCELLED; }
    static bool hasBegun(Service::State state) { return state >= Service::RUNNING && state != Service::CANCELLED; }

    const ServiceStop* stopOf(const Service& service, int tripStopId) const {
        for (const auto& [id, stop] : _serviceStops) {
            if (stop.getServiceId() == service.getId() && stop.getTripStopId() == tripStopId) return &stop;
        }
        return nullptr;
    }

    std::vector<int> stopsOfTrip(const TripStop& stop) const {
        std::vector<int> stops;
        const Trip* trip = in(_trips, stop.getTripId());
        for (const int id : trip != nullptr ? listed(trip->getStopsListAsString()) : std::vector<int>()) {
            if (std::find(stops.begin(), stops.end(), id) == stops.end()) stops.push_back(id);
        }
        if (std::find(stops.begin(), stops.end(), stop.getId()) != stops.end()) return stops;
        std::map<std::tuple<std::int64_t, std::int64_t, int>, int> byTime;
        for (const auto& [id, other] : _tripStops) {
            if (other.getTripId() != stop.getTripId()) continue;
            byTime[{signedTime(other.getSchDepOffset()), signedTime(other.getSchArvOffset()), id}] = id;
        }
        stops.clear();
        for (const auto& [time, id] : byTime) stops.push_back(id);
        return stops;
    }

    Call callOf(const Service& service, const TripStop& stop) const {
        Call call;
        call.stops = stopsOfTrip(stop);
        const auto placeIn = [&call](int id) {
            return std::find(call.stops.begin(), call.stops.end(), id) - call.stops.begin();
        };
        call.place = static_cast<std::size_t>(placeIn(stop.getId()));
        call.own = stopOf(service, stop.getId());
        call.state = service.getState();
        call.stopping = stop.isStopping();
        call.start = signedTime(service.getStartTime());
        call.start += _now.shiftOf(call.start, hasBegun(call.state));
        call.scheduled = call.start + signedTime(stop.getSchDepOffset());
        call.expected = call.scheduled + (call.own != nullptr ? signedTime(call.own->getDepDelay()) : 0);

        const std::vector<int> following = listed(service.getFollowingStopsListAsString());
        const bool standsSomewhere = call.state == Service::IN_STATION || call.state == Service::BOARDING ||
                                     call.state == Service::DEPARTING_STATION;
        if (following.empty()) return call;
        if (call.own != nullptr) {
            call.named = std::find(following.begin(), following.end(), call.own->getId()) != following.end();
            call.stands = standsSomewhere && following.front() == call.own->getId();
            return call;
        }
        for (std::size_t i = 0; i < following.size(); ++i) {
            const ServiceStop* held = in(_serviceStops, following[i]);
            if (held == nullptr || held->getServiceId() != service.getId()) continue;
            const std::ptrdiff_t next = placeIn(held->getTripStopId()) - static_cast<std::ptrdiff_t>(i);
            if (next < 0 || placeIn(held->getTripStopId()) == static_cast<std::ptrdiff_t>(call.stops.size())) break;
            call.named = static_cast<std::ptrdiff_t>(call.place) >= next;
            call.stands = standsSomewhere && static_cast<std::ptrdiff_t>(call.place) == next;
            break;
        }
        return call;
    }

    bool isShown(const Call& call) const {
        const double now = _now.seconds();
        if (call.place + 1 == call.stops.size()) return false;
        if (call.place == 0 && !call.stopping) return false;
        if (call.state == Service::TERMINATED) return false;
        if (call.state == Service::CANCELLED) return now <= static_cast<double>(call.scheduled) + 300;
        if (call.named == false) return false;
        if (!hasBegun(call.state)) return now <= static_cast<double>(call.expected) + 1800;
        return call.named || now <= static_cast<double>(call.expected) + 300;
    }

    std::string placeOf(const DepartureQuery& query) const {
        std::ostringstream text;
        if (query.stationId != 0) {
            const Station* station = in(_stations, query.stationId);
            text << R"("station":{"id":)" << query.stationId << R"(,"name":)"
                 << quoted(station != nullptr ? station->getName() : "") << R"(,"abrv":)"
                 << quoted(station != nullptr ? station->getAbrv() : "") << "}";
            return text.str();
        }
        const PlatformInfo* platform = in(_platforms, query.platformId);
        const Station* station = platform != nullptr ? in(_stations, platform->getStationId()) : nullptr;
        text << R"("platform":{"id":)" << query.platformId << R"(,"name":)"
             << quoted(platform != nullptr ? platform->getName() : "") << R"(,"track":)"
             << quoted(platform != nullptr ? trackOf(*platform) : "") << R"(,"station_id":)"
             << (platform != nullptr ? platform->getStationId() : 0) << R"(,"station_name":)"
             << quoted(station != nullptr ? station->getName() : "") << "}";
        return text.str();
    }

    std::string trackOf(const PlatformInfo& platform) const {
        const Station* station = in(_stations, platform.getStationId());
        const std::string front = station != nullptr ? station->getName() + " " : "";
        const std::string name = platform.getName();
        return station != nullptr && name.rfind(front, 0) == 0 ? name.substr(front.size()) : name;
    }

    std::string lineOf(const Service& service, const Trip& trip) const {
        const Line* line = in(_lines, service.getLineId());
        if (line == nullptr) line = in(_lines, trip.getLineId());
        if (line == nullptr) return "null";
        return "{\"id\":" + std::to_string(line->getId()) + ",\"name\":" + quoted(line->getName()) +
               ",\"abrv\":" + quoted(line->getAbrv()) + "}";
    }

    std::string destinationOf(const Call& call, const Service& service) const {
        const Station* station = in(_stations, service.getDestinationStationId());
        if (station == nullptr) {
            const TripStop* last = nullptr;
            for (const int id : call.stops) last = in(_tripStops, id) != nullptr ? in(_tripStops, id) : last;
            const PlatformInfo* platform = last != nullptr ? in(_platforms, last->getPlatformId()) : nullptr;
            if (platform != nullptr) station = in(_stations, platform->getStationId());
        }
        if (station == nullptr) return "null";
        return "{\"id\":" + std::to_string(station->getId()) + ",\"name\":" + quoted(station->getName()) + "}";
    }

    std::string timesOf(std::int64_t scheduled, std::int64_t expected) const {
        return "\"scheduled\":" + std::to_string(scheduled) + ",\"scheduled_text\":" + quoted(_now.text(scheduled)) +
               ",\"expected\":" + std::to_string(expected) + ",\"expected_text\":" + quoted(_now.text(expected));
    }

    std::string aheadOf(const Call& call, const Service& service) const {
        std::vector<std::string> ahead;
        for (std::size_t place = call.place + 1; place < call.stops.size(); ++place) {
            const TripStop* stop = in(_tripStops, call.stops[place]);
            const PlatformInfo* platform = stop != nullptr ? in(_platforms, stop->getPlatformId()) : nullptr;
            if (platform == nullptr || !stop->isStopping()) continue;
            const Station* station = in(_stations, platform->getStationId());
            const ServiceStop* own = stopOf(service, stop->getId());
            const std::int64_t scheduled = call.start + signedTime(stop->getSchArvOffset());
            const std::int64_t delay = own != nullptr ? signedTime(own->getArvDelay()) : 0;
            ahead.push_back("{\"station_id\":" + std::to_string(platform->getStationId()) +
                            ",\"name\":" + quoted(station != nullptr ? station->getName() : platform->getName()) +
                            ",\"platform_id\":" + std::to_string(platform->getId()) + "," +
                            timesOf(scheduled, scheduled + delay) + "}");
        }
        return joined(ahead);
    }

    std::string textOf(const Call& call, const Service& service, const TripStop& stop,
                       const PlatformInfo& platform) const {
        const Trip* held = in(_trips, service.getTripId());
        const Trip& trip = held != nullptr ? *held : service;
        const Vehicle* vehicle = in(_vehicles, service.getVehicleId());
        std::ostringstream text;
        text << R"({"service_id":)" << service.getId() << R"(,"service_stop_id":)"
             << (call.own != nullptr ? std::to_string(call.own->getId()) : "null") << R"(,"trip_id":)"
             << service.getTripId() << R"(,"name":)" << quoted(trip.getName()) << R"(,"line":)" << lineOf(service, trip)
             << R"(,"destination":)" << destinationOf(call, service) << R"(,"platform":{"id":)" << platform.getId()
             << R"(,"name":)" << quoted(platform.getName()) << R"(,"track":)" << quoted(trackOf(platform)) << "},"
             << timesOf(call.scheduled, call.expected) << R"(,"delay":)" << call.expected - call.scheduled
             << R"(,"state":)" << coded(service.getState()) << R"(,"state_text":)" << quoted(service.getStateText())
             << R"(,"platform_state":)" << coded(platform.getState()) << R"(,"at_platform":)" << yesOrNo(call.stands)
             << R"(,"is_stopping":)" << yesOrNo(stop.isStopping()) << R"(,"cancelled":)"
             << yesOrNo(isCancelled(service)) << R"(,"last_train":)" << yesOrNo(service.getIsLastTrain())
             << R"(,"priority":)" << coded(trip.getPriority()) << R"(,"priority_text":)"
             << quoted(trip.getPriorityText()) << R"(,"vehicle":)";
        if (vehicle == nullptr) {
            text << "null";
        } else {
            text << R"({"id":)" << vehicle->getId() << R"(,"name":)" << quoted(vehicle->getName()) << R"(,"cars":)"
                 << vehicle->getNumCars() << "}";
        }
        text << R"(,"stops_ahead":[)" << aheadOf(call, service) << "]}";
        return text.str();
    }

    const ServiceMoment& _now;
    std::map<int, Line> _lines;
    std::map<int, Vehicle> _vehicles;
    std::map<int, Station> _stations;
    std::map<int, PlatformInfo> _platforms;
    std::map<int, Trip> _trips;
    std::map<int, TripStop> _tripStops;
    std::map<int, Service> _services;
    std::map<int, ServiceStop> _serviceStops;
};

}  // namespace

std::vector<std::string> modelOfDepartures(const Picture& picture, const std::vector<DepartureQuery>& queries,
                                           const ServiceMoment& now) {
    const Model model(picture, now);
    std::vector<std::string> answers;
    for (const DepartureQuery& query : queries) answers.push_back(model.answer(query, picture.feed.ready));
    return answers;
}

}  // namespace pis::picture
