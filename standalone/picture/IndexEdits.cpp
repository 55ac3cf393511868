#include "picture/IndexEdits.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace pis::picture {

void IndexEdits::move(int id, int before, int after) {
    if (before == after) return;
    if (before != 0) _edits.push_back({before, id, false});
    if (after != 0) _edits.push_back({after, id, true});
}

void IndexEdits::applyTo(PersistentMap<int, Ids>& index) {
    std::sort(_edits.begin(), _edits.end());
    for (auto edit = _edits.cbegin(); edit != _edits.cend();) {
        const int key = edit->key;
        const std::vector<int>& old = idsUnder(index, key);
        auto ids = std::make_shared<std::vector<int>>();
        ids->reserve(old.size() + 1);
        auto kept = old.begin();
        for (; edit != _edits.cend() && edit->key == key; ++edit) {
            const auto place = std::lower_bound(kept, old.end(), edit->id);
            ids->insert(ids->end(), kept, place);
            if (edit->stands) ids->push_back(edit->id);
            kept = place != old.end() && *place == edit->id ? place + 1 : place;
        }
        ids->insert(ids->end(), kept, old.end());
        if (ids->empty()) {
            index.erase(key);
        } else {
            index.set(key, std::move(ids));
        }
    }
    _edits.clear();
}

}  // namespace pis::picture
