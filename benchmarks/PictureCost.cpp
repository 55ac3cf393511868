// bench-picture: what an update costs the feeding thread until the picture with it is published, at three sizes of the
// table of service stops, and what the departures of a station cost on a metro. Prints Markdown tables.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "Measure.h"
#include "MetroPicture.h"
#include "Results.h"
#include "SignallingCodes.h"
#include "picture/Departures.h"
#include "picture/PictureBuilder.h"
#include "picture/ServiceClock.h"
#include "service/DepartureCache.h"

namespace {

using namespace SignallingCodes;

constexpr std::array<int, 3> kSizes{300, 3000, 30000};
constexpr int kStopsOfTrip = 10;
constexpr int kServicesOfTrip = 3;
constexpr int kPlatforms = 40;
constexpr int kMany = 100;
constexpr Effort kEffort{2e7, 15, 10.0};

/// A railway with so many service stops, and updates to it that each change something.
class PictureOfSize {
public:
    explicit PictureOfSize(int serviceStops) : _serviceStops(serviceStops) {
        for (int id = 1; id <= kPlatforms; ++id) changePlatform(id);
        const int services = serviceStops / kStopsOfTrip;
        const int trips = (services + kServicesOfTrip - 1) / kServicesOfTrip;
        for (int id = 1; id <= trips; ++id) addTrip(id);
        for (int id = 1; id <= services; ++id) {
            const Service service(id, 1 + id % trips, 18000 + 60L * id);
            _builder.accept({SERVICE_UPDATED, id, service});
        }
        for (int id = 1; id <= serviceStops; ++id) changeDelay(id);
        _builder.publish();
    }

    void publishDelays(int count) {
        for (int i = 0; i < count; ++i) changeDelay(next(_serviceStops));
        _builder.publish();
    }
    void publishPlatform() {
        changePlatform(next(kPlatforms));
        _builder.publish();
    }

    std::size_t size() const { return _published.current()->size(pis::records::Table::SERVICE_STOPS); }

private:
    /// Ids far apart from one another.
    int next(int bound) {
        _last = (_last + 7919) % bound;
        return _last + 1;
    }

    void addTrip(int id) {
        Trip trip(id);
        trip.setName("Östermole – Lännavik");
        _builder.accept({TRIP_UPDATED, id, trip});
        for (int place = 0; place < kStopsOfTrip; ++place) {
            const int stopId = (id - 1) * kStopsOfTrip + place + 1;
            const std::string offset = std::to_string(120 * place);
            changeStop(TRIP_STOP, stopId,
                       {std::to_string(id), std::to_string(1 + (id + place) % kPlatforms), "Y", offset, offset});
        }
    }

    void changeDelay(int id) {
        const int service = 1 + (id - 1) / kStopsOfTrip;
        const int tripStop = 1 + (id - 1) / kServicesOfTrip;
        const std::string delay = std::to_string(++_changes);
        changeStop(SERVICE_STOP, id, {std::to_string(service), std::to_string(tripStop), "18600", delay, delay});
    }

    void changePlatform(int id) {
        PlatformInfo platform(id);
        platform.setName("Harbour Central " + std::to_string(id));
        platform.setStationId(1 + id / 2);
        platform.setStateText("state " + std::to_string(++_changes));
        _builder.accept({PLATFORM_UPDATED, id, platform});
    }

    void changeStop(int type, int id, const std::array<std::string, 5>& texts) {
        _record.type = type;
        _record.id = id;
        _record.fields.clear();
        for (const std::string& text : texts) _record.fields.append(text);
        _builder.acceptStop(_record);
    }

    int _serviceStops;
    int _changes = 0;
    int _last = 0;
    pis::feed::FeedRecord _record;
    pis::picture::PublishedPicture _published;
    pis::picture::PictureBuilder _builder{_published, [] { return std::chrono::system_clock::now(); }};
};

void measureUpdates() {
    std::vector<std::unique_ptr<PictureOfSize>> pictures;
    std::vector<Body> bodies;
    for (const int size : kSizes) {
        pictures.push_back(std::make_unique<PictureOfSize>(size));
        PictureOfSize* picture = pictures.back().get();
        if (picture->size() != static_cast<std::size_t>(size)) throw std::runtime_error("service stops are missing");
        bodies.push_back({"delay", [picture] { picture->publishDelays(1); }});
        bodies.push_back({"platform", [picture] { picture->publishPlatform(); }});
        bodies.push_back({"many", [picture] { picture->publishDelays(kMany); }});
    }
    const std::vector<double> times = timeInTurns(bodies, kEffort);
    std::printf("| service stops | one delay, published | one platform state, published | %d delays, published |\n",
                kMany);
    std::printf("|---:|---:|---:|---:|\n");
    for (std::size_t i = 0; i < kSizes.size(); ++i) {
        std::printf("| %d | %.1f µs | %.1f µs | %.0f µs |\n", kSizes[i], times[3 * i] / 1e3, times[3 * i + 1] / 1e3,
                    times[3 * i + 2] / 1e3);
    }
}

pis::picture::ServiceMoment minuteOf(const pis::picture::Picture& picture) {
    return pis::picture::ServiceClock({pis::picture::ClockOptions::FEED, "2026-11-20", "Europe/Oslo", "03:00"})
        .at(picture.feed, {})
        .wholeMinute();
}

/// An answer made anew, of every station in turn.
void measureDepartures() {
    const MetroPicture metro;
    const auto now = minuteOf(*metro.current());
    pis::picture::CallBook book(metro.current());
    std::size_t rows = 0;
    for (const auto table : pis::records::kEveryTable) rows += book.picture().size(table);
    std::vector<Body> bodies;
    std::size_t bytes = 0;
    const auto answer = [&](int stationId) {
        pis::picture::Reads reads;
        return departuresJson(book, {stationId, 0, 20}, now, reads);
    };
    for (int id = 1; id <= MetroPicture::kStations; ++id) {
        bytes += answer(id).size();
        bodies.push_back({"departures", [&answer, id] { keep(answer(id)); }});
    }
    const std::vector<double> times = timeInTurns(bodies, {2e5, 15, 10.0});
    const double all = std::accumulate(times.begin(), times.end(), 0.0);
    std::printf("\n| rows | stations | one answer of departures, mean | of the busiest station | bytes, mean |\n");
    std::printf("|---:|---:|---:|---:|---:|\n");
    std::printf("| %zu | %zu | %.0f µs | %.0f µs | %zu |\n", rows, times.size(),
                all / static_cast<double>(times.size()) / 1e3, *std::max_element(times.begin(), times.end()) / 1e3,
                bytes / times.size());
}

/// Seconds that this thread has run: whoever else keeps the machine busy does not count.
double ownTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// Boards of half the stations that all ask after every record, with two minutes of a feed.
void measureBoards() {
    constexpr int kBoards = 91;
    constexpr int kRecordsOfSecond = 12;
    constexpr int kSeconds = 120;
    MetroPicture metro;
    pis::service::TextAccount account(std::size_t{1} << 30);
    pis::service::BodyCache bodies(account);
    pis::service::DepartureCache cache(bodies);
    double spent = 0;
    double packing = 0;
    double most = 0;
    std::size_t packed = 0;
    const auto askAll = [&] {
        const auto picture = metro.current();
        const auto now = minuteOf(*picture);
        for (int i = 0; i < kBoards; ++i) {
            const double began = ownTime();
            const auto body = cache.get(picture, {1 + i * MetroPicture::kStations / kBoards, 0, 20}, now);
            const double made = ownTime();
            packed += body->gzip == nullptr ? 1U : 0U;
            keep(bodies.compressed(*body));
            spent += made - began;
            packing += ownTime() - made;
            most = std::max(most, made - began);
        }
    };
    askAll();
    const std::uint64_t madeBefore = cache.made();
    spent = packing = most = 0;
    packed = 0;
    for (int record = 1; record <= kRecordsOfSecond * kSeconds; ++record) {
        metro.setTime(MetroPicture::kNow + record / kRecordsOfSecond);
        metro.publishRecord();
        askAll();
    }
    const auto ofCore = [](double seconds) { return 100 * seconds / kSeconds; };
    std::printf(
        "\n| stations asked after each record | records/s | made anew/s | compressed/s | of a core, answers | "
        "compressing | longest answer |\n|---:|---:|---:|---:|---:|---:|---:|\n");
    std::printf("| %d | %d | %.0f | %.0f | %.1f %% | %.1f %% | %.1f ms |\n", kBoards, kRecordsOfSecond,
                static_cast<double>(cache.made() - madeBefore) / kSeconds, static_cast<double>(packed) / kSeconds,
                ofCore(spent), ofCore(packing), most * 1e3);
}

void measureAll() {
    measureUpdates();
    measureDepartures();
    measureBoards();
    if (std::fflush(stdout) != 0) throw std::runtime_error("the tables cannot be written");
}

}  // namespace

int main(int, char** argv) {
    return runProgram(argv[0], measureAll);
}
