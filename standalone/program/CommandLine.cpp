#include "program/CommandLine.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "base/ExitStatus.h"
#include "base/Numbers.h"
#include "base/Output.h"
#include "check/FeedCheck.h"
#include "replay/Replay.h"
#include "service/Serve.h"
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
    "SIGINT and SIGTERM end the service in good order, with exit status 0; SIGHUP reopens the log file.\n"
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
                                      kServeFooter, service::addServeOptions, service::serve);
    addCommand<simulator::SimulateOptions>(app, status, "simulate",
                                           "Play the signalling side of a railway that is simulated", "",
                                           simulator::addSimulateOptions, simulator::simulate);
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
