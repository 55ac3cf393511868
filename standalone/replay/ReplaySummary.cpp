#include "replay/ReplaySummary.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "base/JsonText.h"
#include "base/Numbers.h"
#include "base/Output.h"
#include "feed/ElementTypes.h"

namespace pis::replay {

using namespace SignallingCodes;

namespace {

/// What an event code says, for people.
const char* eventName(int code) {
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

/// Whether the store tells observers of updates of a type.
bool isTold(const feed::ElementType& type) {
    return !type.isStop() && type.code != AUTO_MESSAGE_STATE;
}

std::uint64_t toldOf(const ReplaySummary& summary, int type) {
    const auto found = summary.told.find(type);
    return found == summary.told.end() ? 0 : found->second;
}

std::uint64_t updatesIn(const feed::TypeCounts& counts) {
    return counts.of(feed::Outcome::DELIVERED).count - counts.deletions;
}

std::uint64_t ignoredIn(const feed::TypeCounts& counts) {
    return counts.of(feed::Outcome::IGNORED).count;
}

/// States that snapshots did not bring.
std::uint64_t statesReset(const ReplaySummary& summary) {
    return std::accumulate(summary.counts.begin(), summary.counts.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const feed::TypeCounts& counts) { return sum + counts.reset; });
}

/// The counts of what belongs to no element type.
const feed::TypeCounts& countsNamed(const ReplaySummary& summary, const char* name) {
    return *std::find_if(summary.counts.begin(), summary.counts.end(),
                         [name](const feed::TypeCounts& counts) { return counts.name == name; });
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
    fmt::format_to(out, "{} in {:.2f} s, {} a second\n", base::counted(summary.records, "record"), summary.seconds,
                   base::grouped(static_cast<std::uint64_t>(summary.recordsPerSecond())));
    if (summary.partial) fmt::format_to(out, "Interrupted: this is partial, the rest of the feed was not taken\n");

    constexpr const char* kRow = "{:>3} {:<26}{:>12}{:>10}{:>12}{:>12}\n";
    fmt::format_to(out, "\n{:<30}{:>12}{:>10}{:>12}{:>12}\n", "Element", "delivered", "ignored", "told", "deletions");
    const std::vector<feed::ElementType>& types = feed::elementTypes();
    for (std::size_t i = 0; i < types.size(); ++i) {
        const feed::ElementType& type = types[i];
        const feed::TypeCounts& counts = summary.counts[i];
        fmt::format_to(out, fmt::runtime(kRow), static_cast<int>(type.code), type.name,
                       base::grouped(updatesIn(counts)), base::grouped(ignoredIn(counts)),
                       isTold(type) ? base::grouped(toldOf(summary, type.code)) : "-",
                       type.hasTable() ? base::grouped(counts.deletions + counts.leftOut) : "-");
    }
    fmt::format_to(out, fmt::runtime(kRow), "", "unknown code", "-",
                   base::grouped(ignoredIn(countsNamed(summary, "unknown"))), "-", "-");
    fmt::format_to(out, fmt::runtime(kRow), "", "every type at once", "-", "-", "-",
                   base::grouped(countsNamed(summary, "every type").deletions));

    fmt::format_to(out, "\nTables at the end\n");
    for (const auto& [name, size] : summary.tables) {
        fmt::format_to(out, "    {:<26}{:>12}\n", spoken(name), base::grouped(size));
    }

    fmt::format_to(out, "\nEvents\n");
    for (const auto& [code, number] : summary.events) {
        fmt::format_to(out, "{:>3} {:<26}{:>12}\n", code, eventName(code), base::grouped(number));
    }
    fmt::format_to(out, "\nObserver calls\n");
    for (std::size_t i = 0; i < summary.observerCalls.size(); ++i) {
        if (summary.observerCalls[i] == 0) continue;
        fmt::format_to(out, "    {:<26}{:>12}\n", records::kObserverOperations[i],
                       base::grouped(summary.observerCalls[i]));
    }

    fmt::format_to(out, "\nSignalling server {}, automatic messages {}\n", summary.serverOnline ? "online" : "offline",
                   summary.automaticMessages ? "on" : "off");
    if (summary.snapshots > 0) {
        fmt::format_to(out, "{} taken, {} reset\n", base::counted(summary.snapshots, "snapshot"),
                       base::counted(statesReset(summary), "state"));
    }
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
    json.key("partial").flag(summary.partial);
    number("records", summary.records);
    number("skipped_lines", summary.skippedLines);
    number("snapshots", summary.snapshots);
    json.key("seconds").raw(fmt::format("{:.6f}", summary.seconds));
    json.key("records_per_second").raw(fmt::format("{:.0f}", summary.recordsPerSecond()));

    json.key("elements").beginArray();
    const std::vector<feed::ElementType>& types = feed::elementTypes();
    for (std::size_t i = 0; i < types.size(); ++i) {
        const feed::TypeCounts& counts = summary.counts[i];
        json.beginObject().key("code").number(types[i].code).key("name").text(types[i].name);
        number("delivered", updatesIn(counts));
        number("ignored", ignoredIn(counts));
        number("told", toldOf(summary, types[i].code));
        number("deletions", counts.deletions);
        number("left_out_of_snapshots", counts.leftOut);
        number("reset_by_snapshots", counts.reset);
        json.endObject();
    }
    json.endArray();
    number("unknown_code", ignoredIn(countsNamed(summary, "unknown")));
    number("deletions_of_every_type", countsNamed(summary, "every type").deletions);

    json.key("tables").beginObject();
    for (const auto& [name, size] : summary.tables) number(name.c_str(), size);
    json.endObject();
    json.key("events").beginObject();
    for (const auto& [code, count] : summary.events) number(std::to_string(code).c_str(), count);
    json.endObject();
    json.key("observer_calls").beginObject();
    for (std::size_t i = 0; i < summary.observerCalls.size(); ++i) {
        number(records::kObserverOperations[i], summary.observerCalls[i]);
    }
    json.endObject();
    json.key("server_online").flag(summary.serverOnline);
    json.key("automatic_messages").flag(summary.automaticMessages);
    json.key("hash").text(fmt::format("{:016x}", summary.hash));
    return json.endObject().str();
}

}  // namespace pis::replay
