#include "service/RowDocument.h"

#include <algorithm>
#include <utility>

namespace pis::service {

RowDocument::RowDocument(std::string name, std::shared_ptr<const picture::Picture> picture,
                         std::vector<Section> sections, std::string end, std::optional<picture::RowIds> rows)
    : _name(std::move(name)),
      _picture(std::move(picture)),
      _sections(std::move(sections)),
      _end(std::move(end)),
      _rows(std::move(rows)) {}

std::optional<RowDocument::Place> RowDocument::append(std::string& text, Place place, std::size_t bytes) const {
    for (; place.section < _sections.size(); place = {place.section + 1}) {
        const Section& section = _sections[place.section];
        if (place.rows == 0) text += section.before;
        bool isFull = false;
        forEachRowFrom(section.table, place.from, [&](const picture::Row& row) {
            if (place.rows > 0) text += ',';
            text += row.json;
            ++place.rows;
            place.from = std::int64_t{row.id} + 1;
            isFull = text.size() >= bytes;
            return !isFull;
        });
        if (isFull) return place;
    }
    text += _end;
    return std::nullopt;
}

std::size_t RowDocument::size() const {
    std::size_t size = _end.size();
    for (const Section& section : _sections) {
        size += section.before.size();
        const std::size_t rows = rowsOf(section.table);
        if (rows > 0) size += rows - 1;  // commas
        if (!_rows) {
            size += _picture->tableBytes[records::indexOf(section.table)];
            continue;
        }
        forEachRowFrom(section.table, std::numeric_limits<int>::min(), [&size](const picture::Row& row) {
            size += row.json.size();
            return true;
        });
    }
    return size;
}

std::size_t RowDocument::rowsOf(records::Table table) const {
    return _rows ? (*_rows)[records::indexOf(table)].size() : _picture->size(table);
}

template <typename Visit>
void RowDocument::forEachRowFrom(records::Table table, std::int64_t from, Visit visit) const {
    if (from > std::numeric_limits<int>::max()) return;
    if (!_rows) return _picture->forEachRowFrom(table, static_cast<int>(from), visit);
    const std::vector<int>& ids = (*_rows)[records::indexOf(table)];
    for (auto id = std::lower_bound(ids.begin(), ids.end(), from); id != ids.end(); ++id) {
        if (!visit(*_picture->find(table, *id))) return;
    }
}

}  // namespace pis::service
