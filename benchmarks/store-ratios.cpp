// bench-ratios OUTPUT [--only TEXT] [FEED...]: measures the ratios that the store has to keep, each within one run,
// and how long it holds its lock.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>

#include "Results.h"
#include "Scenes.h"
#include "StoreAccess.h"

using namespace pis::feed;
using namespace SignallingCodes;

namespace {

constexpr int kSmallCopies = 4;     // of the sample: some 45,000 records
constexpr int kNetworkCopies = 40;  // some 450,000
constexpr int kLockRounds = 15;
constexpr int kNetworkLockRounds = 3;

constexpr Effort kShortSteps{500'000, 400, 1.0};
constexpr Effort kLongSteps{2'000'000, 60, 3.0};
constexpr Effort kSmallDays{0, 20, 8.0};
constexpr Effort kNetworkDay{0, 3, 1.0};

/// What against what, and at most how many times as long. A row's figure is the worst of its scenes.
struct RatioRow {
    std::string subject;
    std::string yardstick;
    double atMost;
    std::string against;  ///< How the yardstick's name begins in each scene.
    std::vector<Scene> scenes;
    Effort effort;
};

// --- Scenes of a row

std::vector<Scene> unchangedWithoutGap(Texts texts, const std::vector<std::size_t>& sizes) {
    std::vector<Scene> scenes;
    for (const ElementType* type : typesOfHandlers()) {
        if (type->code == TRIP || type->code == SERVICE || type->code == SERVICE_STOP) continue;
        for (const std::size_t size : sizes) {
            scenes.push_back(handlerScene(Change::UNCHANGED, type->code, size, texts, 0));
        }
    }
    return scenes;
}

std::vector<Scene> unchangedWithGap(Texts texts) {
    return {handlerScene(Change::UNCHANGED, SERVICE, 1'000, texts, 0),
            handlerScene(Change::UNCHANGED, SERVICE_STOP, 1'000, texts, 0)};
}

std::vector<Scene> singleDeletions() {
    std::vector<Scene> scenes;
    for (int type = LINE; type <= SERVICE_STOP; ++type) {
        for (const std::size_t size : {1'000U, 10'000U}) {
            for (const char* place : kPlaces) scenes.push_back(deletionScene(place, type, size));
        }
    }
    return scenes;
}

/// Whether deletion of all stops is linear: one table of 30,000 against thirty of 1,000. It would be about
/// thirty times as long were it quadratic.
Scene linearClearing() {
    const Scene whole = clearingScene(SERVICE_STOP, 30'000);
    return {whole.name, [whole] {
                const Body wholeTable = whole.set().front();
                std::vector<ServiceStop>& table = serviceStopsOf(gPassengerInformationServer);
                const auto parts = std::make_shared<std::vector<std::vector<ServiceStop>>>();
                const auto prepare = [wholeTable, parts, &table] {
                    wholeTable.prepare();
                    parts->clear();
                    for (auto first = table.begin(); first != table.end(); first += 1'000) {
                        parts->emplace_back(first, first + 1'000);
                    }
                };
                const auto deleteParts = [parts, &table] {
                    for (std::vector<ServiceStop>& part : *parts) {
                        table.swap(part);
                        gPassengerInformationServer.deletePassengerInformation(SERVICE_STOP, 0);
                        table.swap(part);
                    }
                };
                return std::vector<Body>{wholeTable, {"thirty-tables/" + whole.name, deleteParts, prepare}};
            }};
}

/// Days of small railways against SQLite: none where there is no SQLite.
std::vector<Scene> daysOfSmallRailways(const std::vector<Day>& days) {
    std::vector<Scene> scenes;
#ifdef PIS_STANDALONE
    for (const Day& day : days) scenes.push_back(dayScene(day));
#endif
    (void)days;
    return scenes;
}

std::vector<RatioRow> ratioRows(const std::vector<Day>& smallDays, const Day& networkDay) {
    const char* byHand = "loop by hand: lock, record from its id, id loop, strcmp and atoi, event call";
    const char* withGap = "the same, with both lock pairs and the loop over the other table";
    const char* longTexts = "the same, texts over the small-string limit";
    // clang-format off
    return {
        {"unchanged record of each type without a lock gap, tables of 50 and 1,000", byHand, 1.5, "by-hand/",
         unchangedWithoutGap(Texts::SHORT, {50, 1'000}), kShortSteps},
        {longTexts, byHand, 1.5, "by-hand/", unchangedWithoutGap(Texts::LONG, {50, 1'000}), kShortSteps},
        {"the same, short texts, tables of 50,000", byHand, 1.5, "by-hand/",
         unchangedWithoutGap(Texts::SHORT, {50'000}), kLongSteps},
        {"unchanged service and service stop, tables of 1,000", withGap, 1.5, "by-hand/",
         unchangedWithGap(Texts::SHORT), kShortSteps},
        {longTexts, withGap, 1.5, "by-hand/", unchangedWithGap(Texts::LONG), kShortSteps},
        {"getter, 10,000 services with long texts", "bare copy of the vector", 1.1, "bare-copy/",
         {getterScene(SERVICE, 10'000, Texts::LONG)}, kLongSteps},
        {"single deletion: front, middle, back of tables of 1,000 and 10,000", "bare id loop and bare erase", 1.3,
         "bare-loop-and-erase/", singleDeletions(), kLongSteps},
        {"deleting 30,000 service stops at once, logging off", "pass over the ids and bare clear()", 3, "bare-clear/",
         {clearingScene(SERVICE_STOP, 30'000)}, kLongSteps},
        {"the same, for its growth with the table", "thirty tables of 1,000 service stops", 3, "thirty-tables/",
         {linearClearing()}, kLongSteps},
        {"deleting 3,000 services at once", "3,000 bare erases from the front and event calls", 1.3, "bare-erases/",
         {clearingScene(SERVICE, 3'000)}, kLongSteps},
        {"a whole day of a small railway, one observer", "SQLite in memory, prepared upserts, transactions of 100", 0.8,
         "sqlite/", daysOfSmallRailways(smallDays), kSmallDays},
        {"a network's day, one observer", "the sum of its bare loops and erases", 1.5, "bare-loops/",
         {dayScene(networkDay)}, kNetworkDay},
    };
    // clang-format on
}

/// Where only some scenes are wanted, the row's figure is the worst of those.
void measureRow(const RatioRow& row, const Arguments& arguments, Results& results) {
    double worst = 0;
    for (const Scene& scene : row.scenes) {
        if (!arguments.wants(scene.name)) continue;
        const std::vector<Body> bodies = scene.set();
        const std::vector<double> times = timeInTurns(bodies, row.effort);
        for (std::size_t i = 0; i < bodies.size(); ++i) {
            if (scene.name.rfind("day/", 0) == 0) results.write("case", bodies[i].name, times[i]);
            if (bodies[i].name.rfind(row.against, 0) != 0) continue;
            results.write("ratio", row.subject, row.yardstick, row.atMost, scene.name, times[0], times[i]);
            worst = std::max(worst, times[0] / times[i]);
            std::printf("    %5.2f  %s  %.1f / %.1f ns\n", times[0] / times[i], scene.name.c_str(), times[0], times[i]);
        }
    }
    if (worst > 0) std::printf("%5.2f of %.1f  %s\n", worst, row.atMost, row.subject.c_str());
    std::fflush(stdout);
}

// --- How long the lock is held

/// Least time between two readings of the clock: it is part of every hold.
double clockCost() {
    using Clock = std::chrono::steady_clock;
    double least = 1e9;
    for (int i = 0; i < 1000; ++i) {
        const auto start = Clock::now();
        least = std::min(least, std::chrono::duration<double, std::nano>(Clock::now() - start).count());
    }
    return least;
}

/// Of each record the median over the rounds: what disturbs one round from outside is left out.
void measureHolds(const Day& day, int rounds, Results& results) {
    std::vector<std::vector<double>> holds;
    for (int round = 0; round < rounds; ++round) holds.push_back(lockHoldsFromEmpty(day));
    for (const FeedRecord::Kind kind : {FeedRecord::UPDATE, FeedRecord::DELETION}) {
        std::vector<double> medians;
        double sum = 0;
        for (std::size_t record = 0; record < day.records.size(); ++record) {
            if (day.records[record].kind != kind) continue;
            std::vector<double> times;
            for (const std::vector<double>& round : holds) times.push_back(round[record]);
            std::sort(times.begin(), times.end());
            medians.push_back(times[times.size() / 2]);
            sum += medians.back();
        }
        if (medians.empty()) continue;
        std::sort(medians.begin(), medians.end());
        const char* name = kind == FeedRecord::UPDATE ? "update" : "deletion";
        const double mean = sum / static_cast<double>(medians.size());
        const double rare = medians[medians.size() * 999 / 1000];
        results.write("lock", day.name, name, mean, rare, clockCost());
        std::printf("lock held per %s, %s: mean %.0f ns, 99.9th percentile %.0f ns\n", name, day.name.c_str(), mean,
                    rare);
        std::fflush(stdout);
    }
}

void measureAll(const Arguments& arguments) {
    Results results(arguments.output);
    const std::vector<FeedRecord> harbour = harbourRecords();
    const Day sample = dayOf("harbour", harbour);
    const Day network = dayOf("harbour-x40", multiplied(harbour, kNetworkCopies));
    std::vector<Day> small = daysIn(arguments.feeds);
    small.insert(small.begin(), dayOf("harbour-x4", multiplied(harbour, kSmallCopies)));

    std::vector<const Day*> days{&sample};
    for (const Day& day : small) days.push_back(&day);
    days.push_back(&network);
    for (const Day* day : days) results.write("day", day->name, day->records.size());
    for (const RatioRow& row : ratioRows(small, network)) measureRow(row, arguments, results);
    for (const Day* day : days) {
        if (!arguments.wants("lock/" + day->name)) continue;
        measureHolds(*day, day == &network ? kNetworkLockRounds : kLockRounds, results);
    }
}

}  // namespace

int main(int argc, char** argv) {
    return runProgram(argv[0], [&] { measureAll(argumentsOf(argc, argv)); });
}
