// The command line of `pis serve`.
#include <CLI/CLI.hpp>
#include <string>

#include "base/Numbers.h"
#include "service/Serve.h"

namespace pis::service {

namespace {

/// What is wrong with a text as seconds of silence; empty when nothing is. "nan" would pass for a range.
std::string faultOfSilence(const std::string& text) {
    const auto seconds = base::numberIn<double>(text);
    return seconds && *seconds >= 0.1 && *seconds <= 86400 ? "" : "must be a number from 0.1 to 86400, not " + text;
}

void addLinkOptions(CLI::App& command, ServeOptions& options) {
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
    command.add_option("--stale-after", options.staleAfter, "Seconds of silence after which boards warn")
        ->type_name("SECONDS")
        ->capture_default_str()
        ->check(faultOfSilence, "", "seconds")
        ->group("Signalling side");
}

void addClockOptions(CLI::App& command, ServeOptions& options) {
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

void addHttpOptions(CLI::App& command, ServeOptions& options) {
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
    command.add_flag("--open-metrics", options.openMetrics, "Answer /metrics to everybody, not to this machine alone")
        ->group("HTTP");
}

void addLogOptions(CLI::App& command, ServeOptions& options) {
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

}  // namespace

void addServeOptions(CLI::App& command, ServeOptions& options) {
    addLinkOptions(command, options);
    simulator::addSimulationOptions(command, options.link.simulation);
    addClockOptions(command, options);
    addHttpOptions(command, options);
    addLogOptions(command, options);
}

}  // namespace pis::service
