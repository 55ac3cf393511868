#include "service/FeedReport.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "base/JsonText.h"
#include "base/WallTime.h"

namespace pis::service {

namespace {

/// Seconds to the tenth, as a JSON number.
std::string tenths(double seconds) {
    constexpr double kBeyond = 1e15;
    if (!std::isfinite(seconds) || std::fabs(seconds) > kBeyond) return "null";
    return fmt::format("{:.1f}", seconds);
}

/// What was not delivered: how often, and why and when last.
std::string intakeOf(const feed::IntakeCounts& counts) {
    base::JsonText json;
    json.beginArray();
    for (const feed::TypeCounts& type : counts) {
        for (std::size_t i = 0; i < feed::kOutcomes; ++i) {
            const auto outcome = static_cast<feed::Outcome>(i);
            const feed::OutcomeCount& found = type.of(outcome);
            if (outcome == feed::Outcome::DELIVERED || found.count == 0) continue;
            json.beginObject().key("type").text(type.name).key("outcome").text(outcomeName(outcome));
            json.key("count").raw(std::to_string(found.count));
            json.key("last_reason").text(found.lastReason).key("last_at").text(base::isoTime(found.lastTime));
            json.endObject();
        }
    }
    return json.endArray().str();
}

std::string storageOf(const feed::ElementSums& known) {
    return fmt::format(R"({{"elements":{},"bytes":{}}})", known.elements, known.bytes);
}

}  // namespace

std::optional<double> FeedReport::silence(const feed::FeedStatus& feed) const {
    if (!feed.lastRecordSteady) return std::nullopt;
    return std::max(0.0, std::chrono::duration<double>(_steadyClock() - *feed.lastRecordSteady).count());
}

bool FeedReport::isStale(const feed::FeedStatus& feed) const {
    const std::optional<double> silent = silence(feed);
    return feed.ready && silent && *silent > _staleAfter;
}

std::string FeedReport::tick(const picture::Picture& picture, base::WallTime now) const {
    const feed::FeedStatus& feed = picture.feed;
    const picture::ServiceMoment moment = _clock.at(feed, now);
    const bool byFeed = _clock.source(feed) == picture::ClockOptions::FEED;
    const std::optional<double> silent = silence(feed);

    base::JsonText json;
    json.beginObject().key("revision").text(_tokens.of(picture.revision));
    json.key("ready").flag(feed.ready).key("stale").flag(isStale(feed));
    json.key("part_of_snapshot").flag(feed.partOfSnapshot);
    json.key("clock").beginObject();
    json.key("seconds").raw(tenths(moment.seconds()));
    json.key("text").text(moment.text());
    json.key("source").text(byFeed ? "feed" : "wall").endObject();
    json.key("link").beginObject().key("name").text(feed.linkName).key("state").text(linkStateName(feed.link));
    json.key("since").text(base::isoTime(feed.linkSince)).key("detail").text(feed.linkDetail).endObject();
    json.key("server_online").flag(feed.serverOnline).key("server_status").text(serverStatusName(feed));
    json.key("automatic_messages").flag(feed.automaticMessages);
    json.key("last_record_at");
    feed.lastRecord ? json.text(base::isoTime(*feed.lastRecord)) : json.raw("null");
    json.key("silent_seconds").raw(silent ? tenths(*silent) : "null");
    json.key("stale_after").raw(tenths(_staleAfter)).endObject();
    return json.str();
}

std::string FeedReport::status(const picture::Picture& picture, const feed::IntakeCounts& counts,
                               base::WallTime now) const {
    base::JsonText tables;
    tables.beginObject();
    for (const records::Table table : records::kEveryTable) {
        tables.key(tableName(table)).number(static_cast<long long>(picture.size(table)));
    }
    tables.endObject();
    std::string text = tick(picture, now);
    text.back() = ',';
    return text + "\"tables\":" + tables.str() + ",\"storage\":" + storageOf(picture.feed.known) +
           ",\"intake\":" + intakeOf(counts) + "}";
}

}  // namespace pis::service
