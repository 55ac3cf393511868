#include "FeedWriter.h"

#include <array>
#include <charconv>

#include "JsonText.h"

namespace {

/// Seconds in the fewest digits that read back as the same number.
std::string seconds(double value) {
    std::array<char, 32> digits{};
    const auto [end, code] = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    return {digits.data(), end};
}

}  // namespace

std::string toJsonLine(const FeedRecord& record) {
    JsonText line;
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
