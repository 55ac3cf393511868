#include <algorithm>
#include <cstdlib>
#include <memory>
#include <tuple>

#include "DayYardsticks.h"
#include "feed/ElementTypes.h"
#include "SignallingController.h"

using namespace SignallingCodes;

namespace {

using Tables = std::tuple<std::vector<Line>, std::vector<Vehicle>, std::vector<Station>, std::vector<PlatformInfo>,
                          std::vector<Trip>, std::vector<TripStop>, std::vector<Service>, std::vector<ServiceStop>>;

/// What of a record the loops need, read beforehand.
struct Step {
    int table;
    bool isDeletion;
    int id;
    int otherId;  ///< The trip that a service names, the trip stop that a service stop names.
    bool looksAside;
};

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

template <typename Record>
void remove(std::vector<Record>& table, int id) {
    if (id == 0) return table.clear();
    for (auto record = table.begin(); record != table.end();) {
        if (record->getId() == id) {
            record = table.erase(record);
        } else {
            ++record;
        }
    }
}

template <typename Record>
std::vector<Record>& of(Tables& tables) {
    return std::get<std::vector<Record>>(tables);
}

/// Line and NamedId are one type, so each code has its own line here.
template <typename Action>
void withTable(Tables& tables, int type, const Action& action) {
    switch (type) {
        case LINE: return action(of<Line>(tables));
        case VEHICLE: return action(of<Vehicle>(tables));
        case STATION: return action(of<Station>(tables));
        case PLATFORM: return action(of<PlatformInfo>(tables));
        case TRIP: return action(of<Trip>(tables));
        case TRIP_STOP: return action(of<TripStop>(tables));
        case SERVICE: return action(of<Service>(tables));
        case SERVICE_STOP: return action(of<ServiceStop>(tables));
        default: return;
    }
}

std::vector<Step> stepsOf(const Day& day) {
    std::vector<Step> steps;
    for (const FeedRecord& record : day.records) {
        const ElementType* type = findElementType(record.type);
        const bool isDeletion = record.kind == FeedRecord::DELETION;
        if (isDeletion) {
            for (const ElementType& each : elementTypes()) {
                if (each.hasTable() && (record.type == ALL_ELEMENTS || record.type == each.code)) {
                    steps.push_back({each.code, true, record.id, 0, false});
                }
            }
        } else if (type != nullptr && record.id != 0) {
            const std::size_t field = type->code == SERVICE_STOP ? 1 : 0;
            const bool looksAside = type->code == SERVICE || type->code == SERVICE_STOP || type->code == TRIP;
            const char* text = field < record.fields.size() ? record.fields[field] : nullptr;
            const int otherId = text != nullptr ? std::atoi(text) : 0;
            steps.push_back({type->table, false, record.id, otherId, looksAside});
        }
    }
    return steps;
}

class BareTables {
public:
    explicit BareTables(bool withTripCopies) : _withTripCopies(withTripCopies) {}

    void run(const std::vector<Step>& steps) {
        for (const Step& step : steps) take(step);
    }

private:
    void take(const Step& step) {
        if (step.isDeletion) {
            return withTable(_tables, step.table, [&step](auto& table) { remove(table, step.id); });
        }
        withTable(_tables, step.table, [&step](auto& table) { keep(update(table, step.id)); });
        if (!step.looksAside) return;
        switch (step.table) {
            case SERVICE: return lookFromLast(of<Trip>(_tables), step.otherId);
            case SERVICE_STOP: return lookFromLast(of<TripStop>(_tables), step.otherId);
            case TRIP:
                return _withTripCopies ? lookThrough(std::vector<Service>(of<Service>(_tables)), step.id)
                                       : lookThrough(of<Service>(_tables), step.id);
            default: return;
        }
    }

    Tables _tables;
    bool _withTripCopies;
};

}  // namespace

Body bareDay(const Day& day, bool withTripCopies) {
    const auto steps = std::make_shared<std::vector<Step>>(stepsOf(day));
    const auto tables = std::make_shared<std::unique_ptr<BareTables>>();
    return {std::string(withTripCopies ? "bare-loops-and-copies/" : "bare-loops/") + day.name,
            [steps, tables] { (*tables)->run(*steps); },
            [tables, withTripCopies] { *tables = std::make_unique<BareTables>(withTripCopies); }};
}
