#include "RowPool.h"

#include "base/Numbers.h"

RowPool::RowId RowPool::rowOf(std::string_view json) {
    const auto known = _ids.find(json);
    if (known != _ids.end()) return known->second;
    const KnownRow row = read(json);
    const auto id = static_cast<RowId>(_rows.size());
    _rows.push_back(row);
    _texts.emplace_back(json);
    _ids.emplace(_texts.back(), id);
    return id;
}

std::size_t RowPool::placeNamed(std::string_view json) {
    return read(json).place;
}

ReaderState RowPool::stateOf(std::string_view json) {
    ReaderState state;
    const simdjson::padded_string text(json);
    simdjson::ondemand::document document = _parser.iterate(text);
    for (simdjson::ondemand::field table : document["tables"].get_object()) {
        addRows(table.value().get_array(), state);
    }
    return state;
}

void RowPool::addItems(std::string_view json, ReaderState& state) {
    const simdjson::padded_string text(json);
    simdjson::ondemand::document document = _parser.iterate(text);
    addRows(document["items"].get_array(), state);
}

void RowPool::addRows(simdjson::ondemand::array rows, ReaderState& state) {
    for (simdjson::ondemand::object object : rows) {
        const RowId row = rowOf(object.raw_json());
        put(state, placeOf(row), row);
    }
}

RowPool::KnownRow RowPool::read(std::string_view json) {
    const simdjson::padded_string text(json);
    simdjson::ondemand::document document = _rowParser.iterate(text);
    simdjson::ondemand::object object = document.get_object();
    const std::string_view tableName = object["table"];
    const std::string table(tableName);
    const std::int64_t id = object["id"];
    KnownRow row;
    row.place = _places.emplace(std::make_pair(table, id), _places.size()).first->second;
    if (table != "vehicles" || id != kMarkVehicle) return row;
    std::string_view name;
    if (object["name"].get(name) != simdjson::SUCCESS) return row;  // a removal names no name
    if (name.substr(0, kMarkName.size()) == kMarkName)
        row.mark = pis::base::numberIn<std::uint32_t>(name.substr(kMarkName.size())).value_or(0);
    return row;
}
