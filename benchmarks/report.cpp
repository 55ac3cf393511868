// bench-report README NATIVE M32: rewrites what stands between the markers of the README with the figures of
// the two files (see Results.h). M32 may be missing or empty.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <map>
#include <string>
#include <vector>

#include "Figures.h"

namespace {

std::string microseconds(double nanoseconds) {
    return shortly(nanoseconds / 1e3);
}

// --- Ratios

struct Ratio {
    std::string scene;
    double ofCase = 0;
    double ofYardstick = 0;
    double times() const { return ofCase / ofYardstick; }
};

struct RatioRow {
    std::string subject;
    std::string yardstick;
    double atMost = 0;
    std::vector<Ratio> ratios;

    const Ratio* worst() const {
        const auto most = std::max_element(ratios.begin(), ratios.end(), [](const Ratio& one, const Ratio& other) {
            return one.times() < other.times();
        });
        return most == ratios.end() ? nullptr : &*most;
    }
};

/// Rows with the same subject ("the same, ...") follow each other, but need not be the same row.
std::vector<RatioRow> ratioRowsOf(const Run& run) {
    std::vector<RatioRow> rows;
    for (const Values& line : linesOf(run, "ratio")) {
        if (rows.empty() || rows.back().subject != line.at(0)) {
            rows.push_back({line.at(0), line.at(1), std::stod(line.at(2)), {}});
        }
        rows.back().ratios.push_back({line.at(3), std::stod(line.at(4)), std::stod(line.at(5))});
    }
    return rows;
}

const RatioRow* findRow(const std::vector<RatioRow>& rows, const RatioRow& wanted) {
    for (const RatioRow& row : rows) {
        if (row.subject == wanted.subject && row.yardstick == wanted.yardstick) return &row;
    }
    return nullptr;
}

std::string worstOf(const RatioRow* row) {
    if (row == nullptr) return kNone;
    const Ratio& worst = *row->worst();
    return fixed(worst.times(), 2) + (row->ratios.size() > 1 ? " (" + worst.scene + ")" : "");
}

std::string ratioTable(const Run& native, const Run& m32) {
    const std::vector<RatioRow> rows = ratioRowsOf(native);
    const std::vector<RatioRow> rowsOfM32 = ratioRowsOf(m32);
    std::string text = tableHead({"case", "yardstick", "at most", "native", "-m32", "reached"});
    for (const RatioRow& row : rows) {
        const RatioRow* onM32 = findRow(rowsOfM32, row);
        const bool reached =
            row.worst()->times() <= row.atMost && (onM32 == nullptr || onM32->worst()->times() <= row.atMost);
        text += tableRow({row.subject, row.yardstick, fixed(row.atMost, 1), worstOf(&row), worstOf(onM32),
                          reached ? "yes" : "**no**"});
    }
    return text;
}

/// Every ratio behind the table.
std::string ratioDetails(const Run& native, const Run& m32) {
    const std::vector<RatioRow> rowsOfM32 = ratioRowsOf(m32);
    std::string text = tableHead({"case", "native", "yardstick", "times", "-m32", "yardstick", "times"});
    for (const RatioRow& row : ratioRowsOf(native)) {
        const RatioRow* onM32 = findRow(rowsOfM32, row);
        for (std::size_t i = 0; i < row.ratios.size(); ++i) {
            const Ratio& ratio = row.ratios[i];
            Values cells{ratio.scene, microseconds(ratio.ofCase), microseconds(ratio.ofYardstick),
                         fixed(ratio.times(), 2)};
            if (onM32 != nullptr && i < onM32->ratios.size()) {
                const Ratio& other = onM32->ratios[i];
                cells.insert(cells.end(),
                             {microseconds(other.ofCase), microseconds(other.ofYardstick), fixed(other.times(), 2)});
            } else {
                cells.insert(cells.end(), 3, kNone);
            }
            text += tableRow(cells);
        }
    }
    return text;
}

// --- Cases

using Times = std::map<std::string, double>;

/// The least time that the run found for each case.
Times timesOf(const Run& run) {
    Times times;
    for (const Values& line : linesOf(run, "case")) {
        const double time = std::stod(line.at(1));
        const auto known = times.emplace(line.at(0), time).first;
        known->second = std::min(known->second, time);
    }
    return times;
}

bool beginsWith(const std::string& text, const std::string& begin) {
    return text.compare(0, begin.size(), begin) == 0;
}

bool isNumber(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

/// Where a case stands: which table, row and column.
struct Place {
    std::string table;
    std::string row;
    std::string column;
};

/// "by-hand/unchanged/line/1000/long" is the table of unchanged records, row "line, by hand", column
/// "1,000 long".
Place placeOf(const std::string& name) {
    Values parts = split(name, '/');
    Values suffixes;
    const std::map<std::string, std::string> yardsticks{{"by-hand", "by hand"},
                                                        {"bare-copy", "bare copy"},
                                                        {"bare-loop-and-erase", "bare"},
                                                        {"bare-clear", "bare"},
                                                        {"bare-erases", "bare"}};
    const auto yardstick = yardsticks.find(parts.front());
    if (yardstick != yardsticks.end()) parts.erase(parts.begin());
    const std::string kind = parts.front();
    parts.erase(parts.begin());

    Place place;
    if (!parts.empty() && !isNumber(parts.front())) {
        place.row = parts.front();
        parts.erase(parts.begin());
    } else {
        place.row = "every table";
    }
    const bool hasSize = !parts.empty() && isNumber(parts.front());
    place.column = hasSize ? withThousands(std::stod(parts.front())) : "no observer";
    for (std::size_t i = hasSize ? 1 : 0; i < parts.size(); ++i) {
        if (parts[i] == "long") place.column += ", long texts";
        if (parts[i] == "observers:1") place.column = hasSize ? place.column + ", 1 observer" : "1 observer";
        if (parts[i] == "observers:8") place.column = hasSize ? place.column + ", 8 observers" : "8 observers";
    }

    if (kind == "new") place.table = "New records";
    if (kind == "changed") place.table = "Changed records";
    if (kind == "unchanged") place.table = "Unchanged records";
    if (kind == "getter") place.table = "Getters";
    if (kind == "deletion-of-all" || kind == "deletion-of-everything") {
        place.table = "Deletion of all elements";
    } else if (beginsWith(kind, "deletion-")) {
        place.table = "Deletion of one element";
        place.row += ", " + kind.substr(std::string("deletion-").size());
    }
    if (!hasSize && !place.table.empty()) {
        place.table = "Status records";
        place.row += ", " + kind;
    }
    if (yardstick != yardsticks.end()) place.row += ", " + yardstick->second;
    return place;
}

std::size_t positionIn(Values& values, const std::string& value) {
    const auto found = std::find(values.begin(), values.end(), value);
    if (found != values.end()) return static_cast<std::size_t>(found - values.begin());
    values.push_back(value);
    return values.size() - 1;
}

/// Native time, and that under -m32 behind a stroke.
std::string bothTimes(const std::string& name, const Times& native, const Times& m32, double unit) {
    const auto one = native.find(name);
    const auto other = m32.find(name);
    if (one == native.end()) return kNone;
    std::string text = shortly(one->second / unit);
    if (other != m32.end()) text += " / " + shortly(other->second / unit);
    return text;
}

std::string caseTables(const Run& native, const Run& m32) {
    const Times times = timesOf(native);
    const Times timesOfM32 = timesOf(m32);
    struct Table {
        Values columns;
        Values rows;
        std::map<std::pair<std::size_t, std::size_t>, std::string> cells;
    };
    Values titles;
    std::map<std::string, Table> tables;
    for (const Values& line : linesOf(native, "case")) {
        const Place place = placeOf(line.at(0));
        if (place.table.empty()) continue;
        positionIn(titles, place.table);
        Table& table = tables[place.table];
        const std::size_t row = positionIn(table.rows, place.row);
        const std::size_t column = positionIn(table.columns, place.column);
        table.cells[{row, column}] = bothTimes(line.at(0), times, timesOfM32, 1e3);
    }

    std::string text;
    for (const std::string& title : titles) {
        Table& table = tables[title];
        Values head{""};
        head.insert(head.end(), table.columns.begin(), table.columns.end());
        text += "\n**" + title + "**\n\n" + tableHead(head);
        for (std::size_t row = 0; row < table.rows.size(); ++row) {
            Values cells{table.rows[row]};
            for (std::size_t column = 0; column < table.columns.size(); ++column) {
                const auto cell = table.cells.find({row, column});
                cells.push_back(cell == table.cells.end() ? kNone : cell->second);
            }
            text += tableRow(cells);
        }
    }
    return text;
}

std::string dayTable(const Run& native, const Run& m32) {
    const Times times = timesOf(native);
    const Times timesOfM32 = timesOf(m32);
    std::string text =
        tableHead({"day", "records", "the store", "bare loops", "bare loops and copies", "unordered_map", "SQLite"});
    Values seen;
    for (const Values& line : linesOf(native, "day")) {
        const std::string& day = line.at(0);
        if (std::find(seen.begin(), seen.end(), day) != seen.end() || times.count("day/" + day) == 0) continue;
        seen.push_back(day);
        Values cells{day, withThousands(std::stod(line.at(1)))};
        for (const char* subject : {"day/", "bare-loops/", "bare-loops-and-copies/", "unordered-map/", "sqlite/"}) {
            cells.push_back(bothTimes(subject + day, times, timesOfM32, 1e6));
        }
        text += tableRow(cells);
    }
    return text;
}

// --- What stands beside

std::string lockTable(const Run& native, const Run& m32) {
    std::string text =
        tableHead({"day", "lock held per", "mean", "99.9th percentile", "-m32: mean", "99.9th percentile"});
    for (const Values& line : linesOf(native, "lock")) {
        Values cells{line.at(0), line.at(1), microseconds(std::stod(line.at(2))), microseconds(std::stod(line.at(3)))};
        for (const Values& other : linesOf(m32, "lock")) {
            if (other.at(0) != line.at(0) || other.at(1) != line.at(1)) continue;
            cells.insert(cells.end(), {microseconds(std::stod(other.at(2))), microseconds(std::stod(other.at(3)))});
        }
        cells.resize(6, kNone);
        text += tableRow(cells);
    }
    const std::vector<Values>& lines = linesOf(native, "lock");
    if (!lines.empty()) {
        text += "\nReading the clock, " + shortly(std::stod(lines.front().at(4))) +
                " ns natively, is part of each of these times.\n";
    }
    return text;
}

std::string jsonTable(const Run& native) {
    std::string text = tableHead({"reader", "records", "MB", "seconds", "MB/s"});
    for (const Values& line : linesOf(native, "json")) {
        const double seconds = std::stod(line.at(1));
        const double megabytes = std::stod(line.at(2)) / 1e6;
        text += tableRow({line.at(0), withThousands(std::stod(line.at(3))), fixed(megabytes, 1), fixed(seconds, 3),
                          withThousands(megabytes / seconds)});
    }
    return text;
}

std::string sizeTable(const Run& native) {
    std::string text = tableHead({"the unit built with -m32 -Os", "bytes of text"});
    for (const Values& line : linesOf(native, "size")) {
        text += tableRow({line.at(0), withThousands(std::stod(line.at(1)))});
    }
    return text;
}

std::string report(const Run& native, const Run& m32) {
    return "\n## Measured on\n\n" + facts(native) +                                                       //
           "\n## What was to be reached\n\n" + ratioTable(native, m32) +                                  //
           "\n## How long the lock is held\n\nMicroseconds.\n\n" + lockTable(native, m32) +               //
           "\n## Size\n\n" + sizeTable(native) +                                                          //
           "\n## Whole days\n\nMilliseconds, native / -m32, one observer.\n\n" + dayTable(native, m32) +  //
           "\n## JSON readers\n\n" + jsonTable(native) +                                                  //
           "\n## Every ratio\n\nMicroseconds.\n\n" + ratioDetails(native, m32) +                          //
           "\n## Every case\n\nMicroseconds, native / -m32, by size of the table.\n" + caseTables(native, m32) + "\n";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: bench-report README NATIVE M32\n");
        return 2;
    }
    try {
        rewrite(argv[1], report(readRun(argv[2]), readRun(argv[3])));
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "bench-report: %s\n", fault.what());
        return 2;
    }
    return 0;
}
