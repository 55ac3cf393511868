// The program pis: the passenger-information store at a terminal.
#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <exception>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "base/ExitStatus.h"
#include "base/Output.h"
#include "check/FeedCheck.h"
#include "platform/HostLog.h"
#include "replay/Replay.h"
#include "service/Serve.h"
#include "simulator/Simulate.h"

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

void addFiles(CLI::App& command, std::vector<std::string>& files) {
    command.add_option("FILE", files, "Feeds, read as one in this order; .gz too; - for standard input")
        ->required()
        ->type_name("");
}

/// What is wrong with a text as a speed; empty when nothing is.
std::string faultOfSpeed(const std::string& text) {
    double speed = 0;
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), speed);
    const bool whole = code == std::errc() && end == text.data() + text.size();
    return whole && speed > 0 && std::isfinite(speed) ? "" : "must be a number above 0, not " + text;
}

int run(int argc, char** argv) {
    CLI::App app(kAbout, "pis");
    app.set_version_flag("--version", std::string("pis ") + PIS_VERSION);
    app.require_subcommand(0, 1);
    app.footer(kExitStatuses);

    pis::replay::ReplayOptions options;
    bool json = false;
    bool dump = false;
    bool trace = false;
    long debugLevelWanted = -1;
    std::string logFile;
    CLI::App& replayCommand = *app.add_subcommand("replay", "Deliver recorded feeds to the store and sum up");
    addFiles(replayCommand, options.files);
    replayCommand.add_option("--speed", options.speed, "Times the recorded pace; without it, as fast as possible")
        ->type_name("X")
        ->check(faultOfSpeed, "", "speed");
    replayCommand.add_flag("--keep-going", options.keepGoing, "Count and skip faulty lines instead of stopping there");
    CLI::Option* jsonFlag = replayCommand.add_flag("--json", json, "Print the summary as one JSON object");
    CLI::Option* dumpFlag = replayCommand.add_flag(
        "--dump", dump, "Print every table afterwards, a JSON object a line; the summary goes to standard error");
    CLI::Option* traceFlag = replayCommand.add_flag(
        "--trace", trace, "Print every host and observer call, a line each; the summary goes to standard error");
    jsonFlag->excludes(dumpFlag)->excludes(traceFlag);
    dumpFlag->excludes(traceFlag);
    replayCommand
        .add_option("--debug-level", debugLevelWanted,
                    "What the store logs: 0 registrations, 1 deletions too, 2 every change; -1 nothing")
        ->type_name("N")
        ->capture_default_str();
    replayCommand.add_option("--log-file", logFile, "Append log lines to a file instead of standard error")
        ->type_name("FILE");
    replayCommand.footer(kExitStatuses);

    std::vector<std::string> checkedFiles;
    CLI::App& checkCommand = *app.add_subcommand("check", "Look a feed over and report what is wrong with it");
    addFiles(checkCommand, checkedFiles);
    checkCommand.footer(kExitStatuses);

    pis::service::ServeOptions serveOptions;
    CLI::App& serveCommand = *app.add_subcommand("serve", "Run the store as a live service with departure boards");
    pis::service::addServeOptions(serveCommand, serveOptions);
    serveCommand.footer(kServeFooter);

    pis::simulator::SimulateOptions simulateOptions;
    CLI::App& simulateCommand =
        *app.add_subcommand("simulate", "Play the signalling side of a railway that is simulated");
    pis::simulator::addSimulateOptions(simulateCommand, simulateOptions);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        std::ostringstream result;
        std::ostringstream complaint;
        const bool done = app.exit(error, result, complaint) == 0;
        pis::base::print(result.str());
        pis::base::remark(complaint.str());
        return done ? pis::base::DONE : pis::base::FAILED;
    }

    if (checkCommand.parsed()) return pis::check::checkFeed(checkedFiles);
    if (serveCommand.parsed()) return pis::service::serve(serveOptions);
    if (simulateCommand.parsed()) return pis::simulator::simulate(simulateOptions);
    if (!replayCommand.parsed()) {
        pis::base::remark(app.help());
        return pis::base::FAILED;
    }
    options.output = json    ? pis::replay::ReplayOptions::JSON_SUMMARY
                     : dump  ? pis::replay::ReplayOptions::DUMP
                     : trace ? pis::replay::ReplayOptions::TRACE
                             : pis::replay::ReplayOptions::SUMMARY;
    pis::platform::HostLog::setLevel(debugLevelWanted);
    if (!logFile.empty()) pis::platform::HostLog::writeTo(logFile);
    const pis::base::ExitStatus status = pis::replay::replay(options);
    pis::platform::HostLog::finish();
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    int status = pis::base::FAILED;
    try {
        status = run(argc, argv);
    } catch (const std::exception& error) {
        pis::base::complain(error.what());
    }
    return pis::base::finishOutput() ? status : pis::base::FAILED;
}
