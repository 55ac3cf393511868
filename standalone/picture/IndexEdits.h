// What one publication changes in an index: moves of records come in, each entry that they touch is
// written once. Private to the picture builder.
#ifndef PIS_PICTURE_INDEXEDITS_H
#define PIS_PICTURE_INDEXEDITS_H

#include <vector>

#include "picture/Picture.h"

namespace pis::picture {

class IndexEdits {
public:
    /// A record stood under one key and stands under another one from now on; 0 is nowhere. At most once
    /// per record between two calls of applyTo().
    void move(int id, int before, int after);

    /// Writes the entries and forgets the moves. Costs the moves and the entries that they touch.
    void applyTo(PersistentMap<int, Ids>& index);

private:
    struct Edit {
        int key;
        int id;
        bool stands;

        bool operator<(const Edit& other) const { return key != other.key ? key < other.key : id < other.id; }
    };

    std::vector<Edit> _edits;
};

}  // namespace pis::picture

#endif
