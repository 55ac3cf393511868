#include <algorithm>
#include <cstdlib>
#include <memory>

#include "Day.h"
#include "LargeRailway.h"
#include "StoreTables.h"
#include "feed/ElementTypes.h"

using namespace pis::feed;
using namespace SignallingCodes;

namespace {

/// What of a record the loops need, read beforehand.
struct Step {
    int table;
    bool isDeletion;
    int id;
    int otherId;  ///< The trip that a service names, the trip stop that a service stop names.
    bool looksAside;
};

std::vector<Step> stepsOf(const Day& day) {
    std::vector<Step> steps;
    for (const FeedRecord& record : day.records) {
        const ElementType* type = findElementType(record.type);
        if (record.kind == FeedRecord::DELETION) {
            for (const ElementType& each : elementTypes()) {
                if (each.hasTable() && (record.type == ALL_ELEMENTS || record.type == each.code)) {
                    steps.push_back({each.code, true, record.id, 0, false});
                }
            }
        } else if (type != nullptr && record.id != 0 && findElementType(type->table)->hasTable()) {
            const std::size_t field = type->code == SERVICE_STOP ? 1 : 0;
            const bool looksAside = type->code == SERVICE || type->code == SERVICE_STOP || type->code == TRIP;
            const char* text = field < record.fields.size() ? record.fields[field] : nullptr;
            steps.push_back({type->table, false, record.id, text != nullptr ? std::atoi(text) : 0, looksAside});
        }
    }
    return steps;
}

template <typename Record>
Record& update(std::vector<Record>& table, int id) {
    const auto found =
        std::find_if(table.begin(), table.end(), [id](const Record& record) { return record.getId() == id; });
    if (found != table.end()) return *found;
    table.push_back(Record(id));
    return table.back();
}

template <typename Record>
void lookFromLast(const std::vector<Record>& table, int id) {
    keep(std::find_if(table.rbegin(), table.rend(), [id](const Record& record) { return record.getId() == id; }));
}

void lookThrough(const std::vector<Service>& services, int tripId) {
    int running = 0;
    for (const Service& service : services) running += service.getTripId() == tripId ? 1 : 0;
    keep(running);
}

void run(const Step& step, bool withTripCopies) {
    PassengerInformationServer& store = gPassengerInformationServer;
    if (step.isDeletion) {
        return withTable(step.table, [&step](auto& table) {
            if (step.id == 0) return table.clear();
            eraseBare(table, step.id);
        });
    }
    withTable(step.table, [&step](auto& table) { keep(update(table, step.id)); });
    if (!step.looksAside) return;
    if (step.table == SERVICE) return lookFromLast(tripsOf(store), step.otherId);
    if (step.table == SERVICE_STOP) return lookFromLast(tripStopsOf(store), step.otherId);
    if (!withTripCopies) return lookThrough(servicesOf(store), step.id);
    lookThrough(std::vector<Service>(servicesOf(store)), step.id);
}

}  // namespace

Body bareDay(const Day& day, bool withTripCopies) {
    const auto steps = std::make_shared<std::vector<Step>>(stepsOf(day));
    const auto runAll = [steps, withTripCopies] {
        for (const Step& step : *steps) run(step, withTripCopies);
    };
    return {(withTripCopies ? "bare-loops-and-copies/" : "bare-loops/") + day.name, runAll, emptyTables};
}
