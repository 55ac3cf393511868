// The program pis as a user calls it: commands of a shell, what they print and how they end.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <simdjson.h>
#include <stdlib.h>  // posix_openpt and its kin
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <future>
#include <regex>
#include <thread>
#include <vector>

#include "FeedFiles.h"

namespace {

namespace dom = simdjson::dom;

/// What a command did.
struct Outcome {
    std::string out;
    std::string err;
    int status = -1;     ///< 128 and the signal's number where one ended it, as a shell has it.
    long maxMemory = 0;  ///< In KiB, the highest of all processes of the command.
};

class PisCommand : public ::testing::Test {
protected:
    PisCommand() {
        std::filesystem::create_directory(folder.path("bin"));
        std::filesystem::create_symlink(PIS_PROGRAM, folder.path("bin/pis"));
    }

    /// Runs a command of the shell in the test's folder, where "pis" is the program.
    Outcome run(const std::string& command) const {
        const std::string outPath = folder.path("captured.out");
        const std::string errPath = folder.path("captured.err");
        const std::string searchPath = folder.path("bin") + ":" + getenv("PATH");
        const pid_t child = fork();
        if (child == 0) {
            const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            const int in = open("/dev/null", O_RDONLY);
            if (out < 0 || err < 0 || in < 0 || chdir(folder.path().c_str()) != 0) _exit(125);
            dup2(in, STDIN_FILENO);
            dup2(out, STDOUT_FILENO);
            dup2(err, STDERR_FILENO);
            setenv("PATH", searchPath.c_str(), 1);
            setenv("LC_ALL", "C", 1);
            std::signal(SIGPIPE, SIG_DFL);
            std::signal(SIGINT, SIG_DFL);
            execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
            _exit(126);
        }
        Outcome outcome;
        int status = 0;
        rusage used{};
        if (child < 0 || wait4(child, &status, 0, &used) != child) {
            ADD_FAILURE() << "cannot run " << command;
            return outcome;
        }
        outcome.out = folder.read("captured.out");
        outcome.err = folder.read("captured.err");
        outcome.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        outcome.maxMemory = used.ru_maxrss;
        return outcome;
    }

    /// The lines of what --dump prints for a command's feed.
    std::string dumpOf(const std::string& arguments) const { return run("pis replay --dump " + arguments).out; }

    static constexpr const char* kLine1 = R"({"table":"lines","id":1,"name":"North","abrv":"N"})"
                                          "\n";
    static constexpr const char* kLine2 = R"({"table":"lines","id":2,"name":"South","abrv":"S"})"
                                          "\n";
    const std::string line1 = "{\"at\":0,\"update\":2,\"id\":1,\"fields\":[\"North\",\"N\"]}\n";
    const std::string line2 = "{\"at\":0,\"update\":2,\"id\":2,\"fields\":[\"South\",\"S\"]}\n";
    TempFolder folder;
};

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

std::string firstLineOf(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

bool holds(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

/// A value of a summary, with dots between keys: "tables.lines". Numbers, flags and texts alike.
std::string valueOf(const std::string& json, const std::string& path) {
    dom::parser parser;
    dom::element value;
    if (parser.parse(json).get(value) != simdjson::SUCCESS) return "not JSON: " + json;
    std::istringstream keys(path);
    for (std::string key; std::getline(keys, key, '.');) {
        if (value.is_array() ? value.at(std::stoul(key)).get(value) : value.at_key(key).get(value)) return "no " + path;
    }
    std::string_view text;
    return value.get(text) == simdjson::SUCCESS ? std::string(text) : simdjson::minify(value);
}

/// "delivered ignored told deletions left_out_of_snapshots" of an element type.
std::string elementOf(const std::string& json, int code) {
    for (int i = 0; i < 13; ++i) {
        const std::string path = "elements." + std::to_string(i) + ".";
        if (valueOf(json, path + "code") != std::to_string(code)) continue;
        return valueOf(json, path + "name") + ": " + valueOf(json, path + "delivered") + " " +
               valueOf(json, path + "ignored") + " " + valueOf(json, path + "told") + " " +
               valueOf(json, path + "deletions") + " " + valueOf(json, path + "left_out_of_snapshots");
    }
    return "none";
}

/// A feed with something of everything that the summary shows.
const std::string& mixedFeed() {
    static const std::string feed =
        "{\"update\":98,\"id\":1,\"fields\":[\"\",\"\",\"1\"]}\n"
        "{\"update\":13,\"id\":1,\"fields\":[\"Y\"]}\n"
        "{\"update\":2,\"id\":1,\"fields\":[\"North\",\"N\"]}\n"
        "{\"update\":2,\"id\":1,\"fields\":[\"North\",\"N\"]}\n"
        "{\"update\":2,\"id\":0,\"fields\":[\"None\",\"0\"]}\n"
        "{\"update\":3,\"id\":30,\"fields\":[\"Train\",\"T\",\"4\",\"80\"]}\n"
        "{\"update\":4,\"id\":40,\"fields\":[\"Harbour\",\"H\",\"Y\",\"50\"]}\n"
        "{\"update\":5,\"id\":50,\"fields\":[\"40\",\"\",\"Track\",\"km 0\"]}\n"
        "{\"update\":6,\"id\":60,\"fields\":[\"Trip\",\"1\",\"1\",\"2\",\"express\",\"70\"]}\n"
        "{\"update\":7,\"id\":70,\"fields\":[\"60\",\"50\",\"Y\",\"0\",\"30\"]}\n"
        "{\"update\":8,\"id\":80,\"fields\":[\"60\",\"21600\",\"30\",\"70\",\"0\",\"40\",\"0\",\"1\"]}\n"
        "{\"update\":9,\"id\":90,\"fields\":[\"80\",\"70\",\"21600\",\"0\",\"0\"]}\n"
        "{\"update\":9,\"id\":91,\"fields\":[\"80\",\"70\",\"21600\",\"0\",\"0\"]}\n"
        "{\"update\":10,\"id\":30,\"fields\":[\"Y\",\"km 0\",\"1\",\"in service\",\"80\"]}\n"
        "{\"update\":11,\"id\":50,\"fields\":[\"2\",\"on platform\",\"90\"]}\n"
        "{\"update\":12,\"id\":80,\"fields\":[\"90\",\"1\",\"running\"]}\n"
        "{\"update\":77,\"id\":1,\"fields\":[\"?\"]}\n"
        "{\"delete\":9,\"id\":91}\n"
        "{\"delete\":10,\"id\":30}\n"
        "{\"delete\":77,\"id\":1}\n"
        "{\"delete\":0,\"id\":123456}\n"
        "{\"snapshot\":\"begin\"}\n"
        "{\"update\":2,\"id\":2,\"fields\":[\"South\",\"S\"]}\n"
        "{\"update\":8,\"id\":80,\"fields\":[\"60\",\"21600\",\"30\",\"70\",\"0\",\"40\",\"0\",\"1\"]}\n"
        "{\"update\":9,\"id\":90,\"fields\":[\"80\",\"70\",\"21600\",\"0\",\"0\"]}\n"
        "{\"snapshot\":\"end\"}\n";
    return feed;
}

// --- Help and wrong calls -----------------------------------------------------------------------

TEST_F(PisCommand, TellsItsVersion) {
    const Outcome outcome = run("pis --version");
    EXPECT_TRUE(std::regex_match(outcome.out, std::regex(R"(pis \d+\.\d+\.\d+\n)"))) << outcome.out;
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(PisCommand, HelpsOnEveryLevel) {
    for (const std::string option : {"--help", "-h"}) {
        const Outcome all = run("pis " + option);
        const Outcome replay = run("pis replay " + option);
        const Outcome check = run("pis check " + option);
        for (const Outcome& outcome : {all, replay, check}) {
            EXPECT_EQ(outcome.err, "");
            EXPECT_EQ(outcome.status, 0);
            EXPECT_TRUE(holds(outcome.out, "Usage: pis")) << outcome.out;
            EXPECT_TRUE(holds(outcome.out, "Exit status: 0")) << outcome.out;
        }
        for (const char* word : {"replay", "check", "--version"}) EXPECT_TRUE(holds(all.out, word)) << word;
        for (const char* word : {"FILE", "--speed", "--keep-going", "--json", "--dump", "--trace", "--debug-level",
                                 "--log-file", "standard input", ".gz"}) {
            EXPECT_TRUE(holds(replay.out, word)) << word;
        }
        for (const char* word : {"FILE", "standard input", ".gz"}) EXPECT_TRUE(holds(check.out, word)) << word;
    }
}

TEST_F(PisCommand, AWrongCallSaysSoOnStandardErrorAndEndsWithTwo) {
    folder.write("feed", line1);
    for (const char* call :
         {"pis", "pis replay", "pis check", "pis bogus", "pis --bogus", "pis replay --bogus feed",
          "pis replay --speed feed", "pis replay --speed 0 feed", "pis replay --speed -1 feed",
          "pis replay --speed fast feed", "pis replay --speed inf feed", "pis replay --debug-level x feed",
          "pis replay --debug-level 1.5 feed", "pis replay --json --dump feed", "pis replay --json --trace feed",
          "pis replay --dump --trace feed", "pis check --dump feed", "pis replay feed --log-file"}) {
        const Outcome outcome = run(call);
        EXPECT_EQ(outcome.status, 2) << call;
        EXPECT_EQ(outcome.out, "") << call;
        EXPECT_NE(outcome.err, "") << call;
    }
}

TEST_F(PisCommand, AWordThatIsNoSubcommandIsNamed) {
    EXPECT_TRUE(holds(run("pis bogus").err, "bogus")) << run("pis bogus").err;
}

TEST_F(PisCommand, AFileMayBearTheNameOfASubcommand) {
    folder.write("check", line1);
    folder.write("replay", line2);
    EXPECT_EQ(dumpOf("check replay"), std::string(kLine1) + kLine2);
    EXPECT_EQ(run("pis check check replay").out, "2 records, no findings\n");
}

TEST_F(PisCommand, AFileMayBeginWithADash) {
    folder.write("-feed", line1);
    EXPECT_EQ(dumpOf("-- -feed"), kLine1);
    EXPECT_EQ(dumpOf("./-feed"), kLine1);
}

// --- The summary --------------------------------------------------------------------------------

TEST_F(PisCommand, ReplaySumsUpForPeople) {
    folder.write("mixed.jsonl", mixedFeed());
    const Outcome outcome = run("pis replay mixed.jsonl");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "") << "no bar where there is no terminal";
    std::vector<std::string> lines = linesOf(outcome.out);
    ASSERT_GT(lines.size(), 2U);
    EXPECT_TRUE(std::regex_match(lines[1], std::regex(R"(26 records in \d+\.\d\d s, [\d,]+ a second)"))) << lines[1];
    EXPECT_TRUE(std::regex_match(lines.back(), std::regex("Contents [0-9a-f]{16}"))) << lines.back();
    lines.erase(lines.begin() + 1);
    lines.pop_back();
    std::string rest;
    for (const std::string& line : lines) rest += line + "\n";
    EXPECT_EQ(rest, R"(mixed.jsonl

Element                          delivered   ignored        told   deletions
  2 line                                 3         1           2           1
  3 vehicle                              1         0           1           1
  4 station                              1         0           1           1
  5 platform                             1         0           1           1
  6 trip                                 1         0           1           1
  7 trip stop                            1         0           -           1
  8 service                              2         0           1           0
  9 service stop                         3         0           -           1
 10 vehicle state                        1         1           1           -
 11 platform state                       1         0           1           -
 12 service state                        1         0           2           -
 13 automatic message state              1         0           -           -
 98 signalling server status             1         0           1           -
    unknown code                         -         2           -           -
    every type at once                   -         -           -           1

Tables at the end
    lines                                1
    vehicles                             0
    stations                             0
    platforms                            0
    trips                                0
    trip stops                           0
    services                             1
    service stops                        1

Events
 24 signalling server online             1
 26 line updated                         3
 27 line deleted                         1
 28 vehicle updated                      2
 29 vehicle deleted                      1
 30 station updated                      1
 31 station deleted                      1
 32 platform updated                     2
 33 platform deleted                     1
 34 service updated                      4
 36 trip updated                         1
 37 trip deleted                         1

Observer calls
    onServerStatusUpdated                1
    onLineUpdated                        2
    onLineRemoved                        1
    onVehicleUpdated                     2
    onVehicleRemoved                     1
    onStationUpdated                     1
    onStationRemoved                     1
    onPlatformInfoUpdated                2
    onPlatformInfoRemoved                1
    onServiceUpdated                     3
    onTripUpdated                        1
    onTripRemoved                        1

Signalling server online, automatic messages on
1 snapshot taken, 1 state reset
)");
}

TEST_F(PisCommand, ReplaySumsUpAsOneJsonObject) {
    folder.write("mixed.jsonl", mixedFeed());
    const Outcome outcome = run("pis replay --json mixed.jsonl");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 1) << "on one line";
    const auto value = [&outcome](const char* path) { return valueOf(outcome.out, path); };
    EXPECT_EQ(value("files"), R"(["mixed.jsonl"])");
    EXPECT_EQ(value("records"), "26");
    EXPECT_EQ(value("skipped_lines"), "0");
    EXPECT_EQ(value("snapshots"), "1");
    EXPECT_GE(std::stod(value("seconds")), 0);
    EXPECT_GE(std::stod(value("records_per_second")), 0);
    EXPECT_EQ(elementOf(outcome.out, 2), "line: 3 1 2 0 1");
    EXPECT_EQ(elementOf(outcome.out, 7), "trip stop: 1 0 0 0 1");
    EXPECT_EQ(elementOf(outcome.out, 8), "service: 2 0 1 0 0");
    EXPECT_EQ(elementOf(outcome.out, 9), "service stop: 3 0 0 1 0");
    EXPECT_EQ(elementOf(outcome.out, 10), "vehicle state: 1 1 1 0 0");
    EXPECT_EQ(elementOf(outcome.out, 98), "signalling server status: 1 0 1 0 0");
    EXPECT_EQ(value("unknown_code"), "2");
    EXPECT_EQ(value("partial"), "false");
    EXPECT_EQ(value("deletions_of_every_type"), "1");
    EXPECT_EQ(value("tables"), R"({"lines":1,"vehicles":0,"stations":0,"platforms":0,"trips":0,"trip_stops":0,)"
                               R"("services":1,"service_stops":1})");
    EXPECT_EQ(value("events"),
              R"({"24":1,"26":3,"27":1,"28":2,"29":1,"30":1,"31":1,"32":2,"33":1,"34":4,"36":1,"37":1})");
    EXPECT_EQ(value("observer_calls.onLineUpdated"), "2");
    EXPECT_EQ(value("observer_calls.onServiceRemoved"), "0");
    EXPECT_EQ(value("server_online"), "true");
    EXPECT_EQ(value("automatic_messages"), "true");
}

TEST_F(PisCommand, TheHashIsFnv1aOverTheDump) {
    folder.write("mixed.jsonl", mixedFeed());
    std::uint64_t hash = 14695981039346656037U;
    for (const char byte : dumpOf("mixed.jsonl")) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    }
    std::ostringstream digits;
    digits << std::hex;
    digits.width(16);
    digits.fill('0');
    digits << hash;
    EXPECT_EQ(valueOf(run("pis replay --json mixed.jsonl").out, "hash"), digits.str());
    EXPECT_TRUE(holds(run("pis replay mixed.jsonl").out, "\nContents " + digits.str() + "\n"));
}

TEST_F(PisCommand, AnEmptyFeedIsAFeed) {
    folder.write("empty", "");
    const Outcome outcome = run("pis replay --json empty");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(valueOf(outcome.out, "records"), "0");
    EXPECT_EQ(valueOf(outcome.out, "hash"), "cbf29ce484222325");
    EXPECT_EQ(valueOf(outcome.out, "events"), "{}");
}

TEST_F(PisCommand, FileNamesOfAllKindsStandInTheSummary) {
    const std::string name = "a \"feed\"\n\xff";
    folder.write(name, line1);
    const Outcome outcome = run("pis replay --json *feed*");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(valueOf(outcome.out, "files.0"), "a \"feed\"\n\xef\xbf\xbd");
}

// --- Dump and trace -----------------------------------------------------------------------------

TEST_F(PisCommand, DumpPrintsTheTablesAndNothingElse) {
    folder.write("mixed.jsonl", mixedFeed());
    const Outcome outcome = run("pis replay --dump mixed.jsonl");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              std::string(kLine2) +
                  R"({"table":"services","id":80,"name":"Trip","abrv":"","trip_id":60,"start_time":21600,)"
                  R"("vehicle_id":30,"following_stops":"","state":"NOT_STARTED","state_text":"NOT_STARTED",)"
                  R"("is_loading":false,"destination_station_id":40,"is_last_train":false,"line_id":1,)"
                  R"("direction":"ASCENDING","priority":"EXPRESS","priority_text":"express","stops":"70"})"
                  "\n"
                  R"({"table":"service_stops","id":90,"service_id":80,"trip_stop_id":70,)"
                  R"("service_start_time":21600,"arv_delay":0,"dep_delay":0,"trip_id":60,)"
                  R"("platform_id":50,"is_stopping":true,"sch_arv_offset":0,"sch_dep_offset":30})"
                  "\n");
    EXPECT_TRUE(holds(outcome.err, "26 records in ")) << "the summary is for people";
}

TEST_F(PisCommand, DumpCarriesNothingElseEvenWhereTheStoreLogsAndLinesAreSkipped) {
    folder.write("feed", line1 + "x\n" + line2);
    const Outcome outcome = run("pis replay --dump --keep-going --debug-level 2 feed");
    EXPECT_EQ(outcome.out, std::string(kLine1) + kLine2);
    EXPECT_EQ(outcome.status, 1);
}

TEST_F(PisCommand, TraceShowsHostAndObserverCallsInTheirOrder) {
    folder.write("feed", line1 + line1 +
                             "{\"at\":25200.5,\"update\":98,\"id\":1,\"fields\":[\"\",\"\",\"0\"]}\n"
                             "{\"update\":7,\"id\":70,\"fields\":[\"60\"]}\n"
                             "{\"update\":2,\"id\":1,\"fields\":[\"North\\n\",\"N\"]}\n"
                             "{\"at\":2.5e11,\"delete\":0,\"id\":0}\n");
    const Outcome outcome = run("pis replay --trace feed");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(
        outcome.out,
        "-\t-\tdebug 0 registerObserver: Adding observer to list. Total Observers >1<\n"
        "feed:1\t0\tdebug 2 updateLine: lineId >1< added to list. Total Lines >1<\n"
        "feed:1\t0\tobserver onLineUpdated {\"table\":\"lines\",\"id\":1,\"name\":\"North\",\"abrv\":\"N\"}\n"
        "feed:1\t0\tevent 26 1\n"
        "feed:2\t0\tevent 26 1\n"
        "feed:3\t25200.5\tevent 25 0\n"
        "feed:3\t25200.5\tobserver onServerStatusUpdated false\n"
        "feed:4\t-\tdebug 2 updateTripStop: tripStopId >70< added to list. Total TripStops >1<\n"
        "feed:5\t-\tdebug 2 updateLine: lineId >1< updated\n"
        "feed:5\t-\tobserver onLineUpdated {\"table\":\"lines\",\"id\":1,\"name\":\"North\\n\",\"abrv\":\"N\"}\n"
        "feed:5\t-\tevent 26 1\n"
        "feed:6\t250000000000\tobserver onLineRemoved {\"table\":\"lines\",\"id\":1,\"name\":\"North\\n\",\"abrv\":\"N\"}\n"
        "feed:6\t250000000000\tevent 27 1\n"
        "feed:6\t250000000000\tdebug 1 deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >1< deleted\n"
        "feed:6\t250000000000\tdebug 1 deletePassengerInformation: PI_STORAGE_ELEM_TRIP_STOP tripStopId >70< deleted\n")
        << "each with its place in the feed and the time of its record";
    EXPECT_TRUE(holds(outcome.err, "6 records in ")) << outcome.err;
}

TEST_F(PisCommand, ATraceIsWholeWhateverTheLogWrites) {
    folder.write("feed", line1);
    const std::string trace = run("pis replay --trace feed").out;
    EXPECT_TRUE(holds(trace, "debug 2 updateLine")) << trace;
    for (const char* level : {"0", "1", "2", "7"}) {
        EXPECT_EQ(run(std::string("pis replay --trace --log-file log --debug-level ") + level + " feed").out, trace);
    }
}

// --- Files --------------------------------------------------------------------------------------

TEST_F(PisCommand, SeveralFilesAreOneFeed) {
    folder.write("a", line1 + "{\"snapshot\":\"begin\"}");
    folder.write("b", line2);
    folder.write("c", "{\"snapshot\":\"end\"}\n");
    const Outcome outcome = run("pis replay --json a b c");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(valueOf(outcome.out, "files"), R"(["a","b","c"])");
    EXPECT_EQ(valueOf(outcome.out, "records"), "4");
    EXPECT_EQ(dumpOf("a b c"), kLine2);
    EXPECT_EQ(run("pis check a b c").out, "4 records, no findings\n");
}

TEST_F(PisCommand, ADashIsStandardInput) {
    folder.write("feed", line1);
    folder.write("more", line2);
    EXPECT_EQ(dumpOf("- <feed"), kLine1);
    EXPECT_EQ(run("cat feed | pis replay --dump -").out, kLine1);
    EXPECT_EQ(run("cat feed | pis replay --dump more - more").out, std::string(kLine2) + kLine1);
    EXPECT_EQ(run("cat feed | pis check -").out, "1 record, no findings\n");
}

TEST_F(PisCommand, CompressedFilesAreReadWhereverTheyComeFrom) {
    folder.write("feed.jsonl.gz", gzipped(line1) + gzipped(line2));
    EXPECT_EQ(dumpOf("feed.jsonl.gz"), std::string(kLine1) + kLine2);
    EXPECT_EQ(run("cat feed.jsonl.gz | pis replay --dump -").out, std::string(kLine1) + kLine2);
    EXPECT_EQ(run("pis check feed.jsonl.gz").out, "2 records, no findings\n");
}

TEST_F(PisCommand, AFileThatCannotBeOpenedIsNamed) {
    folder.write("feed", line1);
    for (const std::string command : {"replay", "check"}) {
        const Outcome missing = run("pis " + command + " feed none");
        EXPECT_EQ(firstLineOf(missing.err), "none: cannot open: No such file or directory");
        EXPECT_EQ(missing.status, 2);
        const Outcome aFolder = run("pis " + command + " feed .");
        EXPECT_EQ(firstLineOf(aFolder.err), ".: is a directory, not a feed");
        EXPECT_EQ(aFolder.status, 2);
    }
    EXPECT_EQ(dumpOf("feed none"), kLine1) << "what came before is delivered";
}

TEST_F(PisCommand, KeepGoingGoesOnBehindAFileThatCannotBeOpenedAndStillFails) {
    folder.write("feed", line1);
    const Outcome outcome = run("pis replay --keep-going --dump none feed");
    EXPECT_EQ(outcome.out, kLine1);
    EXPECT_EQ(outcome.status, 2);
}

// --- Faults in a feed ---------------------------------------------------------------------------

struct Fault {
    const char* name;
    std::string line;
    const char* message;
};

std::vector<Fault> faults() {
    return {
        {"no JSON", "x", "not JSON: the line is cut short, or a bracket, comma or colon stands wrong"},
        {"a NUL as an escape", R"({"update":2,"id":9,"fields":["a\u0000"]})", "field 1 holds a NUL character"},
        {"a NUL byte", std::string("{\"delete\":2,\0\"id\":1}", 20), "not JSON: a NUL byte in the line"},
        {"an id out of range", R"({"delete":2,"id":2147483648})", "\"id\" is out of range: -2147483648 to 2147483647"},
        {"above 1 MiB", std::string(1048577, ' '), "the line is longer than 1 MiB"},
        {"not UTF-8", "{\"update\":2,\"id\":9,\"fields\":[\"\xff\"]}", "not JSON: the text is not UTF-8"},
        {"no record", "{}", "names neither \"update\" nor \"delete\" nor \"snapshot\""},
        {"an end without a begin", R"({"snapshot":"end"})", "the snapshot that ends here has not begun"},
    };
}

TEST_F(PisCommand, AFaultyLineEndsTheReplayBehindAllThatCameBefore) {
    for (const Fault& fault : faults()) {
        folder.write("feed", line1 + fault.line + "\n" + line2);
        const Outcome outcome = run("pis replay --dump feed");
        EXPECT_EQ(firstLineOf(outcome.err), std::string("feed:2: ") + fault.message) << fault.name;
        EXPECT_EQ(outcome.status, 2) << fault.name;
        EXPECT_EQ(outcome.out, kLine1) << fault.name;
    }
}

TEST_F(PisCommand, KeepGoingSkipsFaultyLinesAndSaysSoAtTheEnd) {
    for (const Fault& fault : faults()) {
        folder.write("feed", line1 + fault.line + "\n" + fault.line + "\n" + line2);
        const Outcome outcome = run("pis replay --keep-going --dump feed");
        EXPECT_EQ(outcome.status, 1) << fault.name;
        EXPECT_EQ(outcome.out, std::string(kLine1) + kLine2) << fault.name;
        const std::vector<std::string> lines = linesOf(outcome.err);
        ASSERT_GT(lines.size(), 2U);
        EXPECT_EQ(lines[0], std::string("feed:2: ") + fault.message);
        EXPECT_EQ(lines[1], std::string("feed:3: ") + fault.message);
        EXPECT_TRUE(holds(outcome.err, "\n2 faulty lines skipped\n")) << outcome.err;
        EXPECT_EQ(valueOf(run("pis replay --keep-going --json feed").out, "skipped_lines"), "2") << fault.name;
    }
    folder.write("feed", line1 + "x\n");
    const Outcome one = run("pis replay --keep-going feed");
    EXPECT_TRUE(holds(one.out, "\n1 faulty line skipped\n")) << one.out;
}

TEST_F(PisCommand, KeepGoingWithNothingToSkipEndsWithZero) {
    folder.write("feed", line1);
    const Outcome outcome = run("pis replay --keep-going feed");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_FALSE(holds(outcome.out, "skipped"));
}

TEST_F(PisCommand, ATruncatedCompressedFileIsAFaultBehindAllThatCameBefore) {
    std::string packed = gzipped(line1 + line2);
    packed.resize(packed.size() - 4);
    folder.write("feed.gz", packed);
    folder.write("more", "{\"delete\":2,\"id\":1}\n");
    const Outcome outcome = run("pis replay --dump feed.gz more");
    EXPECT_EQ(firstLineOf(outcome.err), "feed.gz:3: the compressed file ends too soon: it is cut short");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, std::string(kLine1) + kLine2);

    const Outcome onward = run("pis replay --dump --keep-going feed.gz more");
    EXPECT_EQ(onward.out, kLine2);
    EXPECT_EQ(onward.status, 2);
}

TEST_F(PisCommand, AnUnfinishedSnapshotDeletesNothingAndIsAFault) {
    folder.write("feed", line1 + "{\"snapshot\":\"begin\"}\n" + line2);
    for (const std::string option : {"", "--keep-going "}) {
        const Outcome outcome = run("pis replay --dump " + option + "feed");
        EXPECT_EQ(firstLineOf(outcome.err),
                  "feed:2: the snapshot that begins here does not end: nothing that it leaves out was deleted");
        EXPECT_EQ(outcome.status, 2);
        EXPECT_EQ(outcome.out, std::string(kLine1) + kLine2);
    }
}

TEST_F(PisCommand, ASnapshotThatBeginsAgainBeforeItsEndStartsOver) {
    folder.write("feed", "{\"snapshot\":\"begin\"}\n" + line1 + "{\"snapshot\":\"begin\"}\n" + line2 +
                             "{\"snapshot\":\"end\"}\n");
    EXPECT_EQ(dumpOf("feed"), kLine2);
    const Outcome outcome = run("pis replay --json feed");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(valueOf(outcome.out, "snapshots"), "1");
}

TEST_F(PisCommand, AStateThatASnapshotDoesNotBringIsReset) {
    folder.write("feed",
                 "{\"update\":8,\"id\":80,\"fields\":[\"60\"]}\n"
                 "{\"update\":12,\"id\":80,\"fields\":[\"90\",\"8\",\"cancelled\"]}\n"
                 "{\"snapshot\":\"begin\"}\n"
                 "{\"update\":8,\"id\":80,\"fields\":[\"60\"]}\n"
                 "{\"snapshot\":\"end\"}\n");
    folder.write("fresh",
                 "{\"snapshot\":\"begin\"}\n"
                 "{\"update\":8,\"id\":80,\"fields\":[\"60\"]}\n"
                 "{\"snapshot\":\"end\"}\n");
    const Outcome outcome = run("pis replay --json feed");
    EXPECT_EQ(elementOf(outcome.out, 12), "service state: 1 0 2 0 0");
    EXPECT_EQ(valueOf(outcome.out, "elements.10.reset_by_snapshots"), "1");
    EXPECT_EQ(valueOf(outcome.out, "elements.6.reset_by_snapshots"), "0");
    EXPECT_EQ(dumpOf("feed"), dumpOf("fresh"));
}

// --- Pace ---------------------------------------------------------------------------------------

std::string deletionAt(const std::string& at) {
    return "{\"at\":" + at + ",\"delete\":2,\"id\":1}\n";
}

TEST_F(PisCommand, SpeedHoldsRecordsBackUntilTheyAreDue) {
    folder.write("feed", deletionAt("500") + deletionAt("400") + "{\"delete\":2,\"id\":1}\n" + deletionAt("900"));
    const Outcome outcome = run("pis replay --speed 1000 --json feed");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(valueOf(outcome.out, "records"), "4");
    EXPECT_GE(std::stod(valueOf(outcome.out, "seconds")), 0.4);
}

TEST_F(PisCommand, ASimulationWithASpeedWritesEachLineAsItComes) {
    // Behind the whole state nothing comes for hours, so that nothing pushes its last line out.
    const Outcome outcome = run("mkfifo feed; pis simulate " PIS_SAMPLES
                                "/harbour-line.json --speed 0.001 > feed & pid=$!;"
                                " timeout 60 grep -m 1 '\"snapshot\":\"end\"' < feed;"
                                " kill -0 $pid && echo it runs; kill $pid; wait $pid; echo status $?");
    EXPECT_EQ(outcome.out, "{\"at\":14400,\"snapshot\":\"end\"}\nit runs\nstatus 143\n") << outcome.err;
}

TEST_F(PisCommand, WithoutASpeedADayDoesNotTakeADay) {
    folder.write("feed", deletionAt("0") + deletionAt("86400"));
    EXPECT_EQ(run("timeout 60 pis replay feed").status, 0);
}

TEST_F(PisCommand, ASpeedThatIsNoNumberIsAWrongCall) {
    folder.write("feed", deletionAt("0") + deletionAt("1"));
    EXPECT_EQ(run("timeout 5 pis replay --speed nan feed").status, 2);
}

TEST_F(PisCommand, AnInterruptEndsAReplayInGoodOrder) {
    folder.write("feed", "{\"at\":0,\"update\":2,\"id\":1,\"fields\":[\"North\",\"N\"]}\n" + deletionAt("100000"));
    // The first record is logged at once; the second is due in more than a day.
    for (const auto& [signal, status] : {std::pair("INT", 130), std::pair("TERM", 143)}) {
        const std::string err = std::string("err-") + signal;  // a file that no round before has written to
        const Outcome outcome =
            run("pis replay --speed 1 --debug-level 2 --dump feed 2>" + err + " & pid=$!\n" + "until grep -q added " +
                err + "; do sleep 0.02; done\n" + "kill -" + signal + " $pid\n" + "wait $pid");
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.out, kLine1);
        EXPECT_TRUE(holds(folder.read(err), "\n1 record in ")) << folder.read(err);
        EXPECT_TRUE(holds(folder.read(err), "\nInterrupted: this is partial, the rest of the feed was not taken\n"))
            << folder.read(err);
    }
}

TEST_F(PisCommand, AnInterruptEndsASnapshotsLongEndBetweenTwoDeletions) {
    std::string feed;
    for (int id = 1; id <= 20000; ++id) feed += "{\"update\":8,\"id\":" + std::to_string(id) + ",\"fields\":[]}\n";
    folder.write("feed", feed + "{\"snapshot\":\"begin\"}\n{\"snapshot\":\"end\"}\n");
    const Outcome outcome =
        run("pis replay --debug-level 1 --json feed 2>err & pid=$!\n"
            "until grep -q deleted err; do sleep 0.02; done\n"
            "kill -INT $pid\n"
            "wait $pid");
    EXPECT_EQ(outcome.status, 130);
    EXPECT_TRUE(
        holds(folder.read("err"), "feed:20002: told to stop before everything that it leaves out was deleted\n"));
    EXPECT_EQ(valueOf(outcome.out, "partial"), "true");
    EXPECT_EQ(valueOf(outcome.out, "snapshots"), "0");
    EXPECT_EQ(std::stoi(valueOf(outcome.out, "tables.services")) +
                  std::stoi(valueOf(outcome.out, "elements.6.left_out_of_snapshots")),
              20000);
    EXPECT_EQ(valueOf(outcome.out, "events.35"), valueOf(outcome.out, "elements.6.left_out_of_snapshots"));
}

TEST_F(PisCommand, AnInterruptOnAPipeIsNoReadingFault) {
    const Outcome outcome =
        run("mkfifo fifo\n"
            "pis replay --dump fifo 2>err & pid=$!\n"
            "exec 3>fifo\n"  // waits until it is read from
            "kill -INT $pid\n"
            "wait $pid");
    EXPECT_EQ(outcome.status, 130);
    EXPECT_FALSE(holds(folder.read("err"), "cannot read")) << folder.read("err");
}

// --- Output -------------------------------------------------------------------------------------

TEST_F(PisCommand, EndsQuietlyWhenItsReaderHasEnough) {
    std::string feed;
    for (int i = 1; i <= 5000; ++i) {
        feed += "{\"update\":2,\"id\":" + std::to_string(i) + ",\"fields\":[\"North\",\"N\"]}\nx\n";
    }
    folder.write("feed", feed);
    const Outcome trace = run("{ pis replay --trace --keep-going feed 2>err; echo $? >status; } | head -1");
    EXPECT_EQ(trace.out, "-\t-\tdebug 0 registerObserver: Adding observer to list. Total Observers >1<\n");
    EXPECT_FALSE(holds(folder.read("err"), "output")) << folder.read("err");
    EXPECT_EQ(folder.read("status"), "141\n") << "as every program that nobody listens to any more";

    const Outcome dump = run("pis replay --dump --keep-going feed 2>/dev/null | head -1");
    EXPECT_EQ(dump.out, kLine1);
    EXPECT_EQ(dump.err, "");

    const Outcome check = run("pis check feed | head -1");
    EXPECT_EQ(check.out, "feed:2: not JSON: the line is cut short, or a bracket, comma or colon stands wrong\n");
    EXPECT_EQ(check.err, "");
}

TEST_F(PisCommand, AFullOutputDeviceIsReportedOnce) {
    if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no such device on this system";
    std::string longFeed;
    for (int i = 1; i <= 2000; ++i) {
        longFeed += "{\"update\":2,\"id\":" + std::to_string(i) + ",\"fields\":[\"North\",\"N\"]}\nx\n";
    }
    folder.write("short", line1);
    folder.write("long", longFeed);
    const std::string message = "pis: cannot write to standard output: No space left on device";
    for (const char* call :
         {"pis replay short", "pis replay --json short", "pis replay --dump short", "pis replay --trace short",
          "pis check short", "pis --version", "pis --help", "pis replay --help", "pis replay --keep-going --dump long",
          "pis replay --keep-going --trace long", "pis check long"}) {
        const Outcome outcome = run(std::string(call) + " >/dev/full");
        EXPECT_EQ(outcome.status, 2) << call;
        int times = 0;
        for (const std::string& line : linesOf(outcome.err)) {
            if (holds(line, "No space left on device")) {
                EXPECT_EQ(line, message) << call;
                ++times;
            }
        }
        EXPECT_EQ(times, 1) << call << "\n" << outcome.err;
    }
}

TEST_F(PisCommand, AClosedOutputIsReported) {
    folder.write("feed", line1);
    const Outcome outcome = run("pis replay --dump feed >&-");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_TRUE(holds(outcome.err, "pis: cannot write to standard output: ")) << outcome.err;
    EXPECT_EQ(folder.read("feed"), line1);
}

/// A terminal of the test's own.
class Terminal {
public:
    Terminal() : _master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        if (_master >= 0 && grantpt(_master) == 0 && unlockpt(_master) == 0) _path = ptsname(_master);
    }
    ~Terminal() {
        if (_master >= 0) close(_master);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Where programs open it; empty where there is none.
    const std::string& path() const { return _path; }

    void setColumns(unsigned short columns) const {
        const winsize size{24, columns, 0, 0};
        ioctl(_master, TIOCSWINSZ, &size);
    }

    /// What was written to it. To be called when every program has ended that had it open.
    std::string shown() const {
        std::string text;
        while (readInto(text)) continue;
        return text;
    }

    /// What was written to it until a text stood there so many times; all there is when the program ends before.
    std::string shownUntil(const std::string& wanted, int times) const {
        std::string text;
        const auto found = [&] {
            int count = 0;
            for (std::size_t at = text.find(wanted); at != std::string::npos; at = text.find(wanted, at + 1)) ++count;
            return count;
        };
        while (found() < times && readInto(text)) continue;
        return text;
    }

private:
    /// Waits for something to read. False when nobody has it open any more.
    bool readInto(std::string& text) const {
        char buffer[4096];
        const ssize_t got = read(_master, buffer, sizeof buffer);
        if (got > 0) text.append(buffer, static_cast<std::size_t>(got));
        return got > 0;
    }

    int _master;
    std::string _path;
};

/// A feed of four records that are due within half a second at a thousandfold pace.
std::string pacedFeed(std::size_t lineLength) {
    std::string feed;
    for (const char* at : {"0", "150", "300", "450"}) {
        std::string line = deletionAt(at);
        if (line.size() < lineLength) line.insert(line.size() - 1, lineLength - line.size(), ' ');
        feed += line;
    }
    return feed;
}

TEST_F(PisCommand, ATerminalOnStandardErrorShowsABarWithRateAndRemainingTime) {
    const Terminal terminal;
    if (terminal.path().empty()) GTEST_SKIP() << "no terminals on this system";
    folder.write("feed", pacedFeed(500000));
    const Outcome outcome = run("pis replay --speed 1000 --json feed 2>" + terminal.path());
    EXPECT_EQ(outcome.status, 0);
    const std::string shown = terminal.shown();
    EXPECT_TRUE(std::regex_search(shown, std::regex(R"(\[#+\.+\] +\d+%  \d records?, [\d,]+/s, \d+:\d\d left)")))
        << shown;
    const std::string wiped = "\r\x1b[K";
    ASSERT_GE(shown.size(), wiped.size());
    EXPECT_EQ(shown.substr(shown.size() - wiped.size()), wiped) << "nothing is left of it";
    EXPECT_EQ(valueOf(outcome.out, "records"), "4");
}

TEST_F(PisCommand, TheBarIsNotFullWhileRecordsAreStillToCome) {
    const Terminal terminal;
    if (terminal.path().empty()) GTEST_SKIP() << "no terminals on this system";
    folder.write("feed", pacedFeed(0));
    run("pis replay --speed 1000 --json feed 2>" + terminal.path());
    const std::string shown = terminal.shown();
    EXPECT_TRUE(holds(shown, "2 records")) << shown;
    EXPECT_FALSE(std::regex_search(shown, std::regex("100%  [123] records?"))) << shown;
}

TEST_F(PisCommand, TheBarGoesOnThroughAPause) {
    const Terminal terminal;
    if (terminal.path().empty()) GTEST_SKIP() << "no terminals on this system";
    const int keptOpen = open(terminal.path().c_str(), O_RDWR | O_NOCTTY);  // until the program has it
    folder.write("feed", deletionAt("0") + deletionAt("100000"));
    std::future<Outcome> replay = std::async(std::launch::async, [&] {
        return run("pis replay --speed 1 feed 2>" + terminal.path() + " & echo $! >pid.new; mv pid.new pid; wait $!");
    });
    // The second record is due in more than a day.
    const std::string shown = terminal.shownUntil("1 record, ", 5);
    EXPECT_TRUE(holds(shown, "1 record, ")) << shown;
    while (!std::filesystem::exists(folder.path("pid"))) std::this_thread::yield();  // the shell writes it meanwhile
    kill(std::stoi(folder.read("pid")), SIGINT);
    EXPECT_EQ(replay.get().status, 130);
    close(keptOpen);
}

TEST_F(PisCommand, TheBarStaysOnItsLineWhereTheTerminalIsNarrow) {
    const Terminal terminal;
    if (terminal.path().empty()) GTEST_SKIP() << "no terminals on this system";
    terminal.setColumns(40);
    folder.write("feed", pacedFeed(0));
    run("pis replay --speed 1000 --json feed 2>" + terminal.path());
    const std::string shown = terminal.shown();
    std::size_t lines = 0;
    for (std::size_t begin = shown.find("\r["); begin != std::string::npos; begin = shown.find("\r[", begin + 1)) {
        EXPECT_LT(shown.find("\x1b[K", begin) - begin - 1, 40U) << shown;
        ++lines;
    }
    EXPECT_GT(lines, 1U) << shown;
}

TEST_F(PisCommand, APipeHasNoLengthAndNoRemainingTime) {
    const Terminal terminal;
    if (terminal.path().empty()) GTEST_SKIP() << "no terminals on this system";
    folder.write("feed", pacedFeed(0));
    run("cat feed | pis replay --speed 1000 --json - 2>" + terminal.path());
    const std::string shown = terminal.shown();
    EXPECT_TRUE(std::regex_search(shown, std::regex(R"(\r\d records?, [\d,]+/s)"))) << shown;
    EXPECT_FALSE(holds(shown, "left")) << shown;
}

// --- The log ------------------------------------------------------------------------------------

/// A log without the times in front of its lines.
std::string withoutTimes(const std::string& log) {
    return std::regex_replace(log, std::regex(R"((^|\n)\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} )"), "$1");
}

TEST_F(PisCommand, LogsWhatTheLevelAsksForToStandardErrorOrAFile) {
    folder.write("feed", line1 + "{\"delete\":2,\"id\":1}\n");
    const std::string registered = "[debug 0] registerObserver: Adding observer to list. Total Observers >1<\n";
    const std::string added = "[debug 2] updateLine: lineId >1< added to list. Total Lines >1<\n";
    const std::string deleted = "[debug 1] deletePassengerInformation: PI_STORAGE_ELEM_LINE lineId >1< deleted\n";
    EXPECT_EQ(run("pis replay feed").err, "");
    EXPECT_EQ(run("pis replay --debug-level -1 feed").err, "");
    EXPECT_EQ(withoutTimes(run("pis replay --debug-level 0 feed").err), registered);
    EXPECT_EQ(withoutTimes(run("pis replay --debug-level 1 feed").err), registered + deleted);
    EXPECT_EQ(withoutTimes(run("pis replay --debug-level 2 feed").err), registered + added + deleted);

    const Outcome outcome =
        run("pis replay --debug-level 2 --log-file log feed && pis replay --debug-level 1 --log-file log feed");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(withoutTimes(folder.read("log")), registered + added + deleted + registered + deleted)
        << "the second run appends";
}

TEST_F(PisCommand, ALogFileThatCannotBeWrittenIsAFault) {
    folder.write("feed", line1);
    const Outcome outcome = run("pis replay --log-file . feed");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err.rfind("pis: cannot write the log: ", 0), 0U) << outcome.err;
}

TEST_F(PisCommand, AFullLogDeviceDoesNotPassForSuccess) {
    if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no such device on this system";
    folder.write("feed", line1);
    const Outcome outcome = run("pis replay --debug-level 2 --log-file /dev/full feed");
    EXPECT_NE(outcome.status, 0);
    EXPECT_TRUE(holds(outcome.err, "pis: cannot write the log: ")) << outcome.err;
}

// --- Check --------------------------------------------------------------------------------------

class PisCheck : public PisCommand {
protected:
    /// What is found in a feed, without the last line, which counts it.
    std::string findingsIn(const std::string& contents) {
        folder.write("feed", contents);
        const Outcome outcome = run("pis check feed");
        EXPECT_EQ(outcome.err, "");
        std::vector<std::string> lines = linesOf(outcome.out);
        if (lines.empty()) return "nothing printed";
        const std::size_t number = lines.size() - 1;
        const std::string counted = number == 0   ? "no findings"
                                    : number == 1 ? "1 finding"
                                                  : std::to_string(number) + " findings";
        EXPECT_TRUE(std::regex_match(lines.back(), std::regex("\\d+ records?, " + counted))) << outcome.out;
        EXPECT_EQ(outcome.status, number == 0 ? 0 : 1);
        lines.pop_back();
        std::string findings;
        for (const std::string& line : lines) findings += line + "\n";
        return findings;
    }

    /// One update with these fields, given as JSON, in a feed that has what they name.
    std::string findingsIn(int type, const std::string& fields) {
        return findingsIn(elements + "{\"update\":" + std::to_string(type) + ",\"id\":1,\"fields\":" + fields + "}\n");
    }

    /// Element 1 of every type, each in order, on lines 1 to 8.
    const std::string elements =
        "{\"update\":2,\"id\":1,\"fields\":[\"North\",\"N\"]}\n"
        "{\"update\":3,\"id\":1,\"fields\":[\"Train\",\"T\",\"4\",\"1\"]}\n"
        "{\"update\":4,\"id\":1,\"fields\":[\"Harbour\",\"H\",\"Y\",\"1\"]}\n"
        "{\"update\":5,\"id\":1,\"fields\":[\"1\",\"\",\"Track\",\"km 0\"]}\n"
        "{\"update\":6,\"id\":1,\"fields\":[\"Trip\",\"1\",\"1\",\"0\",\"all\",\"1\"]}\n"
        "{\"update\":7,\"id\":1,\"fields\":[\"1\",\"1\",\"N\",\"0\",\"30\"]}\n"
        "{\"update\":8,\"id\":1,\"fields\":[\"1\",\"21600\",\"1\",\"1\",\"0\",\"1\",\"0\",\"1\"]}\n"
        "{\"update\":9,\"id\":1,\"fields\":[\"1\",\"1\",\"21600\",\"-60\",\"0\"]}\n";
};

TEST_F(PisCheck, FindsNothingInACleanFeed) {
    EXPECT_EQ(findingsIn(elements), "");
    EXPECT_EQ(
        findingsIn(
            elements +
            "{\"update\":10,\"id\":1,\"fields\":[\"Y\",\"km 0\",\"1\",\"in\",\"1\",\"0\",\"none\",\"3\",\"both\"]}\n"
            "{\"update\":11,\"id\":1,\"fields\":[\"2\",\"on platform\",\"1\"]}\n"
            "{\"update\":12,\"id\":1,\"fields\":[\"1\",\"8\",\"cancelled\"]}\n"
            "{\"update\":13,\"id\":1,\"fields\":[\"N\"]}\n"
            "{\"update\":98,\"id\":1,\"fields\":[\"\",null,\"1\"]}\n"
            "{\"snapshot\":\"begin\"}\n"
            "{\"snapshot\":\"end\"}\n"
            "{\"delete\":8,\"id\":1}\n"
            "{\"delete\":8,\"id\":0}\n"
            "{\"delete\":0,\"id\":0}\n"),
        "");
    EXPECT_EQ(findingsIn(""), "");
}

TEST_F(PisCheck, EmptyListsAreNoFindings) {
    EXPECT_EQ(findingsIn(3, R"(["Train","T","4",""])"), "");
    EXPECT_EQ(findingsIn(4, R"(["Harbour","H","N",""])"), "");
    EXPECT_EQ(findingsIn(6, R"(["Trip","1","1","0","all",""])"), "");
    EXPECT_EQ(findingsIn(8, R"(["1","0","1","","0","1","0","1"])"), "");
    EXPECT_EQ(findingsIn(11, R"(["0","none",""])"), "");
    EXPECT_EQ(findingsIn(12, R"(["","1","running"])"), "");
}

TEST_F(PisCheck, ZeroWhereItMeansNoneIsNoFinding) {
    EXPECT_EQ(findingsIn(8, R"(["1","21600","0","1","0","0","0","0"])"), "");
    EXPECT_EQ(findingsIn(10, R"(["N","km 0","0","out","0","0","none","0","none"])"), "");
}

TEST_F(PisCheck, FindsMalformedLines) {
    for (const Fault& fault : faults()) {
        EXPECT_EQ(findingsIn(elements + fault.line + "\n{\"delete\":2,\"id\":1}\n"),
                  std::string("feed:9: ") + fault.message + "\n")
            << fault.name;
    }
}

TEST_F(PisCheck, FindsUnknownCodes) {
    EXPECT_EQ(findingsIn("{\"update\":77,\"id\":1,\"fields\":[\"x\"]}\n{\"update\":-1,\"id\":1,\"fields\":[]}\n"
                         "{\"delete\":77,\"id\":1}\n{\"delete\":10,\"id\":1}\n{\"delete\":98,\"id\":0}\n"),
              "feed:1: unknown code 77: the record is ignored\n"
              "feed:2: unknown code -1: the record is ignored\n"
              "feed:3: a deletion with code 77 removes nothing\n"
              "feed:4: a deletion with code 10 removes nothing\n"
              "feed:5: a deletion with code 98 removes nothing\n");
}

TEST_F(PisCheck, FindsRecordsThatAreIgnored) {
    EXPECT_EQ(findingsIn("{\"update\":2,\"id\":0,\"fields\":[\"North\",\"N\"]}\n"
                         "{\"update\":12,\"id\":0,\"fields\":[\"\",\"1\",\"x\"]}\n"
                         "{\"update\":98,\"id\":2,\"fields\":[\"\",\"\",\"1\"]}\n"
                         "{\"update\":13,\"id\":0,\"fields\":[\"Y\"]}\n"),
              "feed:1: line 0: a record with id 0 is ignored\n"
              "feed:2: service state 0: a record with id 0 is ignored\n"
              "feed:3: signalling server status 2: only record 1 is taken, this one is ignored\n"
              "feed:4: automatic message state 0: only record 1 is taken, this one is ignored\n");
}

TEST_F(PisCheck, FindsUnusableFields) {
    EXPECT_EQ(findingsIn(2, R"([null,"N"])"), "feed:9: line 1: field 1 (name) is null: the default is used\n");
    EXPECT_EQ(findingsIn(2, R"(["",""])"),
              "feed:9: line 1: field 1 (name) is empty: the default is used\n"
              "feed:9: line 1: field 2 (abbreviation) is empty: the default is used\n");
    EXPECT_EQ(findingsIn(2, R"-(["(null)","N"])-"),
              "feed:9: line 1: field 1 (name) is \"(null)\": the default is used\n");
    EXPECT_EQ(findingsIn(5, R"-(["1","(null)","Track",""])-"),
              "feed:9: platform 1: field 4 (location) is empty: the default is used\n")
        << "the second is not read";
    EXPECT_EQ(findingsIn(3, R"-(["Train","T","","(null)"])-"),
              "feed:9: vehicle 1: field 3 (cars) is empty: the default is used\n"
              "feed:9: vehicle 1: field 4 (services) is \"(null)\": the default is used\n");
}

TEST_F(PisCheck, FindsMissingAndSurplusFields) {
    EXPECT_EQ(findingsIn(2, R"(["North"])"),
              "feed:9: line 1: field 2 (abbreviation) is missing: the default is used\n");
    EXPECT_EQ(findingsIn(2, R"(["North","N","x"])"), "feed:9: line 1: 3 fields, of which 2 are read\n");
    EXPECT_EQ(findingsIn(98, R"(["","","1","x","y"])"),
              "feed:9: signalling server status 1: 5 fields, of which 3 are read\n");
    EXPECT_EQ(findingsIn(2, "[]"), "") << "an element with nothing but its defaults";
}

TEST_F(PisCheck, FindsNumbersThatAreNone) {
    for (const std::string text :
         {"four", "4x", "4 ", "0x4", "4.0", "--4", "2147483648", "-2147483649", "99999999999999999999"}) {
        EXPECT_EQ(findingsIn(3, R"(["Train","T",")" + text + R"(","1"])"),
                  "feed:9: vehicle 1: field 3 (cars) is \"" + text + "\", not a number of 32 bits\n");
    }
    for (const std::string text : {"0", "-4", "+4", "2147483647", "-2147483648", "007"}) {
        EXPECT_EQ(findingsIn(3, R"(["Train","T",")" + text + R"(","1"])"), "") << text;
    }
    EXPECT_EQ(findingsIn(5, R"(["one","","Track","km 0"])"),
              "feed:9: platform 1: field 1 (station) holds \"one\", not a number of 32 bits\n");
    EXPECT_EQ(findingsIn(11, R"(["2","on platform","1!x!!1"])"),
              "feed:9: platform state 1: field 3 (passers) holds \"x\", not a number of 32 bits\n"
              "feed:9: platform state 1: field 3 (passers) holds \"\", not a number of 32 bits\n");
}

TEST_F(PisCheck, FindsFlagsThatOnlyLookLikeAYes) {
    for (const std::string text : {"y", "yes", "1", "true", "T"}) {
        EXPECT_EQ(findingsIn(4, R"(["Harbour","H",")" + text + R"(","1"])"),
                  "feed:9: station 1: field 3 (major) is \"" + text +
                      "\", which reads as no: only a Y at its front means yes\n");
    }
    for (const std::string text : {"Y", "Yes", "N", "no", "0"}) {
        EXPECT_EQ(findingsIn(4, R"(["Harbour","H",")" + text + R"(","1"])"), "") << text;
    }
}

TEST_F(PisCheck, FindsIdsThatNameNothingInTheFeed) {
    EXPECT_EQ(findingsIn(5, R"(["9","","Track","km 0"])"),
              "feed:9: platform 1: field 1 (station): station 9 is not in the feed\n");
    EXPECT_EQ(findingsIn(5, R"(["0","","Track","km 0"])"),
              "feed:9: platform 1: field 1 (station): station 0 is not in the feed\n")
        << "every platform has a station";
    EXPECT_EQ(findingsIn(6, R"(["Trip","8","1","0","all","1!7!1!7"])"),
              "feed:9: trip 1: field 2 (line): line 8 is not in the feed\n"
              "feed:9: trip 1: field 6 (stops): trip stop 7 is not in the feed (named 2 times)\n");
    EXPECT_EQ(findingsIn(elements + "{\"update\":12,\"id\":9,\"fields\":[\"\",\"1\",\"running\"]}\n"),
              "feed:9: service state: service 9 is not in the feed\n");
    EXPECT_EQ(findingsIn(elements + "{\"delete\":2,\"id\":9}\n"), "feed:9: deletion: line 9 is not in the feed\n");
    EXPECT_EQ(findingsIn(elements + "{\"delete\":0,\"id\":9}\n"), "") << "whatever bears that id";
}

TEST_F(PisCheck, AnIdMayComeBeforeTheElementThatItNames) {
    std::vector<std::string> lines = linesOf(elements);
    std::reverse(lines.begin(), lines.end());
    std::string reversed;
    for (const std::string& line : lines) reversed += line + "\n";
    EXPECT_EQ(findingsIn(reversed), "");
}

TEST_F(PisCheck, IdsAreNotFoundUnderOtherTypes) {
    EXPECT_EQ(findingsIn("{\"update\":2,\"id\":5,\"fields\":[\"North\",\"N\"]}\n"
                         "{\"update\":5,\"id\":6,\"fields\":[\"5\",\"\",\"Track\",\"km 0\"]}\n"),
              "feed:2: platform 6: field 1 (station): station 5 is not in the feed\n");
}

TEST_F(PisCheck, FindsMarksOfSnapshotsThatStandAlone) {
    EXPECT_EQ(findingsIn("{\"snapshot\":\"end\"}\n\n{\"snapshot\":\"begin\"}\n"),
              "feed:1: the snapshot that ends here has not begun\n"
              "feed:3: the snapshot that begins here does not end\n");
}

TEST_F(PisCheck, EveryFindingStandsOnOneLineWhateverTheFeedHolds) {
    const std::string findings = findingsIn(3, R"(["Train","T","4\n5\u001b[31m","1"])");
    EXPECT_EQ(linesOf(findings).size(), 1U) << findings;
    EXPECT_FALSE(holds(findings, "\x1b")) << "a feed must not steer the terminal";
}

TEST_F(PisCheck, CountsWhatItFound) {
    folder.write("feed", "x\n{\"delete\":2,\"id\":1}\ny\n");
    const Outcome outcome = run("pis check feed");
    EXPECT_TRUE(holds(outcome.out, "\n1 record, 3 findings\n")) << outcome.out;
    EXPECT_EQ(outcome.status, 1);
}

TEST_F(PisCheck, AFileThatCannotBeReadToItsEndEndsWithTwo) {
    std::string packed = gzipped(elements + "x\n");
    packed.resize(packed.size() - 8);
    folder.write("feed", packed);
    const Outcome outcome = run("pis check feed");
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err, "feed:10: the compressed file ends too soon: it is cut short\n");
    EXPECT_TRUE(holds(outcome.out, "feed:9: not JSON")) << "what was found until there: " << outcome.out;
}

// --- Whole days ---------------------------------------------------------------------------------

TEST_F(PisCommand, MemoryDoesNotGrowWithTheLengthOfTheFeed) {
    const auto feedOf = [this](const char* name, int records) {
        std::string feed;
        for (int i = 0; i < records; ++i) {
            feed += "{\"at\":" + std::to_string(i) + ",\"update\":12,\"id\":" + std::to_string(1 + i % 50) +
                    ",\"fields\":[\"9001!9002\",\"" + std::to_string(i % 9) + "\",\"number " + std::to_string(i) +
                    "\"]}\n";
        }
        folder.write(name, feed);
    };
    feedOf("short", 5000);
    feedOf("long", 200000);
    for (const char* call : {"exec pis replay ", "exec pis check "}) {
        const long little = run(std::string(call) + "short >/dev/null").maxMemory;
        const long much = run(std::string(call) + "long >/dev/null").maxMemory;
        EXPECT_LT(much, little + 2048) << call << "of a feed of 18 MB, in KiB";
    }
}

/// Every feed in a folder, compressed ones too.
std::vector<std::string> feedsIn(const std::string& path) {
    std::vector<std::string> feeds;
    std::error_code noFolder;
    for (const auto& entry : std::filesystem::directory_iterator(path, noFolder)) {
        if (std::regex_search(entry.path().string(), std::regex(R"(\.jsonl(\.gz)?$)"))) feeds.push_back(entry.path());
    }
    return feeds;
}

TEST_F(PisCommand, TheSamplesReplayAndCheckClean) {
    const std::vector<std::string> feeds = feedsIn(PIS_SAMPLES);
    ASSERT_FALSE(feeds.empty());
    for (const std::string& feed : feeds) {
        const Outcome replay = run("pis replay --json '" + feed + "'");
        EXPECT_EQ(replay.status, 0) << replay.err;
        EXPECT_GE(std::stoi(valueOf(replay.out, "records")), 5000) << feed;
        const Outcome check = run("pis check '" + feed + "'");
        EXPECT_EQ(check.status, 0) << check.out;
    }
}

TEST_F(PisCommand, ARealDayReplaysAndChecksClean) {
    const std::string feed = std::string(PIS_SHARED_FEEDS) + "/gjovik-2018.jsonl";
    if (!std::filesystem::exists(feed)) GTEST_SKIP() << "the day is not here";
    const Outcome replay = run("pis replay --json '" + feed + "'");
    EXPECT_EQ(replay.status, 0) << replay.err;
    EXPECT_EQ(valueOf(replay.out, "records"), "19410");
    EXPECT_EQ(elementOf(replay.out, 2), "line: 4 0 4 0 0");
    EXPECT_EQ(elementOf(replay.out, 4), "station: 23 0 23 0 0");
    EXPECT_EQ(elementOf(replay.out, 8), "service: 175 0 175 59 0");
    EXPECT_EQ(valueOf(replay.out, "unknown_code"), "0");
    const Outcome check = run("pis check '" + feed + "'");
    EXPECT_EQ(check.out, "19,410 records, no findings\n");
    EXPECT_EQ(check.status, 0);
}

}  // namespace
