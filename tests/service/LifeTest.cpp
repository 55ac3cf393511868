// How the service starts, is told to end or to reopen its log, and what it says to wrong options.
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>

#include "LoopbackServer.h"
#include "ServiceTest.h"

namespace pis::service {

namespace {

class Life : public ServiceTest {
protected:
    /// Starts the program and expects that it ends with status 2 and says why.
    static void expectFault(const std::vector<std::string>& arguments, const std::string& part) {
        std::vector<std::string> all{"serve"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        Program program(all);
        EXPECT_EQ(2, program.status()) << part;
        EXPECT_NE(std::string::npos, program.err().find(part)) << program.err();
        EXPECT_EQ("", program.out());
    }

    TempFolder folder;
};

// --- The end ---

TEST_F(Life, EndsInGoodOrderOnBothSignals) {
    for (const int signal : {SIGTERM, SIGINT}) {
        serve();
        service->signal(signal);
        EXPECT_EQ(0, service->status());
    }
}

TEST_F(Life, EndsWithManyReadersAndOneThatStandsStill) {
    std::string records = feed::railway();
    const std::string padding(1000, 'x');
    for (int i = 0; i < 3000; ++i) records += feed::line(100 + i, padding);
    serve(records, {"--connections-per-address", "300"});
    EventStream stalled(service->port(), "?tables=lines", "", 4096);
    EXPECT_EQ(200, stalled.head().status);  // and reads no further: 3 MB do not fit on the way
    std::vector<EventStream> readers;
    for (int i = 0; i < 200; ++i) {
        readers.emplace_back(service->port(), "?tables=stations");
        readers.back().nextRevision();
    }
    Connection waiting(service->port());
    EXPECT_EQ(200, waiting.ask("GET", "/healthz").status);
    Connection halfway(service->port());
    halfway.send("GET / HT");
    service->signal(SIGTERM);
    EXPECT_EQ(0, service->status());
    for (EventStream& reader : readers) {
        Event event = reader.next();
        while (event.kind == "revision") event = reader.next();
        ASSERT_EQ("end", event.kind);
    }
    EXPECT_TRUE(waiting.isClosed());
    EXPECT_TRUE(halfway.isClosed());
}

TEST_F(Life, EndsWhileTheFeedFloods) {
    service = std::make_unique<ServiceProcess>();
    service->feed(feed::railway());
    std::string records;
    for (int i = 0; i < 500; ++i) records += feed::line(i + 1, "x");
    service->feed(records);
    service->signal(SIGTERM);
    try {
        for (int i = 0; i < 1000; ++i) service->feed(records);
    } catch (const std::runtime_error&) {  // it reads no more
    }
    EXPECT_EQ(0, service->status());
}

/// Services from 1 up, and then their deletion in one record, which the store does not interrupt for anybody.
std::string aLongDeletion() {
    const int services = kUnderSanitizer ? 10000 : 40000;
    std::string records;
    for (int id = 1; id <= services; ++id) records += feed::service(id, 5, 28800, 2, "");
    return records + "{\"delete\":8,\"id\":0}\n" + feed::line(1, "Coast Line");
}

TEST_F(Life, EndsThoughTheStoreIsBusyAndSaysWhatItLeaves) {
    serve("", {"--log-file", folder.path("log"), "--debug-level", "1"});
    service->feed(aLongDeletion());
    patience::await("the deletion's first lines",
                    [&] { return folder.read("log").find(" deleted\n") != std::string::npos; });
    const auto begin = patience::Clock::now();
    service->signal(SIGTERM);
    EXPECT_EQ(0, service->status());
    RecordProperty("milliseconds", std::to_string((patience::Clock::now() - begin) / std::chrono::milliseconds(1)));
    EXPECT_NE(std::string::npos, folder.read("log").find("the service ends while the store"))
        << "it takes tens of seconds";
}

TEST_F(Life, EndsThoughItsLogHoldsTheStore) {
    const std::string path = folder.path("log");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    const int reader = open(path.c_str(), O_RDWR);  // which opens at once, and reads nothing
    ASSERT_GE(reader, 0);
    serve("", {"--log-file", path, "--debug-level", "2"});
    std::string records;
    for (int id = 1; id <= 3000; ++id) records += feed::line(id, "x");
    service->feed(records);
    pollfd writable{reader, POLLOUT, 0};
    patience::await("a full pipe", [&] { return poll(&writable, 1, 0) == 0; });
    int looks = 0;  // what the log keeps itself before it writes is little
    patience::await("a feed that stands still", [&] {
        looks = metric(R"(pis_queue_items{queue="inbox"})") == 1024 ? looks + 1 : 0;
        return looks == 50;
    });
    service->signal(SIGTERM);
    EXPECT_EQ(2, service->status()) << "nobody could be told what is left";
    close(reader);
}

// --- The log ---

TEST_F(Life, ReopensItsLogOnHangUp) {
    const std::string path = folder.path("log");
    serve(feed::railway() + "the first fault\n", {"--log-file", path});
    patience::await("the first fault in the log",
                    [&] { return folder.read("log").find("malformed line") != std::string::npos; });
    std::filesystem::rename(path, folder.path("log.1"));
    service->signal(SIGHUP);
    patience::await("a new log", [&] { return std::filesystem::exists(path); });
    const std::string old = folder.read("log.1");
    patience::await("lines in the new log", [&] {
        service->feed("another fault\n");
        return folder.read("log").find("malformed line") != std::string::npos;
    });
    EXPECT_EQ(old, folder.read("log.1"));
    EXPECT_EQ(200, get("/healthz").status);
}

TEST_F(Life, GoesOnWithItsLogWhereItCannotBeReopened) {
    const std::string path = folder.path("log");
    serve(feed::railway(), {"--log-file", path});
    std::filesystem::rename(path, folder.path("log.1"));
    std::filesystem::create_directory(path);
    service->signal(SIGHUP);
    patience::await("a complaint",
                    [&] { return folder.read("log.1").find("cannot write the log") != std::string::npos; });
    EXPECT_EQ(200, get("/healthz").status);
}

TEST_F(Life, HangUpWithoutALogFileIsNoEnd) {
    serve();
    service->signal(SIGHUP);
    feedWhole(feed::line(2, "Hill Line"));
    EXPECT_EQ(200, get("/healthz").status);
}

// --- Options ---

TEST_F(Life, APortInUseIsSaid) {
    serve("");
    const std::string address = "127.0.0.1:" + std::to_string(service->port());
    expectFault({"--link", "file:-", "--listen", address}, "cannot listen on " + address + ": Address already in use");
}

TEST_F(Life, WrongOptionsAreSaid) {
    expectFault({}, "--link is required");
    expectFault({"--link", "nonsense"}, "link \"nonsense\"");
    expectFault({"--link", "tcp://127.0.0.1"}, "port");
    expectFault({"--link", "tcp://127.0.0.1:99999"}, "port");
    expectFault({"--link", "tcp://127.0.0.1:0"}, "port 0");
    expectFault({"--link", "sim:/nowhere.json"}, "/nowhere.json");
    const std::vector<std::pair<std::vector<std::string>, std::string>> wrong{
        {{"--listen", "8080"}, "--listen"},
        {{"--listen", "127.0.0.1:"}, "--listen"},
        {{"--listen", "127.0.0.1:65536"}, "--listen"},
        {{"--listen", "127.0.0.1:80x"}, "--listen"},
        {{"--listen", "nowhere.example:0"}, "--listen"},
        {{"--listen", "192.0.2.1:0"}, "cannot listen on 192.0.2.1:0"},
        {{"--max-elements", "0"}, "--max-elements"},
        {{"--max-elements", "x"}, "--max-elements"},
        {{"--max-bytes", "0"}, "--max-bytes"},
        {{"--max-bytes", "-1"}, "--max-bytes"},
        {{"--max-bytes", "1e3"}, "--max-bytes"},
        {{"--max-bytes", "3furlongs"}, "--max-bytes"},
        {{"--max-bytes", "99999999999999999999"}, "--max-bytes"},
        {{"--max-bytes", "16777216TiB"}, "--max-bytes"},
        {{"--stale-after", "0"}, "--stale-after"},
        {{"--stale-after", "nan"}, "--stale-after"},
        {{"--stale-after", "soon"}, "--stale-after"},
        {{"--clock", "sun"}, "--clock"},
        {{"--epoch", "yesterday"}, "--epoch"},
        {{"--timezone", "Nowhere/Nothing"}, "--timezone"},
        {{"--day-start", "25:00"}, "--day-start"},
        {{"--allow-host", "example.org:80"}, "--allow-host"},
        {{"--trusted-proxy", "10.0.0.0/33"}, "--trusted-proxy"},
        {{"--connections", "0"}, "--connections"},
        {{"--connections-per-address", "-1"}, "--connections-per-address"},
        {{"--debug-level", "much"}, "--debug-level"},
        {{"--log-file", "/proc/nowhere/log"}, "log"},
        {{"--speed", "0"}, "--speed"},
        {{"--fault", "flood=1"}, "--fault"},
        {{"--start", "noon"}, "--start"},
        {{"--nonsense"}, "--nonsense"}};
    for (const auto& [options, part] : wrong) {
        SCOPED_TRACE(options.front() + " " + options.back());
        std::vector<std::string> all{"--link", "file:-", "--listen", "127.0.0.1:0"};
        if (options.front() == "--listen") all.resize(2);
        all.insert(all.end(), options.begin(), options.end());
        expectFault(all, part);
    }
}

TEST_F(Life, AFileIsPlayedAtTheSpeedAskedFor) {
    const std::string path = folder.write(
        "day.jsonl", feed::update(2, 1, {"Coast Line", "C"}, 0) + feed::update(2, 2, {"Hill Line", "H"}, 100000));
    service = std::make_unique<ServiceProcess>(std::vector<std::string>{"--link", "file:" + path, "--speed", "1"});
    patience::await("the first record", [this] { return get("/api/v1/lines/1").status == 200; });
    EXPECT_EQ("up", value("/api/v1/status", "/link/state"));
    EXPECT_EQ(404, get("/api/v1/lines/2").status) << "it is due in a day";
}

// --- What time it is ---

/// A record of one o'clock, by the feed's time.
const std::string kAtOne = feed::update(98, 1, {"box", "A", "1"}, 3600);

TEST_F(Life, TheClockIsTheOneAskedFor) {
    serve(kAtOne, {"--clock", "feed", "--epoch", "unix", "--timezone", "Asia/Tokyo"});
    EXPECT_EQ("feed", value("/api/v1/status", "/clock/source"));
    EXPECT_EQ("3600.0", value("/api/v1/status", "/clock/seconds"));
    EXPECT_EQ("10:00", value("/api/v1/status", "/clock/text")) << "one o'clock in the world is ten in Tokyo";

    const auto secondsWith = [this](std::vector<std::string> options) {
        options.insert(options.end(), {"--clock", "wall"});
        serve(kAtOne, options);  // which the wall clock does not heed
        EXPECT_EQ("wall", value("/api/v1/status", "/clock/source"));
        return std::stod(value("/api/v1/status", "/clock/seconds"));
    };
    const auto since1970 = static_cast<double>(std::time(nullptr));
    EXPECT_GE(secondsWith({"--epoch", "unix"}), since1970);
    constexpr double kTo2001 = 978307200;
    constexpr double kDay = 86400;
    const double since2001 = secondsWith({"--epoch", "2001-01-01", "--timezone", "UTC"});
    EXPECT_GE(since2001, since1970 - kTo2001);
    EXPECT_LT(since2001, since1970 - kTo2001 + kDay);
}

TEST_F(Life, TheOperatingDayBeginsWhenItIsAskedTo) {
    // Some zone where it is about noon now, far from everything that could make a difference. Its sign is turned.
    const std::time_t now = std::time(nullptr);
    const long hours = 12 - now / 3600 % 24;
    const std::string zone = "Etc/GMT" + std::string(hours < 0 ? "+" : "-") + std::to_string(std::abs(hours));
    const auto hourWith = [&](const std::string& dayStart) {
        serve(kAtOne, {"--clock", "wall", "--timezone", zone, "--day-start", dayStart});
        return std::stod(value("/api/v1/status", "/clock/seconds")) / 3600;
    };
    const double ofToday = hourWith("04:00");
    EXPECT_GT(ofToday, 11);
    EXPECT_LT(ofToday, 20);
    const double ofYesterday = hourWith("23:00");
    EXPECT_GT(ofYesterday, 24 + 11);
    EXPECT_LT(ofYesterday, 24 + 20);
}

// --- Few descriptors ---

TEST_F(Life, PromisesNoMoreConnectionsThanThereAreDescriptors) {
    const signalling::LoopbackServer side;
    service = std::make_unique<ServiceProcess>(
        std::vector<std::string>{"--link", "tcp://127.0.0.1:" + std::to_string(side.port()), "--log-file",
                                 folder.path("log")},
        64);
    signalling::Peer first = side.accept();
    const std::string said = service->err();
    const std::string before = "allows 64 open files: the service takes ";
    ASSERT_NE(std::string::npos, said.find(before)) << said;
    const std::size_t promised = std::stoul(said.substr(said.find(before) + before.size()));
    EXPECT_GE(promised, 8U);
    EXPECT_LE(promised, 24U) << "of 64, the service needs 32 and those that are refused 8";
    std::vector<Connection> held;
    for (std::size_t i = 0; i < promised; ++i) {
        held.emplace_back(service->port());
        ASSERT_EQ(200, held.back().ask("GET", "/healthz").status) << i;
    }
    std::vector<Connection> refused;
    for (int i = 0; i < 100; ++i) refused.emplace_back(service->port());
    EXPECT_EQ(503, refused.front().readAnswer().status);
    first.close();
    signalling::Peer second = side.accept();
    second.send(feed::kBegin + feed::line(1, "Coast Line") + feed::kEnd);
    patience::await("the link's return with all of them open",
                    [&] { return held.front().ask("GET", "/readyz").status == 200; });
    std::filesystem::rename(folder.path("log"), folder.path("log.1"));
    service->signal(SIGHUP);
    patience::await("a new log", [&] { return std::filesystem::exists(folder.path("log")); });
    EXPECT_EQ(std::string::npos, folder.read("log.1").find("Too many open files"));
}

TEST_F(Life, DescriptorsThatItsStarterLeftOpenAreNotPromised) {
    std::vector<int> left;
    for (int i = 0; i < 20; ++i) left.push_back(open("/dev/null", O_RDONLY));
    const signalling::LoopbackServer side;
    service = std::make_unique<ServiceProcess>(
        std::vector<std::string>{"--link", "tcp://127.0.0.1:" + std::to_string(side.port()), "--log-file",
                                 folder.path("log")},
        80);
    for (const int file : left) close(file);
    signalling::Peer first = side.accept();
    std::vector<Connection> held;
    for (int i = 0; i < 200; ++i) held.emplace_back(service->port());
    patience::await("the service with all of them", [this] { return get("/healthz").status == 200; });
    first.close();
    signalling::Peer second = side.accept();
    second.send(feed::kBegin + feed::line(1, "Coast Line") + feed::kEnd);
    patience::await("the link's return", [this] { return get("/readyz").status == 200; });
    std::filesystem::rename(folder.path("log"), folder.path("log.1"));
    service->signal(SIGHUP);
    patience::await("a new log", [&] { return std::filesystem::exists(folder.path("log")); });
    EXPECT_EQ(std::string::npos, folder.read("log.1").find("Too many open files")) << folder.read("log.1");
}

TEST_F(Life, OnlyAPromiseThatWasAskedForIsWorthAComplaint) {
    const std::string what = "this system allows 200 open files: the service takes ";
    service = std::make_unique<ServiceProcess>(std::vector<std::string>{}, 200);
    EXPECT_EQ(0U, service->err().find(what)) << service->err();
    service = std::make_unique<ServiceProcess>(std::vector<std::string>{"--connections", "5000"}, 200);
    EXPECT_EQ(0U, service->err().find("pis: --connections 5000: " + what)) << service->err();
    service = std::make_unique<ServiceProcess>(std::vector<std::string>{"--connections", "80"}, 200);
    EXPECT_EQ(std::string::npos, service->err().find("open files")) << service->err();
}

TEST_F(Life, TooFewDescriptorsAreSaid) {
    Program program({"serve", "--link", "file:-", "--listen", "127.0.0.1:0"}, 30);
    EXPECT_EQ(2, program.status());
    EXPECT_NE(std::string::npos, program.err().find("this system allows 30 open files, the service needs"))
        << program.err();
}

TEST_F(Life, GoesOnAcceptingAfterDescriptorsRanOut) {
    // To look at an object's type a sanitizer opens a pipe of its own, and takes it for none where it cannot.
    if (kUnderSanitizer) GTEST_SKIP() << "a sanitizer needs descriptors itself";
    serve(feed::railway(), {"--log-file", folder.path("log")});
    Connection before(service->port());
    EXPECT_EQ(200, before.ask("GET", "/healthz").status);
    rlimit allowed{};
    ASSERT_EQ(0, prlimit(service->pid(), RLIMIT_NOFILE, nullptr, &allowed));
    const rlimit none{0, allowed.rlim_max};
    ASSERT_EQ(0, prlimit(service->pid(), RLIMIT_NOFILE, &none, nullptr));
    Connection waiting(service->port());
    waiting.send(requestText("GET", "/healthz"));
    patience::await("the failure in the log", [this] {
        return folder.read("log").find("a connection could not be accepted: Too many open files") != std::string::npos;
    });
    patience::await("a line for many failures",
                    [this] { return folder.read("log").find(" more since the line before)") != std::string::npos; });
    EXPECT_EQ(200, before.ask("GET", "/healthz").status) << "those that are open go on";
    ASSERT_EQ(0, prlimit(service->pid(), RLIMIT_NOFILE, &allowed, nullptr));
    EXPECT_EQ(200, waiting.readAnswer().status);
}

TEST_F(Life, AFileThatIsNotThereIsWarnedOfAndReadWhenItComes) {
    service = std::make_unique<ServiceProcess>(std::vector<std::string>{"--link", "file:" + folder.path("later")});
    service->awaitErr("[warning] signalling link file:" + folder.path("later") +
                      ": down: cannot open: No such file or directory: waiting for it");
    patience::await("the fallen link", [this] { return value("/api/v1/status", "/link/state") == "down"; });
    std::filesystem::rename(folder.write("now", feed::railway()), folder.path("later"));
    patience::await("the file's records", [this] { return get("/readyz").status == 200; });
}

TEST_F(Life, ListensOnTheOtherLoopbackAddressToo) {
    try {
        service = std::make_unique<ServiceProcess>(std::vector<std::string>{"--listen", "[::1]:0"});
    } catch (const std::runtime_error& error) {
        GTEST_SKIP() << "no IPv6 here: " << error.what();
    }
    EXPECT_NE(std::string::npos, service->err().find("http://[::1]:" + std::to_string(service->port()) + "/"));
    service->signal(SIGTERM);
    EXPECT_EQ(0, service->status());
}

TEST_F(Life, ThisMachineIsKnownWhereOneSocketListensForAll) {
    try {
        service = std::make_unique<ServiceProcess>(std::vector<std::string>{"--listen", "[::]:0"});
    } catch (const std::runtime_error& error) {
        GTEST_SKIP() << "no IPv6 here: " << error.what();
    }
    EXPECT_EQ(200, get("/metrics").status) << "127.0.0.1 comes as ::ffff:127.0.0.1 there";
}

TEST_F(Life, TheLogMayLoseItsReader) {
    int log[2];
    ASSERT_EQ(0, pipe2(log, O_CLOEXEC));
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(log[1], STDERR_FILENO);
        std::signal(SIGPIPE, SIG_DFL);
        execl(PIS_PROGRAM, "pis", "serve", "--link", "tcp://127.0.0.1:1", "--listen", "127.0.0.1:0",
              static_cast<char*>(nullptr));
        _exit(126);
    }
    close(log[1]);
    std::string said;
    char piece[256];
    while (said.find("  link") == std::string::npos) {
        const ssize_t count = read(log[0], piece, sizeof piece);
        if (count <= 0) break;
        said.append(piece, static_cast<std::size_t>(count));
    }
    close(log[0]);
    const std::string before = "listening on http://127.0.0.1:";
    ASSERT_NE(std::string::npos, said.find(before)) << said;
    ASSERT_NE(std::string::npos, said.find("  link")) << said;
    const std::size_t begin = said.find(before) + before.size();
    const auto port = static_cast<unsigned short>(std::stoul(said.substr(begin, 5)));
    patience::await("the link's fall, which it logs",
                    [port] { return valueAt(service::get(port, "/api/v1/status").body, "/link/state") == "down"; });
    EXPECT_EQ(200, service::get(port, "/healthz").status);
    kill(pid, SIGTERM);
    int status = 0;
    EXPECT_EQ(pid, waitpid(pid, &status, 0));
    EXPECT_TRUE(WIFEXITED(status)) << "ended by a signal";
}

// --- The link ---

TEST_F(Life, AFallenLinkLeavesTheBoardsOnTheAir) {
    auto side = std::make_unique<Program>(
        std::vector<std::string>{"simulate", PIS_NETWORK, "--start", "07:00", "--listen", "127.0.0.1:0"});
    side->awaitErr("127.0.0.1:");
    const std::string said = side->err();
    const std::size_t begin = said.find("127.0.0.1:");
    const std::string address = said.substr(begin, said.find_first_not_of("0123456789", begin + 10) - begin);
    service = std::make_unique<ServiceProcess>(std::vector<std::string>{"--link", "tcp://" + address});
    patience::await("the first snapshot", [this] { return get("/readyz").status == 200; });
    EXPECT_EQ("true", value("/api/v1/status", "/server_online"));
    EventStream stream(service->port());
    stream.nextRevision();
    side.reset();
    patience::await("the link's fall", [this] { return value("/api/v1/status", "/link/state") == "down"; });
    EXPECT_EQ("false", value("/api/v1/status", "/server_online"));
    EXPECT_EQ(200, get("/readyz").status);
    EXPECT_EQ("down", value("/readyz", "/link/state"));
    EXPECT_EQ("departures", value("/api/v1/stations/5/departures", "/status"));
    EXPECT_EQ(1, metric(R"(pis_link_state{state="down"})"));
    EXPECT_EQ(0, metric("pis_signalling_server_online"));
    patience::await("readers' hearing of it",
                    [&] { return valueAt(stream.nextRevision().data, "/link/state") == "down"; });
    EXPECT_EQ("", differenceOf(tables(), stream.rows())) << "the picture stays";
}

}  // namespace

}  // namespace pis::service
