#include "FeedWriter.h"

#include <cmath>
#include <cstdio>

#include "JsonText.h"

namespace {

/// Seconds, to the millisecond, without needless zeros.
std::string seconds(double value) {
    const long long milliseconds = std::llround(value * 1000);
    const long long whole = milliseconds / 1000;
    const long long rest = std::llabs(milliseconds % 1000);
    std::string text = (milliseconds < 0 && whole == 0 ? "-" : "") + std::to_string(whole);
    if (rest == 0) return text;
    char fraction[8];
    std::snprintf(fraction, sizeof fraction, ".%03d", static_cast<int>(rest));
    text += fraction;
    while (text.back() == '0') text.pop_back();
    return text;
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
