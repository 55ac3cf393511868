#include "Scenes.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>

#include "BenchHost.h"
#include "Day.h"
#include "StoreTables.h"

using namespace pis::feed;
using namespace SignallingCodes;

namespace {

constexpr std::array<std::size_t, 4> kSizes{50, 1'000, 10'000, 30'000};
constexpr std::uint64_t kDeletionsPerRound = 16;

PassengerInformationServer& store = gPassengerInformationServer;

constexpr std::array<Change, 3> kChanges{Change::NEW, Change::CHANGED, Change::UNCHANGED};

std::string nameOf(Change change) {
    return change == Change::NEW ? "new" : change == Change::CHANGED ? "changed" : "unchanged";
}

std::string sizeAndTexts(std::size_t size, Texts texts) {
    return "/" + std::to_string(size) + (texts == Texts::LONG ? "/long" : "");
}

bool hasTable(int type) {
    return findElementType(findElementType(type)->table)->hasTable();
}

std::function<void()> getterOf(int type) {
    switch (type) {
        case LINE: return [] { keep(store.getLines()); };
        case VEHICLE: return [] { keep(store.getVehicles()); };
        case STATION: return [] { keep(store.getStations()); };
        case PLATFORM: return [] { keep(store.getPlatforms()); };
        case TRIP: return [] { keep(store.getTrips()); };
        case TRIP_STOP: return [] { keep(store.getTripStops()); };
        case SERVICE: return [] { keep(store.getServices()); };
        default: std::abort();
    }
}

/// A fresh copy of the original for every round, so that rounds are alike.
template <typename Record>
std::function<void()> restoring(std::vector<Record>& table) {
    const auto original = std::make_shared<const std::vector<Record>>(table);
    return [original, &table] { table = *original; };
}

}  // namespace

Scene handlerScene(Change change, int type, std::size_t size, Texts texts, std::size_t observers) {
    std::string name = nameOf(change) + '/' + nameOf(type);
    if (hasTable(type)) name += sizeAndTexts(size, texts);
    if (observers > 0) name += "/observers:" + std::to_string(observers);

    return {name, [=] {
                fillTables(size, texts);
                setObservers(observers);
                const auto updates = std::make_shared<Rotation>();
                const auto deliverNext = [updates] { updates->next().deliver(); };

                if (change == Change::NEW) {
                    updates->add(elementRecord(type, static_cast<int>(size) + 1, texts));
                    return withTable(findElementType(type)->table, [&](auto& table) -> std::vector<Body> {
                        table.reserve(size + 1);
                        return {{name, [deliverNext, &table] {
                                     deliverNext();
                                     table.pop_back();
                                 }}};
                    });
                }
                for (const int id : scatteredIds(size)) {
                    updates->add(elementRecord(type, id, texts, change == Change::CHANGED ? 1 : 0));
                }
                if (change == Change::CHANGED) {
                    for (const int id : scatteredIds(size)) updates->add(elementRecord(type, id, texts, 0));
                    return std::vector<Body>{{name, deliverNext}};
                }
                std::vector<Body> bodies{{name, deliverNext}};
                if (hasTable(type) && type != TRIP) {
                    const auto byHand = [updates] {
                        const PreparedUpdate& update = updates->next();
                        if (!acceptUnchangedByHand(update.type(), update.id(), update.list())) std::abort();
                    };
                    bodies.push_back({"by-hand/" + name, byHand});
                }
                return bodies;
            }};
}

Scene getterScene(int type, std::size_t size, Texts texts) {
    const std::string name = "getter/" + nameOf(type) + sizeAndTexts(size, texts);
    return {name, [=] {
                fillTables(size, texts);
                std::vector<Body> bodies{{name, getterOf(type)}};
                withTable(type, [&](auto& table) {
                    bodies.push_back({"bare-copy/" + name, [&table] {
                                          const auto copy = table;
                                          keep(copy);
                                      }});
                });
                return bodies;
            }};
}

Scene deletionScene(const std::string& place, int type, std::size_t size) {
    const std::string name = "deletion-" + place + '/' + nameOf(type) + sizeAndTexts(size, Texts::SHORT);
    return {name, [=] {
                fillTables(size, Texts::SHORT);
                // Each round deletes a few neighbours, beginning at the place and from the back towards the front.
                const int first = place == "front" ? 1 : static_cast<int>(place == "middle" ? size / 2 : size);
                const int step = place == "back" ? -1 : 1;
                return withTable(type, [&](auto& table) -> std::vector<Body> {
                    const auto next = std::make_shared<int>(first);
                    const auto restore = restoring(table);
                    const auto prepare = [next, first, restore] {
                        *next = first;
                        restore();
                    };
                    const auto byStore = [next, type, step] {
                        store.deletePassengerInformation(type, *next);
                        *next += step;
                    };
                    const auto bare = [next, step, &table] {
                        eraseBare(table, *next);
                        *next += step;
                    };
                    return {{name, byStore, prepare, kDeletionsPerRound},
                            {"bare-loop-and-erase/" + name, bare, prepare, kDeletionsPerRound}};
                });
            }};
}

Scene clearingScene(int type, std::size_t size) {
    const std::string name = "deletion-of-all/" + nameOf(type) + sizeAndTexts(size, Texts::SHORT);
    return {name, [=] {
                fillTables(size, Texts::SHORT);
                return withTable(type, [&](auto& table) -> std::vector<Body> {
                    const bool isTold = type != TRIP_STOP && type != SERVICE_STOP;
                    const auto byStore = [type] { store.deletePassengerInformation(type, 0); };
                    const auto bareClear = [&table] {
                        unsigned sum = 0;
                        for (const auto& record : table) sum += static_cast<unsigned>(record.getId());
                        keep(sum);
                        table.clear();
                    };
                    const auto bareErases = [&table] {
                        while (!table.empty()) {
                            addNewEventItem(EventItem::EVENT_TYPE{}, table.front().getId(), &table.front());
                            table.erase(table.begin());
                        }
                    };
                    Body yardstick{"bare-clear/" + name, bareClear, restoring(table)};
                    if (isTold) yardstick = {"bare-erases/" + name, bareErases, restoring(table)};
                    return {{name, byStore, restoring(table)}, yardstick};
                });
            }};
}

Scene deletionOfEverything(std::size_t size) {
    const std::string name = "deletion-of-everything" + sizeAndTexts(size, Texts::SHORT);
    return {name, [=] {
                fillTables(size, Texts::SHORT);
                const auto restores = std::make_shared<std::vector<std::function<void()>>>();
                withEveryTable([&restores](auto& table) { restores->push_back(restoring(table)); });
                const auto prepare = [restores] {
                    for (const auto& restore : *restores) restore();
                };
                return std::vector<Body>{{name, [] { store.deletePassengerInformation(ALL_ELEMENTS, 0); }, prepare}};
            }};
}

Scene dayScene(const Day& day) {
    return {"day/" + day.name, [&day] {
                setObservers(1);
                std::vector<Body> bodies{storeDay(day), bareDay(day, false), bareDay(day, true), mapDay(day)};
#ifdef PIS_STANDALONE
                bodies.push_back(sqliteDay(day));
#endif
                return bodies;
            }};
}

std::vector<Scene> scenesOfHandlersAndTables() {
    std::vector<Scene> scenes;
    for (const Change change : kChanges) {
        for (const ElementType* type : typesOfHandlers()) {
            for (const std::size_t size : kSizes) {
                scenes.push_back(handlerScene(change, type->code, size, Texts::SHORT, 0));
            }
            scenes.push_back(handlerScene(change, type->code, 1'000, Texts::LONG, 0));
            scenes.push_back(handlerScene(change, type->code, 1'000, Texts::SHORT, 1));
            scenes.push_back(handlerScene(change, type->code, 1'000, Texts::SHORT, 8));
        }
    }
    for (const int status : {AUTO_MESSAGE_STATE, SIGNALLING_SERVER_STATUS}) {
        for (const Change change : {Change::CHANGED, Change::UNCHANGED}) {
            for (const std::size_t observers : {0U, 1U, 8U}) {
                scenes.push_back(handlerScene(change, status, 1, Texts::SHORT, observers));
            }
        }
    }
    for (int type = LINE; type <= SERVICE; ++type) {
        for (const std::size_t size : kSizes) scenes.push_back(getterScene(type, size, Texts::SHORT));
        scenes.push_back(getterScene(type, 10'000, Texts::LONG));
    }
    for (int type = LINE; type <= SERVICE_STOP; ++type) {
        for (const std::size_t size : kSizes) {
            for (const char* place : kPlaces) scenes.push_back(deletionScene(place, type, size));
        }
    }
    for (const std::size_t size : kSizes) {
        scenes.push_back(clearingScene(SERVICE_STOP, size));
        // One after the other from the front, as it must be told, goes with the square of the size.
        if (size <= 1'000) scenes.push_back(deletionOfEverything(size));
    }
    return scenes;
}
