#include "records/TableDump.h"

#include "base/ContentHash.h"
#include "base/JsonText.h"
#include "records/Enumerators.h"
#include "records/Members.h"
#include "records/Tables.h"

namespace pis::records {

namespace {

void addValue(base::JsonText& json, const std::string& text) {
    json.text(text);
}

void addValue(base::JsonText& json, bool flag) {
    json.flag(flag);
}

/// A number, or one of the unit's enumerations.
template <typename Value>
void addValue(base::JsonText& json, Value value) {
    if constexpr (std::is_enum_v<Value>) {
        const char* name = enumeratorName(value);
        name != nullptr ? json.text(name) : json.number(value);
    } else {
        json.number(static_cast<long long>(value));
    }
}

}  // namespace

template <typename Record>
std::string dumpLine(const Record& record, Times times) {
    base::JsonText json;
    json.beginObject().key("table").text(tableName(TraitsOf<Record>::kTable));
    describe(record, [&json, times](std::string_view key, const auto& value) {
        json.key(key);
        if constexpr (std::is_same_v<std::decay_t<decltype(value)>, unsigned long>) {
            json.number(times == Times::SIGNED ? secondsOf(value) : static_cast<long long>(value));
        } else {
            addValue(json, value);
        }
    });
    return json.endObject().str();
}

template std::string dumpLine(const Line&, Times);
template std::string dumpLine(const Vehicle&, Times);
template std::string dumpLine(const Station&, Times);
template std::string dumpLine(const PlatformInfo&, Times);
template std::string dumpLine(const Trip&, Times);
template std::string dumpLine(const TripStop&, Times);
template std::string dumpLine(const Service&, Times);
template std::string dumpLine(const ServiceStop&, Times);

void dumpTables(PassengerInformationServer& store, const std::vector<ServiceStop>& serviceStops, const LineSink& sink) {
    forEachTableOf(store, serviceStops, [&sink](const auto& table) {
        for (const auto& record : table) sink(dumpLine(record));
    });
}

std::uint64_t hashTables(PassengerInformationServer& store, const std::vector<ServiceStop>& serviceStops) {
    base::ContentHash hash;
    dumpTables(store, serviceStops, [&hash](const std::string& line) {
        hash.add(line);
        hash.add("\n");
    });
    return hash.value();
}

}  // namespace pis::records
