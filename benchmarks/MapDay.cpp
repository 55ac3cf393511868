#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "Day.h"
#include "feed/ElementTypes.h"
#include "feed/HostFieldList.h"

using namespace pis::feed;

namespace {

/// What one would write who needs no order, no copies and no observers.
class FieldMaps {
public:
    void update(int type, int id, const KEBlist& list) {
        const std::lock_guard<std::mutex> guard(_mutex);
        std::vector<std::string>& fields = _elements[static_cast<std::size_t>(type)][id];
        std::size_t count = 0;
        for (const KEBnode* node = list.listTop; node != nullptr; node = node->nextNode, ++count) {
            const char* text = *static_cast<const char* const*>(node->dataPtr);
            if (count == fields.size()) fields.emplace_back();
            fields[count] = text != nullptr ? text : "";
        }
        fields.resize(count);
    }

    void remove(int type, int id) {
        const std::lock_guard<std::mutex> guard(_mutex);
        for (const ElementType& each : elementTypes()) {
            if (type != SignallingCodes::ALL_ELEMENTS && each.table != type) continue;
            auto& elements = _elements[static_cast<std::size_t>(each.code)];
            if (id == 0) {
                elements.clear();
            } else {
                elements.erase(id);
            }
        }
    }

private:
    std::mutex _mutex;
    std::vector<std::unordered_map<int, std::vector<std::string>>> _elements{256};  // by type
};

}  // namespace

Body mapDay(const Day& day) {
    const auto maps = std::make_shared<std::unique_ptr<FieldMaps>>();
    const auto run = [maps, &day] {
        HostFieldList list;
        for (const FeedRecord& record : day.records) {
            if (record.kind == FeedRecord::UPDATE) {
                const KEBlist* fields = list.of(record.fields);
                if (findElementType(record.type) != nullptr) (*maps)->update(record.type, record.id, *fields);
            } else {
                (*maps)->remove(record.type, record.id);
            }
        }
    };
    return {"unordered-map/" + day.name, run, [maps] { *maps = std::make_unique<FieldMaps>(); }};
}
