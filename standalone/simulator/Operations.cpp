#include "simulator/Operations.h"

#include <algorithm>
#include <map>
#include <optional>
#include <stdexcept>
#include <vector>

#include "SignallingCodes.h"
#include "base/Numbers.h"
#include "base/Output.h"
#include "records/Enumerators.h"
#include "simulator/RailwayRecords.h"
#include "stringUtils.h"

namespace pis::simulator {

using namespace railway;
using namespace SignallingCodes;

namespace {

constexpr int kLatestStart = 3600;  // seconds after its start that a service may still be added
constexpr int kShortestTimeOut = 30;

/// Why an operation is refused.
class Refusal : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::string numbered(const char* what, int id) {
    return std::string(what) + " " + std::to_string(id);
}

/// The fields of an operation's text, by position from 0.
class Fields {
public:
    Fields(const std::string& text, std::size_t expected) {
        splitStr(text.c_str(), ',', _fields, false);
        if (_fields.size() != expected) {
            throw Refusal(std::to_string(_fields.size()) + " fields, expected " + std::to_string(expected));
        }
    }

    const std::string& text(std::size_t position) const { return _fields[position]; }

    int number(std::size_t position) const {
        const std::string& field = _fields[position];
        if (const std::optional<int> number = base::numberIn<int>(field)) return *number;
        throw Refusal("field " + std::to_string(position + 1) + " is " + base::quoted(field) +
                      ", not a number of 32 bits");
    }

    int id(std::size_t position) const {
        const int id = number(position);
        if (id < 1) throw Refusal("field " + std::to_string(position + 1) + " is no id: " + std::to_string(id));
        return id;
    }

    /// An id, or 0 for all.
    int idOrAll(std::size_t position) const { return _fields[position] == "*" ? 0 : std::max(number(position), 0); }

    bool flag(std::size_t position) const {
        const int flag = number(position);
        if (flag == 0 || flag == 1) return flag == 1;
        throw Refusal("field " + std::to_string(position + 1) + " is " + std::to_string(flag) + ", not 0 or 1");
    }

private:
    std::vector<std::string> _fields;
};

template <typename Element>
Element& known(std::map<int, Element>& table, int id, const char* what) {
    const auto found = table.find(id);
    if (found == table.end()) throw Refusal(numbered(what, id) + " is not known");
    return found->second;
}

/// Answers operations; every member function gives the report's text or throws a refusal.
class Desk {
public:
    explicit Desk(const Controls& controls)
        : _controls(controls), _traffic(controls.traffic), _railway(controls.traffic.elements()) {}

    std::string answer(int operation, const std::string& text) {
        if (text.find('\0') != std::string::npos) throw Refusal("the text holds a zero character");
        switch (operation) {
            case ENABLE_AUTOMATIC_MESSAGES: return switchMessages(true, text);
            case DISABLE_AUTOMATIC_MESSAGES: return switchMessages(false, text);
            case ADD_LINE: return addLine(Fields(text, 3));
            case DELETE_LINE: return removeFrom(_railway.lines, LINE, "line", Fields(text, 1));
            case ADD_VEHICLE: return addVehicle(Fields(text, 3));
            case DELETE_VEHICLE: return removeVehicle(Fields(text, 1));
            case ADD_STATION: return addStation(Fields(text, 4));
            case DELETE_STATION: return removeFrom(_railway.stations, STATION, "station", Fields(text, 1));
            case ADD_SERVICE: return addService(Fields(text, 8));
            case ADD_SERVICE_STOP: return addServiceStop(Fields(text, 2));
            case DELETE_SERVICE_STOP: return removeServiceStop(Fields(text, 2));
            case DELETE_SERVICE: return removeService(Fields(text, 1));
            case SET_SERVICE_STATE: return setServiceState(Fields(text, 2));
            case PLATFORM_INFORMATION: return "platform information noted: " + base::quoted(text);
            case TRAIN_STATE: return noteTrainState(Fields(text, 2));
            case ACTIVATE_POSITIONING: return activatePositioning(Fields(text, 2));
            case POSITIONING_DATA: return acceptPositioning(text);
            default: throw Refusal("not known");
        }
    }

private:
    std::string switchMessages(bool enabled, const std::string& text) {
        if (!text.empty()) throw Refusal("takes no text");
        _controls.enableMessages(enabled);
        return enabled ? "automatic messages on" : "automatic messages off";
    }

    std::string addLine(const Fields& fields) {
        const int id = fields.id(0);
        const Line& line = _railway.lines[id] = {id, fields.text(1), fields.text(2)};
        _traffic.report(lineRecord(line));
        return numbered("line", id) + " added";
    }

    std::string addStation(const Fields& fields) {
        const int id = fields.id(0);
        const bool major = fields.flag(3);
        Ids platforms;
        for (const auto& [platformId, platform] : _railway.platforms) {
            if (platform.station == id) platforms.push_back(platformId);
        }
        const Station& station = _railway.stations[id] = {id, fields.text(1), fields.text(2), major, platforms};
        _traffic.report(stationRecord(station));
        return numbered("station", id) + " added";
    }

    /// The state is told as it was set; the next movement tells the vehicle's own again.
    std::string addVehicle(const Fields& fields) {
        const int id = fields.id(0);
        const int state = fields.number(1);
        const int service = fields.number(2);
        if (state < ::Vehicle::OUT_OF_SERVICE || state > ::Vehicle::SWITCHING_SERVICE) {
            throw Refusal("vehicle state " + std::to_string(state) + ", expected 0 to 2");
        }
        if (service != 0) known(_railway.services, service, "service");
        const std::string number = std::to_string(id);
        Vehicle& vehicle =
            _railway.vehicles.try_emplace(id, Vehicle{id, "Vehicle " + number, number, 1, "-"}).first->second;
        vehicle.state = static_cast<::Vehicle::State>(state);
        vehicle.currentService = service;
        _traffic.report(vehicleRecord(vehicle));
        _traffic.report(vehicleStateRecord(vehicle));
        return numbered("vehicle", id) + " added";
    }

    std::string addService(const Fields& fields) {
        Service service{};
        service.id = fields.id(0);
        service.trip = known(_railway.trips, fields.id(1), "trip").id;
        service.start = fields.number(2);
        service.vehicle = fields.number(3);
        service.loading = fields.flag(4);
        service.destination = fields.number(5);
        service.lastTrain = fields.flag(6);
        if (!fields.text(7).empty()) throw Refusal("something stands behind the last comma");
        if (service.vehicle != 0) known(_railway.vehicles, service.vehicle, "vehicle");
        if (service.destination != 0) known(_railway.stations, service.destination, "station");
        if (service.start < _controls.now - kLatestStart || service.start >= _controls.dayEnds) {
            throw Refusal("start " + std::to_string(service.start) + ", expected " +
                          std::to_string(_controls.now - kLatestStart) + " to " +
                          std::to_string(_controls.dayEnds - 1));
        }
        const auto before = _railway.services.find(service.id);
        if (before != _railway.services.end() && before->second.progress == Service::UNDER_WAY) {
            throw Refusal(numbered("service", service.id) + " is under way");
        }
        const int id = service.id;
        _traffic.add(std::move(service));
        return numbered("service", id) + " added";
    }

    /// The wire names the trip alone: its first stop that the service does not have yet is meant.
    std::string addServiceStop(const Fields& fields) {
        Service& service = known(_railway.services, fields.id(0), "service");
        if (fields.id(1) != service.trip) {
            throw Refusal(numbered("service", service.id) + " runs " + numbered("trip", service.trip) + ", not " +
                          numbered("trip", fields.id(1)));
        }
        if (service.progress != Service::AHEAD) throw Refusal(numbered("service", service.id) + " has started");
        for (const int tripStop : service.tripStops) {
            const auto isThere = [&](int stop) { return _railway.serviceStops.at(stop).tripStop == tripStop; };
            if (std::any_of(service.stops.begin(), service.stops.end(), isThere)) continue;
            return numbered("service stop", _traffic.addServiceStop(service, tripStop)) + " added";
        }
        throw Refusal(numbered("service", service.id) + " has every stop of its trip");
    }

    std::string removeServiceStop(const Fields& fields) {
        const Service& service = known(_railway.services, fields.id(0), "service");
        const int id = fields.idOrAll(1);
        if (_traffic.hasTrainOut(service)) throw Refusal(numbered("service", service.id) + " is under way");
        if (id != 0 && std::find(service.stops.begin(), service.stops.end(), id) == service.stops.end()) {
            throw Refusal(numbered("service", service.id) + " has no " + numbered("service stop", id));
        }
        const Ids stops = id != 0 ? Ids{id} : service.stops;
        for (const int stop : stops) _traffic.removeServiceStop(stop);
        return (id != 0 ? numbered("service stop", id) : "all stops of " + numbered("service", service.id)) +
               " deleted";
    }

    std::string removeService(const Fields& fields) {
        const int id = fields.idOrAll(0);
        if (id == 0) {
            _traffic.removeAll();
            return "all services deleted";
        }
        known(_railway.services, id, "service");
        _traffic.remove(id);
        return numbered("service", id) + " deleted";
    }

    std::string removeVehicle(const Fields& fields) {
        const int id = fields.idOrAll(0);
        if (id == 0) {
            _traffic.removeAllVehicles();
            return "all vehicles deleted";
        }
        known(_railway.vehicles, id, "vehicle");
        _traffic.removeVehicle(id);
        return numbered("vehicle", id) + " deleted";
    }

    /// For elements that no train depends on.
    template <typename Element>
    std::string removeFrom(std::map<int, Element>& table, SignallingCodes::Element type, const char* what,
                           const Fields& fields) {
        const int id = fields.idOrAll(0);
        if (id == 0) {
            table.clear();
        } else {
            known(table, id, what);
            table.erase(id);
        }
        _traffic.report(deletionRecord(type, id));
        return (id == 0 ? "all " + std::string(what) + "s" : numbered(what, id)) + " deleted";
    }

    /// A cancelled service does not run; every other state is told until the train's next step.
    std::string setServiceState(const Fields& fields) {
        Service& service = known(_railway.services, fields.id(0), "service");
        const int state = fields.number(1);
        if (state < ::Service::NOT_STARTED || state > ::Service::CANCELLED) {
            throw Refusal("service state " + std::to_string(state) + ", expected 0 to 8");
        }
        if (state == ::Service::CANCELLED && service.progress != Service::ENDED) {
            _traffic.cancel(service.id);
        } else {
            service.state = static_cast<::Service::State>(state);
            _traffic.report(serviceStateRecord(service));
        }
        return numbered("service", service.id) + " is " + records::enumeratorName(service.state);
    }

    static std::string noteTrainState(const Fields& fields) {
        return "state " + std::to_string(fields.number(1)) + " of train " + std::to_string(fields.number(0)) + " noted";
    }

    static std::string activatePositioning(const Fields& fields) {
        const int protocol = fields.number(0);
        const int timeOut = fields.number(1);
        if (protocol != 0 && protocol != 1) throw Refusal("protocol " + std::to_string(protocol) + ", expected 0 or 1");
        if (timeOut < kShortestTimeOut)
            throw Refusal("time-out " + std::to_string(timeOut) + " s, expected 30 or more");
        return "positioning protocol " + std::to_string(protocol) + ", time-out " + std::to_string(timeOut) + " s";
    }

    std::string acceptPositioning(const std::string& text) {
        const PositioningReassembly::Result result = _controls.positioning.accept(text);
        if (!result.accepted) throw Refusal(result.text);
        return result.text;
    }

    const Controls& _controls;
    Traffic& _traffic;
    Railway& _railway;
};

}  // namespace

OperationReport answer(int operation, const std::string& text, const Controls& controls) {
    const std::string front = "operation " + std::to_string(operation) + ": ";
    try {
        return {true, front + Desk(controls).answer(operation, text)};
    } catch (const Refusal& refusal) {
        return {false, front + "refused: " + refusal.what()};
    }
}

}  // namespace pis::simulator
