// One record of a feed, as the reader hands it out and the writer takes it: docs/feed-format.md.
#ifndef PIS_FEED_FEEDRECORD_H
#define PIS_FEED_FEEDRECORD_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pis::feed {

/// The texts of an element's fields by position, each NUL-terminated or missing. Kept in one piece,
/// so that a reader fills the same record again and again without asking for memory.
class FieldTexts {
public:
    void clear() {
        _characters.clear();
        _starts.clear();
    }

    void append(std::string_view text) {
        _starts.push_back(_characters.size());
        _characters.append(text).push_back('\0');
    }

    void appendMissing() { _starts.push_back(kMissing); }

    std::size_t size() const { return _starts.size(); }

    /// Bytes of memory that the fields take up, about.
    std::size_t bytes() const { return _characters.size() + _starts.size() * sizeof(std::size_t); }

    /// Bytes of the texts themselves, each with its NUL.
    std::size_t textBytes() const { return _characters.size(); }

    /// Text of a field, counted from 0; null when it is missing. Valid until the next change.
    const char* operator[](std::size_t position) const {
        const std::size_t start = _starts[position];
        return start == kMissing ? nullptr : _characters.c_str() + start;
    }

private:
    static constexpr std::size_t kMissing = static_cast<std::size_t>(-1);

    std::string _characters;
    std::vector<std::size_t> _starts;
};

/// One record of a feed.
struct FeedRecord {
    enum Kind { UPDATE, DELETION, SNAPSHOT_BEGIN, SNAPSHOT_END };

    /// What a time may be: the seconds of the years 1 to 9999, counted from 1970; no calendar holds more.
    static constexpr double kEarliestAt = -62135596800;
    static constexpr double kLatestAt = 253402300799;

    Kind kind = UPDATE;
    std::optional<double> at;  ///< Seconds from any epoch; kEarliestAt to kLatestAt.
    int type = 0;              ///< Element type code of an update or a deletion.
    int id = 0;                ///< Element id of an update or a deletion.
    FieldTexts fields;         ///< Fields of an update.
};

}  // namespace pis::feed

#endif
