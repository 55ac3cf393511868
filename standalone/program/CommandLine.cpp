#include "program/CommandLine.h"

#include <CLI/CLI.hpp>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/ExitStatus.h"
#include "base/Numbers.h"
#include "base/Output.h"
#include "check/FeedCheck.h"
#include "replay/Replay.h"
#include "service/Serve.h"
#include "simulator/Network.h"
#include "simulator/Simulate.h"

namespace pis::program {

namespace {

constexpr const char* kAbout =
    "The passenger-information store of a rail operations host, at a terminal.\n"
    "It takes a signalling side's element records in and shows what became of them: replayed from files,\n"
    "or live, with an HTTP interface and departure boards.";

constexpr const char* kExitStatuses =
    "Exit status: 0 all well, 1 findings (check) or lines skipped (replay --keep-going),\n"
    "2 a wrong call or input that cannot be taken, 128 and the signal (130) when interrupted.";

constexpr const char* kServeFooter =
    "SIGINT and SIGTERM end the service in good order, with exit status 0, a second one ends it at once; SIGHUP\n"
    "reopens the log file.\n"
    "Off this machine, put a proxy with TLS before it.";

/// Adds a subcommand that does something with its options once they have been read.
/// @param addOptions is given the command and the options; @param act the options, and gives the exit status.
template <typename Options, typename AddOptions, typename Act>
void addCommand(CLI::App& app, int& status, const char* name, const char* about, const char* footer,
                AddOptions addOptions, Act act) {
    CLI::App& command = *app.add_subcommand(name, about);
    auto options = std::make_shared<Options>();
    addOptions(command, *options);
    command.footer(footer);
    command.callback([options, &status, act] { status = act(*options); });
}

void addFiles(CLI::App& command, std::vector<std::string>& files) {
    command.add_option("FILE", files, "Feeds, read as one in this order; .gz too; - for standard input")
        ->required()
        ->type_name("");
}

// --- A replay -----------------------------------------------------------------------------------

/// What is wrong with a text as a speed; empty when nothing is.
std::string faultOfSpeed(const std::string& text) {
    return base::numberIn<double>(text).value_or(0) > 0 ? "" : "must be a number above 0, not " + text;
}

void addReplayOptions(CLI::App& command, replay::ReplayOptions& options) {
    using Output = replay::ReplayOptions;
    addFiles(command, options.files);
    command.add_option("--speed", options.speed, "Times the recorded pace; without it, as fast as possible")
        ->type_name("X")
        ->check(faultOfSpeed, "", "speed");
    command.add_flag("--keep-going", options.keepGoing, "Count and skip faulty lines instead of stopping there");
    const auto addOutput = [&](const char* flag, Output::Output output, const char* about) {
        return command.add_flag_callback(
            flag, [&options, output] { options.output = output; }, about);
    };
    CLI::Option* json = addOutput("--json", Output::JSON_SUMMARY, "Print the summary as one JSON object");
    CLI::Option* dump =
        addOutput("--dump", Output::DUMP,
                  "Print every table afterwards, a JSON object a line; the summary goes to standard error");
    CLI::Option* trace = addOutput("--trace", Output::TRACE,
                                   "Print every host and observer call: place in the feed, time, call, with tabs in "
                                   "between; the summary goes to standard error");
    json->excludes(dump)->excludes(trace);
    dump->excludes(trace);
    command
        .add_option("--debug-level", options.debugLevel,
                    "What the store logs: 0 registrations, 1 deletions too, 2 every change; -1 nothing")
        ->type_name("N")
        ->capture_default_str();
    command.add_option("--log-file", options.logFile, "Append log lines to a file instead of standard error")
        ->type_name("FILE");
}

// --- A simulated railway ------------------------------------------------------------------------

/// Reads a whole number; what is none, or out of range, is a wrong call.
std::uint32_t wholeNumber(const std::string& text, const char* option, std::uint32_t highest) {
    const auto number = base::numberIn<std::uint32_t>(text);
    if (number && *number <= highest) return *number;
    throw CLI::ValidationError(option, "must be a whole number from 0 to " + std::to_string(highest) + ", not " + text);
}

double speedIn(const std::string& text) {
    const std::string fault = faultOfSpeed(text);
    if (!fault.empty()) throw CLI::ValidationError("--speed", fault);
    return *base::numberIn<double>(text);
}

int timeOfDay(const std::string& text, const char* option) {
    const std::optional<int> time = simulator::clockTimeOf(text);
    if (time) return *time;
    throw CLI::ValidationError(option, "must be a time as 05:30, not " + text);
}

simulator::FaultPlan faultsOf(const std::string& text) {
    try {
        return simulator::parseFaultPlan(text);
    } catch (const std::invalid_argument& error) {
        throw CLI::ValidationError("--fault", error.what());
    }
}

void addRailwayOptions(CLI::App& command, simulator::SimulationOptions& options) {
    const auto add = [&command](const char* name, const char* type, const char* about, auto read) {
        command.add_option_function<std::string>(name, read, about)->type_name(type)->group("Railway");
    };
    add("--speed", "X", "Times real time, or a recorded feed's own pace",
        [&](const std::string& text) { options.speed = speedIn(text); });
    add("--start", "HH:MM", "Run unseen up to this time of the operating day, so that trains are under way",
        [&](const std::string& text) { options.start = timeOfDay(text, "--start"); });
    add("--until", "HH:MM", "Stand still from this time of the operating day on",
        [&](const std::string& text) { options.until = timeOfDay(text, "--until"); });
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

void addSimulateOptions(CLI::App& command, simulator::SimulateOptions& options) {
    command.add_option("FILE", options.simulation.networkFile, "The railway: a network file")
        ->required()
        ->type_name("");
    command
        .add_option("--listen", options.listen,
                    "Serve it over TCP instead of standard output, in real time; port 0 for any that is free")
        ->type_name("HOST:PORT");
    addRailwayOptions(command, options.simulation);
}

// --- The service --------------------------------------------------------------------------------

/// What is wrong with a text as seconds of silence; empty when nothing is. "nan" would pass for a range.
std::string faultOfSilence(const std::string& text) {
    const auto seconds = base::numberIn<double>(text);
    return seconds && *seconds >= 0.1 && *seconds <= 86400 ? "" : "must be a number from 0.1 to 86400, not " + text;
}

void addLinkOptions(CLI::App& command, service::ServeOptions& options) {
    command
        .add_option("--link", options.link.link,
                    "Where records come from and operations go to: file:PATH (also -), tcp://HOST:PORT or sim:FILE")
        ->required()
        ->type_name("LINK")
        ->group("Signalling side");
    command
        .add_option("--max-elements", options.maxElements,
                    "Elements that are kept; new ones beyond are refused, and counted")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{1}, std::size_t{100000000}).description(""))
        ->group("Signalling side");
    command
        .add_option("--max-bytes", options.maxBytes,
                    "Bytes of the texts of these elements' fields, such as 64MiB; what goes beyond is refused, and "
                    "counted")
        ->type_name("N")
        ->capture_default_str()
        ->transform(CLI::AsSizeValue(false).description(""))
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1} << 40).description(""))
        ->group("Signalling side");
    command.add_option("--stale-after", options.staleAfter, "Seconds of silence after which boards warn")
        ->type_name("SECONDS")
        ->capture_default_str()
        ->check(faultOfSilence, "", "seconds")
        ->group("Signalling side");
}

void addClockOptions(CLI::App& command, service::ServeOptions& options) {
    command
        .add_option_function<std::string>(
            "--clock",
            [&options](const std::string& word) {
                options.clock.source = word == "wall" ? picture::ClockOptions::WALL : picture::ClockOptions::FEED;
            },
            "What now is: the time of the last record, or this machine's clock")
        ->check(CLI::IsMember({"feed", "wall"}).description(""))
        ->type_name("feed|wall")
        ->default_str("feed")
        ->group("Clock");
    command
        .add_option("--epoch", options.clock.epoch,
                    "What the times of the feed count from: day (midnight of the operating day), unix, a date or an "
                    "instant in ISO 8601")
        ->type_name("EPOCH")
        ->capture_default_str()
        ->group("Clock");
    command.add_option("--timezone", options.clock.timezone, "Time zone of the railway; without it, this machine's")
        ->type_name("NAME")
        ->group("Clock");
    command.add_option("--day-start", options.clock.dayStart, "When the wall clock's operating day begins")
        ->type_name("HH:MM")
        ->capture_default_str()
        ->group("Clock");
}

void addHttpOptions(CLI::App& command, service::ServeOptions& options) {
    command.add_option("--listen", options.listen, "Where to listen; port 0 takes a free one")
        ->type_name("ADDRESS:PORT")
        ->capture_default_str()
        ->group("HTTP");
    command
        .add_option("--allow-host", options.allowedHosts,
                    "A name that clients may reach the service by, besides its address")
        ->type_name("NAME")
        ->group("HTTP");
    command
        .add_option("--trusted-proxy", options.trustedProxies,
                    "A proxy whose X-Forwarded-Host (or Forwarded) and X-Forwarded-For count: an address, or "
                    "ADDRESS/BITS")
        ->type_name("ADDRESS")
        ->group("HTTP");
    command.add_option("--connections", options.limits.connections, "Connections in all")
        ->each([&options](const std::string&) { options.connectionsAsked = true; })
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{1}, std::size_t{1000000}).description(""))
        ->group("HTTP");
    command
        .add_option("--connections-per-address", options.limits.connectionsPerAddress,
                    "Connections from one address; readers behind a proxy that is not trusted share its")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{1}, std::size_t{1000000}).description(""))
        ->group("HTTP");
    command
        .add_option(
            "--max-bytes-in-flight", options.limits.bytesInFlight,
            "Bytes of texts for clients, each text once, such as 64MiB; beyond them a late client waits its turn")
        ->type_name("N")
        ->capture_default_str()
        ->transform(CLI::AsSizeValue(false).description(""))
        ->check(CLI::Range(std::uint64_t{1} << 20, std::uint64_t{1} << 40).description(""))
        ->group("HTTP");
    command.add_flag("--open-metrics", options.openMetrics, "Answer /metrics to everybody, not to this machine alone")
        ->group("HTTP");
}

void addLogOptions(CLI::App& command, service::ServeOptions& options) {
    command
        .add_option("--log-file", options.logFile,
                    "Append the log to a file instead of standard error; SIGHUP reopens it")
        ->type_name("FILE")
        ->group("Log");
    command
        .add_option("--debug-level", options.debugLevel,
                    "What the store logs: 0 registrations, 1 deletions too, 2 every change; -1 nothing")
        ->type_name("N")
        ->capture_default_str()
        ->group("Log");
}

void addServeOptions(CLI::App& command, service::ServeOptions& options) {
    addLinkOptions(command, options);
    addRailwayOptions(command, options.link.simulation);
    addClockOptions(command, options);
    addHttpOptions(command, options);
    addLogOptions(command, options);
}

}  // namespace

int run(int argc, char** argv) {
    int status = base::FAILED;
    CLI::App app(kAbout, "pis");
    app.set_version_flag("--version", std::string("pis ") + PIS_VERSION);
    app.require_subcommand(0, 1);
    app.footer(kExitStatuses);
    addCommand<replay::ReplayOptions>(app, status, "replay", "Deliver recorded feeds to the store and sum up",
                                      kExitStatuses, addReplayOptions, replay::replay);
    addCommand<std::vector<std::string>>(app, status, "check", "Look a feed over and report what is wrong with it",
                                         kExitStatuses, addFiles, check::checkFeed);
    addCommand<service::ServeOptions>(app, status, "serve", "Run the store as a live service with departure boards",
                                      kServeFooter, addServeOptions, service::serve);
    addCommand<simulator::SimulateOptions>(app, status, "simulate",
                                           "Play the signalling side of a railway that is simulated", "",
                                           addSimulateOptions, simulator::simulate);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream result;
        std::ostringstream complaint;
        const bool done = app.exit(error, result, complaint) == 0;
        base::print(result.str());
        base::remark(complaint.str());
        return done ? base::DONE : base::FAILED;
    }
    if (app.get_subcommands().empty()) base::remark(app.help());
    return status;
}

}  // namespace pis::program
