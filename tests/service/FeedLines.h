// Lines of a feed in short words, and a small railway of them.
#ifndef TESTS_SERVICE_FEEDLINES_H
#define TESTS_SERVICE_FEEDLINES_H

#include <initializer_list>
#include <string>

namespace pis::service {

namespace feed {

inline std::string update(int type, long id, std::initializer_list<std::string> fields, double at = -1) {
    std::string line = "{";
    if (at >= 0) line += "\"at\":" + std::to_string(at) + ",";
    line += "\"update\":" + std::to_string(type) + ",\"id\":" + std::to_string(id) + ",\"fields\":[";
    const char* separator = "\"";
    for (const std::string& field : fields) {
        line += separator + field + "\"";
        separator = ",\"";
    }
    return line + "]}\n";
}

inline std::string line(long id, const std::string& name) {
    return update(2, id, {name, "L"});
}
inline std::string station(long id, const std::string& name, const std::string& platforms) {
    return update(4, id, {name, "S", "Y", platforms});
}
inline std::string platform(long id, long station, const std::string& name) {
    return update(5, id, {std::to_string(station), "", name, "north"});
}
inline std::string trip(long id, const std::string& name, const std::string& stops) {
    return update(6, id, {name, "1", "1", "0", "all", stops});
}
inline std::string tripStop(long id, long trip, long platform, long seconds) {
    return update(
        7, id, {std::to_string(trip), std::to_string(platform), "Y", std::to_string(seconds), std::to_string(seconds)});
}
inline std::string service(long id, long trip, long start, long destination, const std::string& stops) {
    return update(
        8, id, {std::to_string(trip), std::to_string(start), "0", stops, "0", std::to_string(destination), "0", "1"});
}
inline std::string serviceStop(long id, long service, long tripStop, long start, const std::string& delay) {
    return update(9, id, {std::to_string(service), std::to_string(tripStop), std::to_string(start), delay, delay});
}
inline std::string removal(int type, long id) {
    return "{\"delete\":" + std::to_string(type) + ",\"id\":" + std::to_string(id) + "}\n";
}
inline const std::string kBegin = "{\"snapshot\":\"begin\"}\n";
inline const std::string kEnd = "{\"snapshot\":\"end\"}\n";

/// West (platforms 11 and 12), East (21) and South (31), where nothing runs. Trip 5 leaves 11 at its start and
/// reaches 21 ten minutes later; service 7 runs it at 28800, two minutes late, service 8 at 30600, a minute early.
inline std::string railway() {
    return update(98, 1, {"box", "A", "1"}, 28000) + kBegin + line(1, "Coast Line") +
           update(3, 41, {"Tern", "T1", "4", "7"}) + station(1, "West", "11!12") + station(2, "East", "21") +
           station(3, "South", "31") + platform(11, 1, "West 1") + platform(12, 1, "West 2") +
           platform(21, 2, "East 1") + platform(31, 3, "South 1") + trip(5, "West - East", "51!52") +
           tripStop(51, 5, 11, 0) + tripStop(52, 5, 21, 600) + service(7, 5, 28800, 2, "51!52") +
           service(8, 5, 30600, 2, "51!52") + serviceStop(71, 7, 51, 28800, "120") +
           serviceStop(72, 7, 52, 28800, "120") + serviceStop(81, 8, 51, 30600, "-60") +
           serviceStop(82, 8, 52, 30600, "0") + kEnd;
}

}  // namespace feed

}  // namespace pis::service

#endif
