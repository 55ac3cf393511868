// bench-network PIS SAMPLE FEED OUTPUT [PHASE...]: what a network's size and thousands of clients do to the service:
// events to many readers, with nginx beside it; readers that come all at once, that are slow, that ask for much;
// boards. SAMPLE and FEED are a small railway's feeds; the network is the second one's railway a dozen times. The
// figures go to OUTPUT (see Results.h).
#include <algorithm>
#include <cstdio>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Boards.h"
#include "FanOut.h"
#include "FanOutCase.h"
#include "LiveNetwork.h"
#include "Nginx.h"
#include "Pacer.h"
#include "Results.h"
#include "RevisionNotes.h"
#include "SlowReaders.h"
#include "Usage.h"
#include "WholeReader.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int kCopies = 12;
constexpr seconds kPatience{60};
const std::string kChanges = "/api/v1/changes";

struct Call {
    std::string pis;
    std::string sample;
    std::string feed;
    std::string output;
    std::vector<std::string> phases;  ///< All, where there is none.

    bool wants(const char* phase) const {
        return phases.empty() || std::find(phases.begin(), phases.end(), phase) != phases.end();
    }
};

Call callOf(int argc, char** argv) {
    constexpr int kLeast = 5;
    if (argc < kLeast) throw std::runtime_error("usage: PIS SAMPLE FEED OUTPUT [PHASE...]");
    return {argv[1], argv[2], argv[3], argv[4], {argv + kLeast, argv + argc}};
}

// --- Events to many readers ---------------------------------------------------------------------

/// What nginx is to hand on: as long as the service's event, with the next mark in it.
std::string eventOf(const Marks& marks, double bytes) {
    constexpr std::size_t kFrame = 26;  // nginx adds an id and the chunk's frame
    std::string text =
        R"({"table":"service_stops",)" + std::string(Marks::kBefore) + std::to_string(marks.next()) + R"(,"rest":")";
    const auto wanted = static_cast<std::size_t>(bytes) - kFrame;
    return text + std::string(wanted - std::min(wanted, text.size() + 2), 'x') + "\"}";
}

Server serverOf(const char* name, LiveNetwork& network) {
    return {name, network.service, network.service.port(), requestFor(kChanges, knowing(network.service.revision())),
            [&network] { network.sendMark(0); }};
}

void noteSize(Results& results, const char* name, const LiveNetwork& network) {
    results.write("size-of", name, network.feed.rows(), network.feed.serviceStops(), network.feed.stations().size(),
                  network.secondsToShow(), network.service.residentBytes());
}

void measureFanOut(const Call& call, Results& results, NetworkFeed& feed, NetworkFeed& sample) {
    const FanOutCase first{2000, 20};
    {
        LiveNetwork railway(call.pis, results, sample);
        noteSize(results, "the sample railway", railway);
        measureFanOutCase(results, railway.loop, railway.marks, first, serverOf("pis, the sample railway", railway));
    }
    Nginx nginx(std::filesystem::absolute(call.output).parent_path());
    LiveNetwork network(call.pis, results, feed);
    noteSize(results, "the network", network);
    for (const FanOutCase& wanted : {first, FanOutCase{2000, 50}, FanOutCase{10000, 5}}) {
        const double bytes = measureFanOutCase(results, network.loop, network.marks, wanted, serverOf("pis", network));
        Marks marks;
        const auto publish = [&] {
            const std::string event = eventOf(marks, bytes);
            marks.send();
            nginx.publish(event);
        };
        measureFanOutCase(results, network.loop, marks, wanted,
                          {"nginx with nchan", nginx.process(), nginx.port(),
                           requestFor(Nginx::kReaders, "Accept: text/event-stream\r\n"), publish});
    }
}

// --- Readers that want much ---------------------------------------------------------------------

/// Readers that come at once. @return how many did not become whole.
std::size_t storm(LiveNetwork& network, std::size_t count, const std::string& request, std::size_t passedOver) {
    constexpr std::size_t kAtOnce = 16;
    std::deque<WholeReader> readers;
    for (std::size_t i = 0; i < count; ++i) {
        readers.emplace_back(network.loop, Way{network.service.port()}, request, passedOver);
        if (i % kAtOnce == 0) network.loop.turn({});
    }
    const auto isWhole = [](const WholeReader& reader) { return reader.isWhole(); };
    network.loop.runUntil([&] { return std::all_of(readers.begin(), readers.end(), isWhole); }, 2 * kPatience);
    return count - static_cast<std::size_t>(std::count_if(readers.begin(), readers.end(), isWhole));
}

/// Bytes that a reader gets until it is whole, less what rows may change meanwhile.
std::size_t bytesOfWhole(LiveNetwork& network) {
    constexpr std::size_t kMayChange = 65536;
    WholeReader scout(network.loop, {network.service.port()}, requestFor(kChanges));
    if (!network.loop.runUntil([&] { return scout.isWhole(); }, kPatience) || !scout.wasReset()) {
        throw std::runtime_error("a reader is not sent the whole picture");
    }
    return scout.wholeBytes() - std::min(scout.wholeBytes(), kMayChange);
}

/// Readers that each know another old revision, again and again. @return how many did not become whole.
std::size_t askFromLongAgo(LiveNetwork& network, const std::vector<std::string>& revisions) {
    constexpr std::size_t kReaders = 64;
    constexpr seconds kPhase{10};
    std::size_t asked = 0;
    std::vector<std::unique_ptr<WholeReader>> readers(kReaders);
    const Clock::time_point end = Clock::now() + kPhase;
    while (Clock::now() < end) {
        for (std::unique_ptr<WholeReader>& reader : readers) {
            if (reader != nullptr && !reader->isWhole()) continue;
            const std::string& known = revisions[asked++ * 37 % revisions.size()];
            reader = std::make_unique<WholeReader>(network.loop, Way{network.service.port()},
                                                   requestFor(kChanges, knowing(known)));
        }
        network.loop.turn(milliseconds(5));
    }
    const auto isWhole = [](const auto& reader) { return reader->isWhole(); };
    network.loop.runUntil([&] { return std::all_of(readers.begin(), readers.end(), isWhole); }, seconds(10));
    return kReaders - static_cast<std::size_t>(std::count_if(readers.begin(), readers.end(), isWhole));
}

/// The service runs some thousand revisions.
std::vector<std::string> runRevisions(LiveNetwork& network) {
    constexpr std::size_t kRevisions = 3000;
    constexpr double kPerSecond = 250;
    RevisionNotes notes(network.loop, network.service.port(), network.service.revision());
    Pacer pacer(kPerSecond, [&](Clock::time_point) { network.sendMark(network.marks.sent()); });
    const bool isDone = network.loop.runUntil([&] { return notes.revisions().size() >= kRevisions; }, kPatience);
    pacer.stop();
    if (!isDone) throw std::runtime_error("the service does not run so many revisions");
    return notes.revisions();
}

void measureStorm(const Call& call, Results& results, NetworkFeed& feed, NetworkFeed& sample) {
    constexpr std::size_t kReaders = 2000;
    constexpr seconds kRest{5};
    {
        LiveNetwork railway(call.pis, results, sample);
        railway.endure("a storm, the sample railway", kReaders,
                       [&] { return storm(railway, kReaders, requestFor(kChanges), 0); });
    }
    LiveNetwork network(call.pis, results, feed);
    network.endure("nothing but the day", 0, [&] {
        network.loop.runUntil(Clock::now() + kRest);
        return std::size_t{0};
    });
    const std::string known = network.service.revision();
    network.endure("a storm of readers who know a revision", kReaders,
                   [&] { return storm(network, kReaders, requestFor(kChanges, knowing(known)), 0); });
    const std::size_t passedOver = bytesOfWhole(network);
    network.endure("a storm", kReaders, [&] { return storm(network, kReaders, requestFor(kChanges), passedOver); });
    const std::vector<std::string> revisions = runRevisions(network);
    network.endure("64 old revisions at a time", 64, [&] { return askFromLongAgo(network, revisions); });
}

void measureSlow(const Call& call, Results& results, NetworkFeed& feed) {
    constexpr std::size_t kFromEverywhere = 4096;
    constexpr std::size_t kFromOne = 60;
    LiveNetwork network(call.pis, results, feed);
    const auto endureSlow = [&](const char* name, std::size_t count, bool spread, seconds phase) {
        network.endure(name, count, [&] {
            SlowReaders readers(count, network.service.port(), spread);
            readers.runUntil(Clock::now() + phase);
            results.write("closed", name, readers.closed());
            return std::size_t{0};
        });
    };
    endureSlow("60 slow readers from one address", kFromOne, false, seconds(20));
    endureSlow("4,096 slow readers", kFromEverywhere, true, seconds(60));
}

// --- A signalling side that wants much ----------------------------------------------------------

void deleteServices(LiveNetwork& network) {
    constexpr std::size_t kServices = 60000;
    constexpr std::size_t kOfDay = 100;  // more than the day announces meanwhile
    const std::size_t others = network.feed.services();
    const auto rows = [&network] { return network.rowsOf("services"); };
    network.link.send(network.feed.wholeStateAnd(kServices));
    if (!network.loop.runUntil([&] { return rows() == others + kServices; }, 2 * kPatience)) {
        throw std::runtime_error("the service does not show so many services");
    }
    network.endure("60,000 services deleted at once", 0, [&] {
        network.link.send(network.feed.wholeState());
        const bool areGone = network.loop.runUntil([&] { return rows() < others + kOfDay; }, 2 * kPatience);
        return areGone ? std::size_t{0} : rows() - others;
    });
}

void sendLongNames(LiveNetwork& network) {
    constexpr int kRenames = 400;
    constexpr int kLetters = 26;
    constexpr std::size_t kLength = 1000000;
    constexpr milliseconds kBetween{25};
    network.endure("400 names of 1 MB", 0, [&] {
        for (int i = 0; i < kRenames; ++i) {
            const Clock::time_point next = Clock::now() + kBetween;
            network.link.send(network.feed.lineName(static_cast<char>('a' + i % kLetters), kLength));
            network.loop.runUntil(next);
        }
        return std::size_t{0};
    });
}

void measureAttacks(const Call& call, Results& results, NetworkFeed& sample) {
    LiveNetwork railway(call.pis, results, sample);
    deleteServices(railway);
    sendLongNames(railway);
}

// --- Boards -------------------------------------------------------------------------------------

void measureBoards(const Call& call, Results& results, NetworkFeed& feed) {
    constexpr std::size_t kBoards = 2000;
    constexpr std::size_t kStations = 91;
    constexpr double kOpenedPerSecond = 400;
    constexpr seconds kPhase{20};
    constexpr std::size_t kOthers = 1000;
    LiveNetwork network(call.pis, results, feed);
    std::vector<int> stations = feed.stations();
    stations.resize(std::min(stations.size(), kStations));
    Boards boards(network.loop, network.service.port());
    boards.open(kBoards, stations, kOpenedPerSecond);
    const Clock::time_point limit = Clock::now() + kPatience / 2;
    while (boards.lost() > 0 && Clock::now() < limit) boards.runUntil(Clock::now() + seconds(1));

    boards.figures = {};
    double cores = 0;
    const double took = network.endure("2,000 boards", kBoards, [&] {
        const Usage usage(network.service);
        boards.runUntil(Clock::now() + kPhase);
        cores = usage.cores();
        return boards.lost();
    });
    Boards::Figures& figures = boards.figures;
    results.write("boards", boards.count(), stations.size(), cores, figures.latencies.percentile(0.5),
                  figures.latencies.percentile(0.99), static_cast<double>(figures.answers) / took,
                  static_cast<double>(figures.notModified) / static_cast<double>(figures.answers), figures.failed);

    FanOut readers(network.loop, network.marks);
    readers.open(kOthers, network.service.port(), requestFor(kChanges, knowing(network.service.revision())));
    const SlowReaders slow(kOthers, network.service.port(), true);
    boards.runUntil(Clock::now() + seconds(2));
    const milliseconds ended = network.service.end();
    network.loop.runUntil([&] { return boards.lost() == boards.count(); }, seconds(5));
    results.write("ended", boards.count(), kOthers, kOthers, ended.count(), boards.count() - boards.lost());
    std::printf("SIGTERM with all of them: %ld ms\n", static_cast<long>(ended.count()));
}

void measure(const Call& call) {
    constexpr std::size_t kMostReaders = 10000;
    provideDescriptors(kMostReaders);
    Results results(call.output);
    NetworkFeed feed(call.feed, kCopies);
    NetworkFeed sample(call.sample, 1);
    std::ofstream(call.output + ".state.jsonl") << feed.wholeState();  // for whoever measures more of it
    if (call.wants("fan-out")) measureFanOut(call, results, feed, sample);
    if (call.wants("storm")) measureStorm(call, results, feed, sample);
    if (call.wants("slow")) measureSlow(call, results, feed);
    if (call.wants("boards")) measureBoards(call, results, feed);
    if (call.wants("attacks")) measureAttacks(call, results, sample);
}

}  // namespace

int main(int argc, char** argv) {
    return runProgram(argv[0], [&] { measure(callOf(argc, argv)); });
}
