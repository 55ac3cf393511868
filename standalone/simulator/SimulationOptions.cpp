#include "simulator/SimulationOptions.h"

#include <CLI/CLI.hpp>
#include <limits>
#include <stdexcept>

#include "base/Numbers.h"
#include "simulator/Network.h"

namespace pis::simulator {

namespace {

/// Reads a whole number; what is none, or out of range, is a wrong call.
std::uint32_t wholeNumber(const std::string& text, const char* option, std::uint32_t highest) {
    const auto number = base::numberIn<std::uint32_t>(text);
    if (number && *number <= highest) return *number;
    throw CLI::ValidationError(option, "must be a whole number from 0 to " + std::to_string(highest) + ", not " + text);
}

double speedOf(const std::string& text) {
    const auto speed = base::numberIn<double>(text);
    if (speed && *speed > 0) return *speed;
    throw CLI::ValidationError("--speed", "must be a number above 0, not " + text);
}

int timeOf(const std::string& text, const char* option) {
    const std::optional<int> time = clockTimeOf(text);
    if (time) return *time;
    throw CLI::ValidationError(option, "must be a time as 05:30, not " + text);
}

FaultPlan faultsOf(const std::string& text) {
    try {
        return parseFaultPlan(text);
    } catch (const std::invalid_argument& error) {
        throw CLI::ValidationError("--fault", error.what());
    }
}

}  // namespace

void addSimulationOptions(CLI::App& command, SimulationOptions& options) {
    const auto add = [&command](const char* name, const char* type, const char* about, auto read) {
        command.add_option_function<std::string>(name, read, about)->type_name(type)->group("Railway");
    };
    add("--speed", "X", "Times real time, or a recorded feed's own pace",
        [&](const std::string& text) { options.speed = speedOf(text); });
    add("--start", "HH:MM", "Run unseen up to this time of the operating day, so that trains are under way",
        [&](const std::string& text) { options.start = timeOf(text, "--start"); });
    add("--until", "HH:MM", "Stand still from this time of the operating day on",
        [&](const std::string& text) { options.until = timeOf(text, "--until"); });
    add("--seed", "N", "Which delays and failures the day has [1]", [&](const std::string& text) {
        options.seed = wholeNumber(text, "--seed", std::numeric_limits<std::uint32_t>::max());
    });
    add("--snapshots", "MINUTES", "Send the whole state every so many minutes of railway time; 0 for never [0]",
        [&](const std::string& text) {
            options.snapshotMinutes = static_cast<int>(wholeNumber(text, "--snapshots", 1440));
        });
    add("--fault", "FAULTS", "Spoil the connection: drop=P,duplicate=P,garble=P,stall=SECONDS,disconnect=SECONDS",
        [&](const std::string& text) { options.faults = faultsOf(text); });
}

}  // namespace pis::simulator
