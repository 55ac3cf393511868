#include "Ratios.h"

#include <memory>

#include "StoreAccess.h"

using namespace SignallingCodes;

namespace {

constexpr Effort kShortSteps{500'000, 400, 1.0};
constexpr Effort kLongSteps{2'000'000, 60, 3.0};
constexpr Effort kSmallDays{0, 20, 8.0};
constexpr Effort kNetworkDay{0, 3, 1.0};

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
            for (const Place place : {Place::FRONT, Place::MIDDLE, Place::BACK}) {
                scenes.push_back(deletionScene(place, type, size));
            }
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

}  // namespace

std::vector<RatioRow> ratioRows(const std::vector<Day>& smallDays, const Day& networkDay) {
    std::vector<RatioRow> rows;
    const char* byHand = "loop by hand: lock, record from its id, id loop, strcmp and atoi, event call";
    rows.push_back({"unchanged record of each type without a lock gap, tables of 50 and 1,000", byHand, 1.5, "by-hand/",
                    unchangedWithoutGap(Texts::SHORT, {50, 1'000}), kShortSteps});
    rows.push_back({"the same, texts over the small-string limit", byHand, 1.5, "by-hand/",
                    unchangedWithoutGap(Texts::LONG, {50, 1'000}), kShortSteps});
    rows.push_back({"the same, short texts, tables of 50,000", byHand, 1.5, "by-hand/",
                    unchangedWithoutGap(Texts::SHORT, {50'000}), kLongSteps});
    const char* withGap = "the same, with both lock pairs and the loop over the other table";
    rows.push_back({"unchanged service and service stop, tables of 1,000", withGap, 1.5, "by-hand/",
                    unchangedWithGap(Texts::SHORT), kShortSteps});
    rows.push_back({"the same, texts over the small-string limit", withGap, 1.5, "by-hand/",
                    unchangedWithGap(Texts::LONG), kShortSteps});
    rows.push_back({"getter, 10,000 services with long texts",
                    "bare copy of the vector",
                    1.1,
                    "bare-copy/",
                    {getterScene(SERVICE, 10'000, Texts::LONG)},
                    kLongSteps});
    rows.push_back({"single deletion: front, middle, back of tables of 1,000 and 10,000", "bare id loop and bare erase",
                    1.3, "bare-loop-and-erase/", singleDeletions(), kLongSteps});
    rows.push_back({"deleting 30,000 service stops at once, logging off",
                    "pass over the ids and bare clear()",
                    3,
                    "bare-clear/",
                    {clearingScene(SERVICE_STOP, 30'000)},
                    kLongSteps});
    rows.push_back({"the same, for its growth with the table",
                    "thirty tables of 1,000 service stops",
                    3,
                    "thirty-tables/",
                    {linearClearing()},
                    kLongSteps});
    rows.push_back({"deleting 3,000 services at once",
                    "3,000 bare erases from the front and event calls",
                    1.3,
                    "bare-erases/",
                    {clearingScene(SERVICE, 3'000)},
                    kLongSteps});
    RatioRow small{"a whole day of a small railway, one observer",
                   "SQLite in memory, prepared upserts, transactions of 100",
                   0.8,
                   "sqlite/",
                   {},
                   kSmallDays};
#ifdef PIS_STANDALONE
    for (const Day& day : smallDays) small.scenes.push_back(dayScene(day));
#else
    (void)smallDays;
#endif
    rows.push_back(small);
    rows.push_back({"a network's day, one observer",
                    "the sum of its bare loops and erases",
                    1.5,
                    "bare-loops/",
                    {dayScene(networkDay)},
                    kNetworkDay});
    return rows;
}
