#include "feed/FeedWriter.h"

#include <array>
#include <charconv>
#include <cmath>

#include "base/JsonText.h"

namespace pis::feed {

namespace {

/// Seconds in the fewest digits that read back as the same number; large ones with an exponent, since
/// readers take a number without one for an integer of 64 bits.
std::string seconds(double value) {
    constexpr double kLarge = 1e15;
    std::array<char, 32> digits{};
    char* const begin = digits.data();
    char* const limit = begin + digits.size();
    char* const end = std::fabs(value) < kLarge ? std::to_chars(begin, limit, value).ptr
                                                : std::to_chars(begin, limit, value, std::chars_format::scientific).ptr;
    return {begin, end};
}

}  // namespace

std::string toJsonLine(const FeedRecord& record) {
    base::JsonText line;
    line.beginObject();
    if (record.at) line.key("at").raw(seconds(*record.at));
    switch (record.kind) {
        case FeedRecord::SNAPSHOT_BEGIN: line.key("snapshot").text("begin"); break;
        case FeedRecord::SNAPSHOT_END: line.key("snapshot").text("end"); break;
        case FeedRecord::DELETION: line.key("delete").number(record.type).key("id").number(record.id); break;
        case FeedRecord::UPDATE:
            line.key("update").number(record.type).key("id").number(record.id).key("fields").beginArray();
            for (std::size_t i = 0; i < record.fields.size(); ++i) {
                if (const char* text = record.fields[i]) {
                    line.text(text);
                } else {
                    line.raw("null");
                }
            }
            line.endArray();
            break;
    }
    line.endObject();
    return line.str();
}

}  // namespace pis::feed
