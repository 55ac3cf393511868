// A railway as its network file describes it: what stands there, what is to run, what goes wrong.
// NetworkFile.cpp reads it; the timetable is made from it.
#ifndef PIS_SIMULATOR_NETWORK_H
#define PIS_SIMULATOR_NETWORK_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "simulator/Railway.h"

namespace pis::simulator {

/// A network file's contents, references resolved to positions in the lists. Times are seconds of the
/// operating day: after midnight they count on past 86,400. Durations are seconds.
struct Network {
    struct Line {
        std::string name, abbreviation;
    };

    struct Platform {
        std::string name, abbreviation, location;
        ::Vehicle::DoorSide doors = ::Vehicle::NONE;
        std::size_t station = 0;
    };

    struct Station {
        std::string name, abbreviation;
        bool major = false;
        std::vector<std::size_t> platforms;
    };

    /// A platform on the way of a pattern.
    struct Call {
        std::size_t platform = 0;
        int running = 0;  ///< From the call before; 0 at the first.
        int dwell = 0;    ///< 0 at the last and where the train does not stop.
        bool stopping = true;
    };

    /// Services of a pattern that follow each other evenly.
    struct Headway {
        int from = 0, until = 0;  ///< Start of the first one; no start lies after `until`.
        int every = 0;
    };

    struct Pattern {
        std::string name;
        std::size_t line = 0;
        bool ascending = true;
        ::Trip::Priority priority = ::Trip::ALL_STOPS;
        std::string priorityText;
        std::vector<Call> calls;
        std::vector<Headway> headways;
    };

    struct Vehicle {
        std::string name, abbreviation;
        int cars = 0;
        std::size_t depot = 0;  ///< Station at which it begins the day.
    };

    // What goes otherwise than planned, at a time of every day.
    struct MessagesSwitched {
        bool enabled;
    };
    struct VehicleFails {
        std::size_t vehicle;
    };
    struct VehicleLeaves {
        std::size_t vehicle;
    };
    struct LinkLost {
        int seconds;
    };
    struct StopAdded {
        std::size_t pattern, call;
        int dwell;
    };
    struct Incident {
        int at = 0;
        std::variant<MessagesSwitched, VehicleFails, VehicleLeaves, LinkLost, StopAdded> what;
    };

    std::string source;  ///< Name of the file, for messages.
    std::string name;
    std::string signalBox;  ///< Who reports, as the status records name it.
    int dayBegins = 0;
    int announced = 0;      ///< How long before its start a service is made known.
    int turnaround = 0;     ///< Shortest time between two services of a vehicle.
    int doorTrouble = 0;    ///< At one of how many departures a door does not close at once; 0 for never.
    int cancellations = 0;  ///< One of how many services fails with its vehicle; 0 for never.
    std::vector<Line> lines;
    std::vector<Station> stations;
    std::vector<Platform> platforms;
    std::vector<Pattern> patterns;
    std::vector<Vehicle> vehicles;
    std::vector<Incident> incidents;

    int dayEnds() const { return dayBegins + 24 * 3600; }
};

/// Reads a network file.
/// @throws std::runtime_error "FILE: PLACE.IN.JSON: what is wrong and what is expected".
Network readNetwork(const std::string& path);

/// The same from a text; `source` stands for the file in messages.
Network parseNetwork(std::string_view text, const std::string& source);

/// Seconds of "HH:MM", hours to 47; nothing when the text is none.
std::optional<int> clockTimeOf(std::string_view text);

}  // namespace pis::simulator

#endif
