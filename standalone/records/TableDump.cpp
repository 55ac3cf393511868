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
std::string dumpLine(const Record& record) {
    base::JsonText json;
    json.beginObject().key("table").text(tableName(TraitsOf<Record>::kTable));
    describe(record, [&json](std::string_view key, const auto& value) {
        json.key(key);
        addValue(json, value);
    });
    return json.endObject().str();
}

template std::string dumpLine(const Line&);
template std::string dumpLine(const Vehicle&);
template std::string dumpLine(const Station&);
template std::string dumpLine(const PlatformInfo&);
template std::string dumpLine(const Trip&);
template std::string dumpLine(const TripStop&);
template std::string dumpLine(const Service&);
template std::string dumpLine(const ServiceStop&);

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
