// What every table of a picture keeps of a record.
#ifndef PIS_PICTURE_ROW_H
#define PIS_PICTURE_ROW_H

#include <cstdint>
#include <string>

namespace pis::picture {

/// Counts the changes of the picture, for all tables together; 0 before the first.
using Revision = std::uint64_t;

struct Row {
    int id;
    Revision revision;  ///< At which the record came to be as it is.
    std::string json;   ///< The record as one JSON object: the keys of a dump, then "updated_at".
};

/// A row with its record. A service stop's record has what its trip stop says filled in.
template <typename Record>
struct RowOf : Row {
    Record record;
};

}  // namespace pis::picture

#endif
