// Every row that any reader was sent, once: readers hold numbers instead of texts, so that thousands of them
// fit into memory and two states can be compared at a glance.
#ifndef BENCHMARKS_SERVE_ROWPOOL_H
#define BENCHMARKS_SERVE_ROWPOOL_H

#include <simdjson.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

/// A reader's state: at each place the row that stands there, 0 for none.
using ReaderState = std::vector<std::uint32_t>;

/// [Threading] For one thread.
class RowPool {
public:
    using RowId = std::uint32_t;  ///< Same text, same number; from 1 on.

    /// The vehicle whose name counts the bursts of records, and what its name begins with.
    static constexpr int kMarkVehicle = 999999;
    static constexpr std::string_view kMarkName = "burst ";

    /// A row as the service writes it: {"table":"vehicles","id":7,...}.
    RowId rowOf(std::string_view json);

    /// Where the row stands in a state: one place for each table and id.
    std::size_t placeOf(RowId row) const { return _rows[row].place; }

    /// The burst that this row closes; 0 for every other row.
    std::uint32_t markOf(RowId row) const { return _rows[row].mark; }

    /// The row itself; "nothing" for 0.
    std::string textOf(RowId row) const { return row == 0 ? "nothing" : _texts[row - 1]; }

    /// The place that {"table":"vehicles","id":7} names.
    std::size_t placeNamed(std::string_view json);

    /// The state that {"tables":{"lines":[...],...}} shows.
    ReaderState stateOf(std::string_view json);

    /// Adds the rows of one table's answer, {"items":[...]}, to a state.
    void addItems(std::string_view json, ReaderState& state);

    static void put(ReaderState& state, std::size_t place, RowId row) {
        if (state.size() <= place) state.resize(place + 1);
        state[place] = row;
    }

private:
    struct KnownRow {
        std::size_t place = 0;
        std::uint32_t mark = 0;
    };

    KnownRow read(std::string_view json);
    void addRows(simdjson::ondemand::array rows, ReaderState& state);

    simdjson::ondemand::parser _parser;
    simdjson::ondemand::parser _rowParser;
    std::deque<std::string> _texts;
    std::unordered_map<std::string_view, RowId> _ids;  // of the texts
    std::vector<KnownRow> _rows{1};                    // by id; 0 is none
    std::map<std::pair<std::string, std::int64_t>, std::size_t> _places;
};

#endif
