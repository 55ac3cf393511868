#include "replay/ReplaySummary.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/JsonText.h"
#include "base/Numbers.h"
#include "base/Output.h"
#include "feed/ElementTypes.h"

namespace pis::replay {

using namespace SignallingCodes;

namespace {

/// What an event code says, for people.
const char* nameOfEvent(int code) {
    switch (code) {
        case SIGNALLING_SERVER_ONLINE: return "signalling server online";
        case SIGNALLING_SERVER_OFFLINE: return "signalling server offline";
        case LINE_UPDATED: return "line updated";
        case LINE_DELETED: return "line deleted";
        case VEHICLE_UPDATED: return "vehicle updated";
        case VEHICLE_DELETED: return "vehicle deleted";
        case STATION_UPDATED: return "station updated";
        case STATION_DELETED: return "station deleted";
        case PLATFORM_UPDATED: return "platform updated";
        case PLATFORM_DELETED: return "platform deleted";
        case SERVICE_UPDATED: return "service updated";
        case SERVICE_DELETED: return "service deleted";
        case TRIP_UPDATED: return "trip updated";
        case TRIP_DELETED: return "trip deleted";
        default: return "unknown";
    }
}

bool isTold(int type) {
    return type != TRIP_STOP && type != SERVICE_STOP && type != AUTO_MESSAGE_STATE;
}

std::uint64_t toldOf(const ReplaySummary& summary, int type) {
    const auto found = summary.told.find(type);
    return found == summary.told.end() ? 0 : found->second;
}

feed::FeedDelivery::Count countOf(const ReplaySummary& summary, int type) {
    const auto found = summary.counts.find(type);
    return found == summary.counts.end() ? feed::FeedDelivery::Count() : found->second;
}

/// Everything delivered under codes that the store takes nothing for.
feed::FeedDelivery::Count unknownCodes(const ReplaySummary& summary) {
    feed::FeedDelivery::Count sum;
    for (const auto& [type, count] : summary.counts) {
        const feed::ElementType* known = feed::findElementType(type);
        if (known == nullptr) sum.updates += count.updates;
        const bool deletable = type == ALL_ELEMENTS || (known != nullptr && known->hasTable());
        if (!deletable) sum.deletions += count.deletions;
    }
    return sum;
}

/// "trip_stops" as people write it.
std::string spoken(std::string name) {
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

std::string joined(const std::vector<std::string>& texts) {
    return fmt::format("{}", fmt::join(texts, ", "));
}

}  // namespace

std::string forPeople(const ReplaySummary& summary) {
    fmt::memory_buffer text;
    const auto out = std::back_inserter(text);
    fmt::format_to(out, "{}\n", base::onOneLine(joined(summary.files)));
    fmt::format_to(out, "{} in {:.2f} s, {} a second\n\n", base::counted(summary.records, "record"), summary.seconds,
                   base::grouped(static_cast<std::uint64_t>(summary.recordsPerSecond())));

    fmt::format_to(out, "{:<30}{:>12}{:>10}{:>12}{:>12}\n", "Element", "delivered", "id 0", "told", "deletions");
    for (const feed::ElementType& type : feed::elementTypes()) {
        const feed::FeedDelivery::Count count = countOf(summary, type.code);
        const bool status = type.code == SIGNALLING_SERVER_STATUS || type.code == AUTO_MESSAGE_STATE;
        fmt::format_to(out, "{:>3} {:<26}{:>12}{:>10}{:>12}{:>12}\n", static_cast<int>(type.code), type.name,
                       base::grouped(count.updates), status ? "-" : base::grouped(count.updatesOfIdZero),
                       isTold(type.code) ? base::grouped(toldOf(summary, type.code)) : "-",
                       type.hasTable() ? base::grouped(count.deletions + count.leftOut) : "-");
    }
    const feed::FeedDelivery::Count unknown = unknownCodes(summary);
    fmt::format_to(out, "    {:<26}{:>12}{:>10}{:>12}{:>12}\n", "unknown code", base::grouped(unknown.updates), "-",
                   "-", base::grouped(unknown.deletions));
    fmt::format_to(out, "    {:<26}{:>12}{:>10}{:>12}{:>12}\n\n", "every type at once", "-", "-", "-",
                   base::grouped(countOf(summary, ALL_ELEMENTS).deletions));

    fmt::format_to(out, "Tables at the end\n");
    for (const auto& [name, size] : summary.tables) {
        fmt::format_to(out, "    {:<26}{:>12}\n", spoken(name), base::grouped(size));
    }

    fmt::format_to(out, "\nEvents\n");
    for (const auto& [code, number] : summary.events) {
        fmt::format_to(out, "{:>3} {:<26}{:>12}\n", code, nameOfEvent(code), base::grouped(number));
    }
    fmt::format_to(out, "\nObserver calls\n");
    for (const auto& [name, number] : summary.observerCalls) {
        if (number > 0) fmt::format_to(out, "    {:<26}{:>12}\n", name, base::grouped(number));
    }

    fmt::format_to(out, "\nSignalling server {}, automatic messages {}\n", summary.serverOnline ? "online" : "offline",
                   summary.automaticMessages ? "on" : "off");
    if (summary.snapshots > 0) fmt::format_to(out, "{} taken\n", base::counted(summary.snapshots, "snapshot"));
    if (summary.skippedLines > 0)
        fmt::format_to(out, "{} skipped\n", base::counted(summary.skippedLines, "faulty line"));
    fmt::format_to(out, "Contents {:016x}\n", summary.hash);
    return fmt::to_string(text);
}

std::string asJson(const ReplaySummary& summary) {
    base::JsonText json;
    const auto number = [&json](const char* key, std::uint64_t value) {
        json.key(key).number(static_cast<long long>(value));
    };

    json.beginObject().key("files").beginArray();
    for (const std::string& file : summary.files) json.text(file);
    json.endArray();
    number("records", summary.records);
    number("skipped_lines", summary.skippedLines);
    number("snapshots", summary.snapshots);
    json.key("seconds").raw(fmt::format("{:.6f}", summary.seconds));
    json.key("records_per_second").raw(fmt::format("{:.0f}", summary.recordsPerSecond()));

    json.key("elements").beginArray();
    for (const feed::ElementType& type : feed::elementTypes()) {
        const feed::FeedDelivery::Count count = countOf(summary, type.code);
        json.beginObject().key("code").number(type.code).key("name").text(type.name);
        number("delivered", count.updates);
        number("id_0", count.updatesOfIdZero);
        number("told", toldOf(summary, type.code));
        number("deletions", count.deletions);
        number("left_out_of_snapshots", count.leftOut);
        json.endObject();
    }
    json.endArray();
    const feed::FeedDelivery::Count unknown = unknownCodes(summary);
    json.key("unknown_code").beginObject();
    number("delivered", unknown.updates);
    number("deletions", unknown.deletions);
    json.endObject();
    number("deletions_of_every_type", countOf(summary, ALL_ELEMENTS).deletions);

    json.key("tables").beginObject();
    for (const auto& [name, size] : summary.tables) number(name.c_str(), size);
    json.endObject();
    json.key("events").beginObject();
    for (const auto& [code, count] : summary.events) number(std::to_string(code).c_str(), count);
    json.endObject();
    json.key("observer_calls").beginObject();
    for (const auto& [name, count] : summary.observerCalls) number(name, count);
    json.endObject();
    json.key("server_online").flag(summary.serverOnline);
    json.key("automatic_messages").flag(summary.automaticMessages);
    json.key("hash").text(fmt::format("{:016x}", summary.hash));
    return json.endObject().str();
}

}  // namespace pis::replay
