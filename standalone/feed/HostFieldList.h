// Makes the host's field list out of a feed record's texts.
#ifndef PIS_FEED_HOSTFIELDLIST_H
#define PIS_FEED_HOSTFIELDLIST_H

#include <vector>

#include "KEBlist.h"
#include "feed/FeedRecord.h"

namespace pis::feed {

/// A field list that is filled again for each record.
class HostFieldList {
public:
    /// The list of these fields. It and the texts are valid until either changes.
    KEBlist* of(const FieldTexts& fields) {
        const std::size_t count = fields.size();
        _cells.resize(count);
        _nodes.resize(count);
        for (std::size_t i = 0; i < count; ++i) {
            _cells[i].text = fields[i];
            _nodes[i].ourList = &_list;
            _nodes[i].nextNode = i + 1 < count ? &_nodes[i + 1] : nullptr;
            _nodes[i].prevNode = i > 0 ? &_nodes[i - 1] : nullptr;
            _nodes[i].dataPtr = &_cells[i];
        }
        _list.listTop = count > 0 ? &_nodes.front() : nullptr;
        _list.listBot = count > 0 ? &_nodes.back() : nullptr;
        _list.elements = static_cast<std::uint32_t>(count);
        return &_list;
    }

private:
    struct Cell {
        const char* text;
    };

    std::vector<Cell> _cells;
    std::vector<KEBnode> _nodes;
    KEBlist _list{};
};

}  // namespace pis::feed

#endif
