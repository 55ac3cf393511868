#include "LargeRailway.h"

#include <algorithm>
#include <tuple>

#include "BenchHost.h"
#include "StoreTables.h"
#include "UpdateRecord.h"

using namespace pis::feed;
using namespace SignallingCodes;

namespace {

/// A name: "Pier 12", or where texts are long "Pier 12 of the harbour railway".
std::string name(const char* kind, int id, Texts texts) {
    std::string name = kind + std::to_string(id);
    if (texts == Texts::LONG) name += " of the harbour railway";
    return name;
}

/// A list of ids from `id` on: two, or where texts are long twelve.
std::string list(int id, Texts texts) {
    std::string list = std::to_string(id);
    for (int i = 1; i < (texts == Texts::LONG ? 12 : 2); ++i) list += '!' + std::to_string(id + i);
    return list;
}

}  // namespace

FeedRecord elementRecord(int type, int id, Texts texts, int variant) {
    const std::string number = std::to_string(id);
    const bool other = variant != 0;
    const bool isLong = texts == Texts::LONG;
    switch (type) {
        case LINE: return update(type, id, {name(other ? "Row " : "Line ", id, texts), name("L", id, texts)});
        case VEHICLE:
            return update(type, id, {name("Unit ", id, texts), name("U", id, texts), "4", list(id + variant, texts)});
        case STATION:
            return update(type, id,
                          {name("Pier ", id, texts), name("P", id, texts), other ? "N" : "Y", list(id, texts)});
        case PLATFORM:
            return update(type, id, {number, "1", name(other ? "Quay " : "Plat ", id, texts), name("P-", id, texts)});
        case TRIP:
            return update(type, id,
                          {name(other ? "Tour " : "Trip ", id, texts), "3", "1", "0",
                           isLong ? "ALL_STOPS_BUT_THOSE_CLOSED" : "ALL_STOPS", list(id, texts)});
        case TRIP_STOP: return update(type, id, {number, "7", "Y", "300", other ? "360" : "330"});
        case SERVICE:
            return update(type, id, {number, other ? "21660" : "21600", "5", list(id, texts), "1", "9", "0", "3"});
        case SERVICE_STOP: return update(type, id, {number, number, "21600", other ? "45" : "0", other ? "30" : "0"});
        case VEHICLE_STATE:
            return update(
                type, id,
                {"Y", name(other ? "Q-" : "P-", id, texts), "1", isLong ? "IN_SERVICE_AS_PLANNED" : "IN_SERVICE",
                 number, "1", isLong ? "SIDE_1_TOWARDS_THE_SEA" : "SIDE_1", "0",
                 isLong ? "NONE_OF_THE_TWO_SIDES" : "NONE"});
        case PLATFORM_STATE:
            return update(type, id,
                          {other ? "6" : "5", isLong ? "VEHICLE_BOARDING_HERE" : "BOARDING", list(id, texts)});
        case SERVICE_STATE:
            return update(type, id, {list(id + variant, texts), "4", isLong ? "BOARDING_AT_A_PLATFORM" : "BOARDING"});
        case AUTO_MESSAGE_STATE: return update(type, 1, {other ? "N" : "Y"});
        case SIGNALLING_SERVER_STATUS: return update(type, 1, {"box", "A", other ? "0" : "1"});
        default: std::abort();
    }
}

// Each element is delivered into empty tables, where the search for it costs nothing, and put aside.
void fillTables(std::size_t size, Texts texts) {
    setObservers(0);
    emptyTables();
    std::tuple<std::vector<Line>, std::vector<Vehicle>, std::vector<Station>, std::vector<PlatformInfo>,
               std::vector<Trip>, std::vector<TripStop>, std::vector<Service>, std::vector<ServiceStop>>
        filled;
    for (std::size_t i = 1; i <= size; ++i) {
        for (const ElementType* type : typesOfHandlers()) {
            PreparedUpdate(elementRecord(type->code, static_cast<int>(i), texts)).deliver();
        }
        withEveryTable([&filled](auto& table) {
            auto& aside = std::get<std::decay_t<decltype(table)>>(filled);
            aside.push_back(std::move(table.front()));
            table.clear();
        });
    }
    withEveryTable([&filled](auto& table) { table = std::move(std::get<std::decay_t<decltype(table)>>(filled)); });
}

void emptyTables() {
    withEveryTable([](auto& table) { std::decay_t<decltype(table)>().swap(table); });
}

std::vector<int> scatteredIds(std::size_t size) {
    constexpr std::size_t kCount = 16;
    std::vector<int> ids;
    for (std::size_t i = 0; i < kCount; ++i) {
        const std::size_t place = i * 7 % kCount;
        ids.push_back(static_cast<int>((2 * place + 1) * size / (2 * kCount)) + 1);
    }
    return ids;
}

std::vector<const ElementType*> typesOfHandlers() {
    std::vector<const ElementType*> types;
    for (const ElementType& type : elementTypes()) {
        if (findElementType(type.table)->hasTable()) types.push_back(&type);
    }
    return types;
}

std::string nameOf(int type) {
    std::string name = findElementType(type)->name;
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}
