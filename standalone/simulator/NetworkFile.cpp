// Reads a network file: docs/simulator.md describes it.
#include <algorithm>
#include <array>
#include <boost/json/parser.hpp>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "records/Enumerators.h"
#include "simulator/JsonPlace.h"
#include "simulator/Network.h"
#include "simulator/Timetable.h"

namespace pis::simulator {

namespace json = boost::json;

namespace {

constexpr int kDay = 24 * 3600;
constexpr std::size_t kLongestFile = std::size_t{16} << 20;  // bytes

/// Positions of what has been read, by the text that the file refers to it with.
class Positions {
public:
    explicit Positions(std::string what) : _what(std::move(what)) {}

    void add(const JsonPlace& place) {
        if (!_positions.emplace(place.text(), _positions.size()).second) {
            place.fail("\"" + place.text() + "\" is there already, expected one " + _what + " for each");
        }
    }

    std::size_t of(const JsonPlace& place) const {
        const auto found = _positions.find(place.text());
        if (found == _positions.end()) {
            place.fail("\"" + place.text() + "\" is no " + _what + " of this file");
        }
        return found->second;
    }

private:
    std::string _what;
    std::map<std::string, std::size_t> _positions;
};

/// One of several words, as its position among them.
template <std::size_t Size>
std::size_t wordOf(const JsonPlace& place, const std::array<const char*, Size>& words) {
    const std::string text = place.text();
    const auto found = std::find(words.begin(), words.end(), text);
    if (found != words.end()) return static_cast<std::size_t>(found - words.begin());
    std::string expected;
    for (const char* word : words) expected += (expected.empty() ? "\"" : ", \"") + std::string(word) + "\"";
    place.fail("is \"" + text + "\", expected one of " + expected);
}

class NetworkReader {
public:
    NetworkReader(const JsonPlace& file, const std::string& source) : _file(file) { _network.source = source; }

    Network read() {
        _file.expectObject({"name", "signal_box", "day_begins", "announced", "turnaround", "door_trouble",
                            "cancellations", "lines", "stations", "patterns", "vehicles", "incidents"});
        _network.name = _file["name"].text();
        _network.signalBox = _file["signal_box"].text();
        _network.dayBegins = clockTime(_file["day_begins"], kDay - 1);
        _network.announced = 60 * _file["announced"].integer(5, 24 * 60);
        _network.turnaround = _file["turnaround"].integer(0, 3600);
        _network.doorTrouble = oneIn("door_trouble");
        _network.cancellations = oneIn("cancellations");
        _file["lines"].forEach([this](const JsonPlace& place) { readLine(place); });
        _file["stations"].forEach([this](const JsonPlace& place) { readStation(place); });
        _file["patterns"].forEach([this](const JsonPlace& place) { readPattern(place); });
        _file["vehicles"].forEach([this](const JsonPlace& place) { readVehicle(place); });
        if (_file.has("incidents")) {
            _file["incidents"].forEach([this](const JsonPlace& place) { readIncident(place); });
        }
        return std::move(_network);
    }

private:
    static int clockTime(const JsonPlace& place, int latest) {
        const std::string text = place.text();
        const std::optional<int> time = clockTimeOf(text);
        if (!time || *time > latest) place.fail("is \"" + text + "\", expected a time as \"05:30\"");
        return *time;
    }

    /// A time of the operating day: what lies before its beginning is meant for after midnight.
    int timeOfDay(const JsonPlace& place) const {
        const int time = clockTime(place, 2 * kDay);
        const int ofDay = time < _network.dayBegins ? time + kDay : time;
        if (ofDay >= _network.dayEnds()) place.fail("lies beyond the end of the operating day");
        return ofDay;
    }

    int oneIn(const char* key) const { return _file.has(key) ? _file[key].integer(0, 1'000'000) : 0; }

    void readLine(const JsonPlace& place) {
        place.expectObject({"name", "abbreviation"});
        _lines.add(place["abbreviation"]);
        _network.lines.push_back({place["name"].text(), place["abbreviation"].text()});
    }

    void readStation(const JsonPlace& place) {
        place.expectObject({"name", "abbreviation", "major", "platforms"});
        _stations.add(place["abbreviation"]);
        Network::Station station{
            place["name"].text(), place["abbreviation"].text(), place.has("major") && place["major"].flag(), {}};
        place["platforms"].forEach([&](const JsonPlace& platform) {
            station.platforms.push_back(_network.platforms.size());
            readPlatform(platform);
        });
        _network.stations.push_back(std::move(station));
    }

    void readPlatform(const JsonPlace& place) {
        static constexpr std::array<const char*, 4> kSides{"none", "side 1", "side 2", "both"};
        place.expectObject({"name", "abbreviation", "location", "doors"});
        _platforms.add(place["abbreviation"]);
        _network.platforms.push_back({place["name"].text(), place["abbreviation"].text(), place["location"].text(),
                                      static_cast<::Vehicle::DoorSide>(wordOf(place["doors"], kSides)),
                                      _network.stations.size()});
    }

    void readPattern(const JsonPlace& place) {
        static constexpr std::array<const char*, 2> kDirections{"ascending", "descending"};
        static constexpr std::array<const char*, 3> kPriorities{"all stops", "limited stops", "express"};
        place.expectObject({"name", "line", "direction", "priority", "priority_text", "calls", "headways"});
        _patterns.add(place["name"]);
        Network::Pattern pattern;
        pattern.name = place["name"].text();
        pattern.line = _lines.of(place["line"]);
        pattern.ascending = wordOf(place["direction"], kDirections) == 0;
        pattern.priority = static_cast<::Trip::Priority>(wordOf(place["priority"], kPriorities));
        pattern.priorityText =
            place.has("priority_text") ? place["priority_text"].text() : records::enumeratorName(pattern.priority);
        readCalls(place["calls"], pattern);
        place["headways"].forEach([&](const JsonPlace& headway) { readHeadway(headway, pattern); });
        _network.patterns.push_back(std::move(pattern));
    }

    void readCalls(const JsonPlace& place, Network::Pattern& pattern) const {
        const std::size_t calls = place.size();
        if (calls < 2) place.fail("has " + std::to_string(calls) + " of them, expected two or more");
        for (std::size_t i = 0; i < calls; ++i) {
            const bool first = i == 0;
            const bool last = i + 1 == calls;
            pattern.calls.push_back(readCall(place[i], first, last));
            if (!first && pattern.calls[i - 1].platform == pattern.calls[i].platform) {
                place[i].fail("is the platform that the train comes from");
            }
        }
    }

    /// The first call is where the train starts, the last where it ends: neither has a dwell time.
    Network::Call readCall(const JsonPlace& place, bool first, bool last) const {
        if (first) {
            place.expectObject({"platform"});
        } else if (last) {
            place.expectObject({"platform", "running"});
        } else {
            place.expectObject({"platform", "running", "dwell", "stopping"});
        }
        Network::Call call;
        call.platform = _platforms.of(place["platform"]);
        if (!first) call.running = place["running"].integer(60, 7200);
        call.stopping = !place.has("stopping") || place["stopping"].flag();
        if (!call.stopping && place.has("dwell")) place["dwell"].fail("does not go with \"stopping\": false");
        if (call.stopping && !first && !last) call.dwell = place["dwell"].integer(10, 3600);
        return call;
    }

    void readHeadway(const JsonPlace& place, Network::Pattern& pattern) const {
        place.expectObject({"from", "until", "every"});
        const Network::Headway headway{timeOfDay(place["from"]), timeOfDay(place["until"]),
                                       60 * place["every"].integer(1, 24 * 60)};
        if (headway.until < headway.from) place["until"].fail("lies before \"from\"");
        pattern.headways.push_back(headway);
    }

    void readVehicle(const JsonPlace& place) {
        place.expectObject({"name", "abbreviation", "cars", "depot"});
        _vehicles.add(place["abbreviation"]);
        _network.vehicles.push_back({place["name"].text(), place["abbreviation"].text(), place["cars"].integer(1, 100),
                                     _stations.of(place["depot"])});
    }

    void readIncident(const JsonPlace& place) {
        static constexpr std::array<const char*, 5> kKinds{"automatic_messages", "vehicle_fails", "vehicle_leaves",
                                                           "link_lost_for", "stop_added"};
        place.expectObject({"at", kKinds[0], kKinds[1], kKinds[2], kKinds[3], kKinds[4]});
        if (std::count_if(kKinds.begin(), kKinds.end(), [&](const char* kind) { return place.has(kind); }) != 1) {
            place.fail(
                "expected \"at\" and one of automatic_messages, vehicle_fails, vehicle_leaves, "
                "link_lost_for, stop_added");
        }
        Network::Incident incident;
        incident.at = timeOfDay(place["at"]);
        if (place.has(kKinds[0])) incident.what = Network::MessagesSwitched{place[kKinds[0]].flag()};
        if (place.has(kKinds[1])) incident.what = Network::VehicleFails{_vehicles.of(place[kKinds[1]])};
        if (place.has(kKinds[2])) incident.what = Network::VehicleLeaves{_vehicles.of(place[kKinds[2]])};
        if (place.has(kKinds[3])) incident.what = Network::LinkLost{place[kKinds[3]].integer(1, 3600)};
        if (place.has(kKinds[4])) incident.what = readStopAdded(place[kKinds[4]]);
        _network.incidents.push_back(incident);
    }

    Network::StopAdded readStopAdded(const JsonPlace& place) const {
        place.expectObject({"pattern", "platform", "dwell"});
        const std::size_t pattern = _patterns.of(place["pattern"]);
        const std::size_t platform = _platforms.of(place["platform"]);
        const std::vector<Network::Call>& calls = _network.patterns[pattern].calls;
        const auto call = std::find_if(calls.begin(), calls.end(), [&](const Network::Call& each) {
            return each.platform == platform && !each.stopping;
        });
        if (call == calls.end()) place["platform"].fail("is not passed by the pattern without a stop");
        return {pattern, static_cast<std::size_t>(call - calls.begin()), place["dwell"].integer(10, 3600)};
    }

    const JsonPlace& _file;
    Network _network;
    Positions _lines{"line"}, _stations{"station"}, _platforms{"platform"}, _patterns{"pattern"}, _vehicles{"vehicle"};
};

/// "line 3, column 14" of a position in a text.
std::string placeIn(std::string_view text, std::size_t position) {
    const std::string_view before = text.substr(0, position);
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const std::size_t begin = before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
    return "line " + std::to_string(line) + ", column " + std::to_string(position - begin + 1);
}

}  // namespace

Network parseNetwork(std::string_view text, const std::string& source) {
    json::parser parser;
    json::error_code error;
    const std::size_t taken = parser.write_some(text.data(), text.size(), error);
    const bool more = !error && text.find_first_not_of(" \t\r\n", taken) != std::string_view::npos;
    if (error || more) {
        throw std::runtime_error(source + ": " + placeIn(text, std::min(taken, text.size())) +
                                 ": is not JSON: " + (error ? error.message() : "more than one value"));
    }
    const json::value document = parser.release();
    const JsonPlace file(document, source);
    Network network = NetworkReader(file, source).read();
    timetableOf(network);  // throws where the fleet cannot run it
    return network;
}

Network readNetwork(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text;
    if (file) {
        text.resize(kLongestFile + 1);
        file.read(text.data(), static_cast<std::streamsize>(text.size()));
        text.resize(static_cast<std::size_t>(file.gcount()));
    }
    if (!file.eof() && text.size() <= kLongestFile) {
        throw std::runtime_error(path + ": cannot be read: " + std::generic_category().message(errno));
    }
    if (text.size() > kLongestFile) throw std::runtime_error(path + ": is longer than 16 MiB, expected a network file");
    return parseNetwork(text, path);
}

std::optional<int> clockTimeOf(std::string_view text) {
    const auto isDigit = [](char character) { return character >= '0' && character <= '9'; };
    if (text.size() != 5 || text[2] != ':') return std::nullopt;
    if (!isDigit(text[0]) || !isDigit(text[1]) || !isDigit(text[3]) || !isDigit(text[4])) return std::nullopt;
    const int hours = (text[0] - '0') * 10 + (text[1] - '0');
    const int minutes = (text[3] - '0') * 10 + (text[4] - '0');
    if (hours > 47 || minutes > 59) return std::nullopt;
    return (hours * 60 + minutes) * 60;
}

}  // namespace pis::simulator
