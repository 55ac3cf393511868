#include "service/ServiceMetrics.h"

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

#include <initializer_list>
#include <memory>
#include <vector>

#include "platform/EventQueue.h"
#include "platform/LockWatch.h"

namespace pis::service {

namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Labels = std::vector<ClientMetric::Label>;

/// Families of metrics as they are put together for one answer.
class Families {
public:
    MetricFamily& begin(const char* name, const char* help, MetricType type) {
        _families.push_back({std::string("pis_") + name, help, type, {}});
        return _families.back();
    }

    void gauge(const char* name, const char* help, double value) {
        addGauge(begin(name, help, MetricType::Gauge), {}, value);
    }

    void counter(const char* name, const char* help, double value) {
        addCounter(begin(name, help, MetricType::Counter), {}, value);
    }

    void histogram(const char* name, const char* help, const platform::TimeHistogram::Values& values) {
        constexpr double kPerSecond = 1e6;
        ClientMetric metric;
        metric.histogram.sample_count = values.count;
        metric.histogram.sample_sum = values.seconds;
        for (std::size_t i = 0; i < values.upTo.size(); ++i) {
            metric.histogram.bucket.push_back({values.upTo[i], platform::TimeHistogram::kBounds[i] / kPerSecond});
        }
        begin(name, help, MetricType::Histogram).metric.push_back(metric);
    }

    static void addGauge(MetricFamily& family, Labels labels, double value) {
        ClientMetric metric;
        metric.label = std::move(labels);
        metric.gauge.value = value;
        family.metric.push_back(std::move(metric));
    }

    static void addCounter(MetricFamily& family, Labels labels, double value) {
        ClientMetric metric;
        metric.label = std::move(labels);
        metric.counter.value = value;
        family.metric.push_back(std::move(metric));
    }

    std::string text() const { return prometheus::TextSerializer().Serialize(_families); }

private:
    std::vector<MetricFamily> _families;
};

double number(std::uint64_t count) {
    return static_cast<double>(count);
}

void addFeed(Families& families, const ServiceMetrics::Sources& sources) {
    const std::shared_ptr<const picture::Picture> picture = sources.published.current();
    const feed::FeedStatus& feed = picture->feed;
    auto& records = families.begin("records_total", "Lines of the feed by element type and what became of them.",
                                   MetricType::Counter);
    for (const feed::TypeCounts& type : sources.feeding.counts()) {
        for (std::size_t i = 0; i < feed::kOutcomes; ++i) {
            Families::addCounter(records,
                                 {{"type", type.name}, {"outcome", outcomeName(static_cast<feed::Outcome>(i))}},
                                 number(type.outcomes[i].count));
        }
    }
    if (const auto silence = sources.report.silence(feed)) {
        families.gauge("feed_silence_seconds", "Seconds since the last record.", *silence);
    }
    families.gauge("feed_stale", "1 while the feed has been silent for too long.",
                   sources.report.isStale(feed) ? 1 : 0);
    families.gauge("ready", "1 once a snapshot or a record has been taken.", feed.ready ? 1 : 0);
    families.gauge("part_of_snapshot", "1 while what is shown is part of a snapshot that is still arriving.",
                   feed.partOfSnapshot ? 1 : 0);
    auto& link = families.begin("link_state", "1 for the state that the link is in.", MetricType::Gauge);
    for (const auto state :
         {feed::FeedStatus::CONNECTING, feed::FeedStatus::UP, feed::FeedStatus::DOWN, feed::FeedStatus::ENDED}) {
        Families::addGauge(link, {{"state", linkStateName(state)}}, feed.link == state ? 1 : 0);
    }
    families.gauge("signalling_server_online", "1 while the signalling server says that it is online.",
                   feed.serverOnline ? 1 : 0);
    auto& server = families.begin("signalling_server_status", "1 for the state that the signalling server is in.",
                                  MetricType::Gauge);
    for (const char* state : {"online", "offline", "unknown"}) {
        Families::addGauge(server, {{"state", state}}, std::string_view(state) == serverStatusName(feed) ? 1 : 0);
    }
}

void addPicture(Families& families, const ServiceMetrics::Sources& sources) {
    const std::shared_ptr<const picture::Picture> picture = sources.published.current();
    auto& rows = families.begin("table_rows", "Rows of the picture's tables.", MetricType::Gauge);
    for (const records::Table table : records::kEveryTable) {
        Families::addGauge(rows, {{"table", std::string(tableName(table))}}, number(picture->size(table)));
    }
    families.gauge("picture_revision", "Revision of the latest picture.", number(picture->revision));
    const feeding::FeedingFigures figures = sources.feeding.figures();
    families.counter("picture_publications_total", "Pictures published, new revisions or not.",
                     number(figures.publications));
    families.counter("snapshots_total", "Snapshots of the signalling side that were taken whole.",
                     number(figures.snapshots));
    families.gauge("storage_elements", "Elements in the signalling storage.", number(figures.elements));
    families.gauge("storage_bytes", "Bytes of the texts of these elements' fields.", number(figures.bytes));
}

void addStore(Families& families, const ServiceMetrics::Sources& sources) {
    const feeding::FeedingFigures figures = sources.feeding.figures();
    families.histogram("store_lock_hold_seconds", "How long the store's lock was held.", platform::LockWatch::values());
    families.counter("store_entry_seconds_total", "Time in the store's entry points for elements.",
                     figures.secondsInStore);
    families.histogram("observer_seconds", "Time in the service's observer.", sources.observer.times());
    auto& calls = families.begin("observer_calls_total", "What the store told the observer.", MetricType::Counter);
    for (std::size_t i = 0; i < records::kObserverOperations.size(); ++i) {
        Families::addCounter(calls, {{"operation", records::kObserverOperations[i]}},
                             number(sources.observer.calls(static_cast<records::ObserverOperation>(i))));
    }
    auto& queues = families.begin("queue_items", "What waits in a queue.", MetricType::Gauge);
    Families::addGauge(queues, {{"queue", "inbox"}}, number(figures.inbox));
    Families::addGauge(queues, {{"queue", "events"}}, number(platform::EventQueue::instance().size()));
    Families::addGauge(queues, {{"queue", "requests"}}, number(figures.requestsWaiting));
    families.counter("requests_total", "Requests made to the store.", number(figures.requests));
    families.counter("requests_refused_total", "Requests refused because too many waited.",
                     number(figures.requestsRefused));
}

}  // namespace

std::string ServiceMetrics::text(const Sources& sources) const {
    Families families;
    addFeed(families, sources);
    addPicture(families, sources);
    addStore(families, sources);

    families.gauge("http_connections", "Connections that are open.", number(_connections));
    families.counter("http_connections_refused_total", "Connections refused because there were too many.",
                     number(_refused));
    families.gauge("changes_readers", "Readers of changes.", number(_readers));
    families.counter("changes_coalesced_total", "Changes that a reader did not see one by one.", number(_coalesced));
    families.counter("changes_stood_still_total", "Readers of changes closed because they took nothing.",
                     number(_stoodStill));
    families.counter("changes_too_slow_total", "Readers of changes closed because they took too little.",
                     number(_tooSlow));
    families.counter("changes_left_behind_total",
                     "Readers closed because what came after the picture that they were given is not kept any more.",
                     number(_leftBehind));
    families.gauge("http_bytes_in_flight", "Bytes of texts for clients, each text once.", number(_bytesInFlight));
    families.gauge("http_waiting_for_room", "Clients that wait until others have taken theirs.", number(_waiting));
    auto& answers = families.begin("http_answers_total", "Answers by route and status.", MetricType::Counter);
    for (const auto& [which, count] : _answers) {
        Families::addCounter(answers, {{"route", which.first}, {"status", std::to_string(which.second)}},
                             number(count));
    }
    auto& departures = families.begin("departure_answers_total", "Answers of departures, made anew or still standing.",
                                      MetricType::Counter);
    Families::addCounter(departures, {{"how", "made"}}, number(sources.departures.made()));
    Families::addCounter(departures, {{"how", "kept"}}, number(sources.departures.kept()));
    return families.text();
}

}  // namespace pis::service
