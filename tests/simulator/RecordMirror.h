// What a receiver knows after a number of records: the last fields of each element, snapshots and deletions taken
// into account.
#ifndef TESTS_SIMULATOR_RECORDMIRROR_H
#define TESTS_SIMULATOR_RECORDMIRROR_H

#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "feed/ElementTypes.h"
#include "feed/FeedRecord.h"

namespace pis::simulator {

class RecordMirror {
public:
    using Fields = std::vector<std::string>;
    using Elements = std::map<std::pair<int, int>, Fields>;  // by type and id

    void take(const feed::FeedRecord& record) {
        switch (record.kind) {
            case feed::FeedRecord::UPDATE: update(record); break;
            case feed::FeedRecord::DELETION: remove(_elements, record.type, record.id); break;
            case feed::FeedRecord::SNAPSHOT_BEGIN:
                _inSnapshot = true;
                _snapshot.clear();
                break;
            case feed::FeedRecord::SNAPSHOT_END:
                _inSnapshot = false;
                _elements = _snapshot;
                break;
        }
    }

    bool inSnapshot() const { return _inSnapshot; }
    bool online() const { return _online; }
    bool messagesEnabled() const { return _messagesEnabled; }

    /// Everything that is kept by tables; a state stands beside its element.
    const Elements& elements() const { return _elements; }

    bool has(int type, int id) const { return _elements.count({type, id}) != 0; }

    const std::string& field(int type, int id, std::size_t position) const {
        return _elements.at({type, id}).at(position);
    }
    int number(int type, int id, std::size_t position) const { return std::atoi(field(type, id, position).c_str()); }
    std::vector<int> list(int type, int id, std::size_t position) const { return idsOf(field(type, id, position)); }

    std::vector<int> idsOfType(int type) const {
        std::vector<int> ids;
        const auto end = _elements.lower_bound({type + 1, 0});
        for (auto row = _elements.lower_bound({type, 0}); row != end; ++row) ids.push_back(row->first.second);
        return ids;
    }

    static std::vector<int> idsOf(const std::string& list) {
        std::vector<int> ids;
        for (std::size_t begin = 0; begin < list.size();) {
            std::size_t end = list.find('!', begin);
            if (end == std::string::npos) end = list.size();
            ids.push_back(std::atoi(list.substr(begin, end - begin).c_str()));
            begin = end + 1;
        }
        return ids;
    }

    static Fields fieldsOf(const feed::FeedRecord& record) {
        Fields fields;
        for (std::size_t i = 0; i < record.fields.size(); ++i) fields.emplace_back(record.fields[i]);
        return fields;
    }

private:
    void update(const feed::FeedRecord& record) {
        const Fields fields = fieldsOf(record);
        if (record.type == 98) {
            _online = fields.at(2) == "1";
        } else if (record.type == 13) {
            _messagesEnabled = fields.at(0) == "Y";
        } else {
            (_inSnapshot ? _snapshot : _elements)[{record.type, record.id}] = fields;
        }
    }

    /// A state goes with its element.
    static void remove(Elements& elements, int type, int id) {
        for (auto element = elements.begin(); element != elements.end();) {
            const int table = feed::findElementType(element->first.first)->table;
            const bool selected = (type == 0 || table == type) && (id == 0 || element->first.second == id);
            element = selected ? elements.erase(element) : std::next(element);
        }
    }

    Elements _elements, _snapshot;
    bool _inSnapshot = false;
    bool _online = false;
    bool _messagesEnabled = false;
};

}  // namespace pis::simulator

#endif
