// Values out of JSON texts, for expectations; and rows of tables as texts that can be compared.
#ifndef TESTS_SERVICE_JSONVALUES_H
#define TESTS_SERVICE_JSONVALUES_H

#include <simdjson.h>

#include <cstdint>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>

namespace pis::service {

/// A value by its JSON pointer ("/link/state"): the text of a string, the JSON of anything else, "none" where
/// there is none and "not JSON" where the text is none.
inline std::string valueAt(const std::string& json, const std::string& pointer) {
    simdjson::dom::parser parser;
    simdjson::dom::element value;
    if (parser.parse(json).get(value) != simdjson::SUCCESS) return "not JSON: " + json;
    if (value.at_pointer(pointer).get(value) != simdjson::SUCCESS) return "none";
    std::string_view text;
    return value.get(text) == simdjson::SUCCESS ? std::string(text) : simdjson::minify(value);
}

/// Rows by table and id, each without its "updated_at".
using Rows = std::map<std::string, std::map<long, std::string>>;

inline std::string withoutUpdatedAt(std::string row) {
    const std::string key = ",\"updated_at\":\"";
    const std::size_t begin = row.find(key);
    if (begin == std::string::npos) return row;
    return row.erase(begin, row.find('"', begin + key.size()) + 1 - begin);
}

inline void setRow(Rows& rows, simdjson::dom::element row) {
    const std::string table(row["table"].get_string().value());
    rows[table][static_cast<long>(row["id"].get_int64().value())] = withoutUpdatedAt(simdjson::minify(row));
}

/// The rows of a list of them at some place.
inline void addRowsAt(Rows& rows, const std::string& json, const std::string& pointer) {
    simdjson::dom::parser parser;
    for (const simdjson::dom::element row : parser.parse(json).at_pointer(pointer).get_array()) setRow(rows, row);
}

/// A row of a dump as the service says it: its times, offsets and delays with their sign.
inline std::string withSignedTimes(const std::string& row) {
    static const std::regex kTime(R"re("[a-z_]*(_time|_delay|_offset)":(\d+))re");
    std::string text;
    auto from = row.begin();
    for (std::sregex_iterator found(row.begin(), row.end(), kTime), end; found != end; ++found) {
        text.append(from, (*found)[2].first);
        text += std::to_string(static_cast<std::int32_t>(std::stoul((*found)[2])));
        from = (*found)[2].second;
    }
    return text.append(from, row.end());
}

/// The rows of JSON lines that `pis replay --dump` prints, as the service says them.
inline Rows rowsOfLines(const std::string& lines) {
    Rows rows;
    simdjson::dom::parser parser;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) setRow(rows, parser.parse(withSignedTimes(line)).value());
    return rows;
}

inline std::set<long> idsOf(const Rows& rows, const std::string& table) {
    std::set<long> ids;
    const auto found = rows.find(table);
    if (found == rows.end()) return ids;
    for (const auto& [id, row] : found->second) ids.insert(id);
    return ids;
}

/// What two sets of rows differ in, for people; empty when in nothing.
inline std::string differenceOf(const Rows& wanted, const Rows& found) {
    std::string difference;
    std::set<std::string> tables;
    for (const auto& each : wanted) tables.insert(each.first);
    for (const auto& each : found) tables.insert(each.first);
    static const std::map<long, std::string> kNone;
    for (const std::string& table : tables) {
        const auto& ours = wanted.count(table) > 0 ? wanted.at(table) : kNone;
        const auto& theirs = found.count(table) > 0 ? found.at(table) : kNone;
        for (const auto& [id, row] : ours) {
            const auto other = theirs.find(id);
            if (other == theirs.end()) {
                difference += "missing: " + row + "\n";
            } else if (other->second != row) {
                difference += "wanted:  " + row + "\nfound:   " + other->second + "\n";
            }
        }
        for (const auto& [id, row] : theirs) {
            if (ours.count(id) == 0) difference += "too many: " + row + "\n";
        }
    }
    return difference.substr(0, 4000);
}

}  // namespace pis::service

#endif
