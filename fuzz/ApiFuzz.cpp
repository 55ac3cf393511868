// In go the lines of a request: target, Host, Origin, If-None-Match, Accept-Encoding, Last-Event-ID. The
// service answers it over a small picture, before and after the feed is ready; every answer is one that the
// API knows, and JSON where it says so.
#include <simdjson.h>

#include <array>
#include <set>

#include "FuzzCheck.h"
#include "SignallingCodes.h"
#include "picture/PictureBuilder.h"
#include "service/Api.h"
#include "service/ChangeStream.h"

using namespace SignallingCodes;

namespace {

pis::base::WallTime someTime() {
    return pis::base::WallTime(std::chrono::hours(500000));
}

template <typename Record>
void tell(pis::picture::PictureBuilder& builder, int code, const Record& record) {
    builder.accept({code, record.getId(), record});
}

void tellOfStop(pis::picture::PictureBuilder& builder, int type, int id, std::initializer_list<const char*> texts) {
    pis::feed::FeedRecord record;
    record.type = type;
    record.id = id;
    for (const char* text : texts) record.fields.append(text);
    builder.acceptStop(record);
}

/// A picture with a train that is still to depart.
void fill(pis::picture::PictureBuilder& builder) {
    Station station(5);
    station.setName("Harbour");
    PlatformInfo platform(9);
    platform.setStationId(5);
    Trip trip(3);
    trip.setStopsListAsString("1!2");
    Service service(12);
    service.setTripId(3);
    tell(builder, LINE_UPDATED, Line(7));
    tell(builder, STATION_UPDATED, station);
    tell(builder, PLATFORM_UPDATED, platform);
    tell(builder, TRIP_UPDATED, trip);
    tell(builder, SERVICE_UPDATED, service);
    tellOfStop(builder, TRIP_STOP, 1, {"3", "9", "Y", "0", "30"});
    tellOfStop(builder, TRIP_STOP, 2, {"3", "10", "Y", "300", "300"});
    tellOfStop(builder, SERVICE_STOP, 88, {"12", "1", "0", "4294967236", "60"});
    builder.feed().ready = true;
    builder.publish();
}

/// A service over a picture that stands still.
struct SmallService {
    explicit SmallService(bool ready) {
        if (ready) fill(builder);
    }

    pis::picture::PublishedPicture published;
    pis::picture::PictureBuilder builder{published, someTime};
    pis::picture::ServiceClock clock{pis::picture::ClockOptions()};
    pis::service::RevisionTokens tokens{someTime()};
    pis::service::FeedReport report{tokens, clock, 90};
    pis::service::Api api{{published, clock, report, tokens, [] { return std::string("metrics 1\n"); },
                           [] { return pis::feed::IntakeCounts(); }, someTime},
                          {{"h"}, false}};
    pis::service::ChangeStream changes{
        tokens, [this](const pis::picture::Picture& picture) { return report.tick(picture, someTime()); }};
};

void check(const pis::service::HttpRequest& request, const pis::service::HttpAnswer& answer,
           pis::service::ChangeStream& changes, const std::shared_ptr<const pis::picture::Picture>& picture) {
    static const std::set<int> kStatuses{200, 304, 400, 403, 404, 405, 410, 421, 503};
    const std::string what = request.target + " " + std::to_string(answer.status);
    require(kStatuses.count(answer.status) == 1, what);
    require(!answer.route.empty(), what + ": no route");
    require((answer.status == 304 || answer.stream) == (answer.body == nullptr), what + ": body");
    if (answer.stream) {
        const auto piece = changes.piece(picture, answer.stream->filter, answer.stream->knows);
        require(piece.events->rfind("event: ", 0) == 0, *piece.events);
    }
    if (answer.body == nullptr || answer.gzip || answer.type.find("json") == std::string::npos) return;
    simdjson::dom::parser parser;
    require(parser.parse(*answer.body).error() == simdjson::SUCCESS, what + ": not JSON: " + *answer.body);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static SmallService empty(false);
    static SmallService filled(true);
    std::array<std::string, 6> lines;
    std::size_t line = 0;
    for (const char character : textOf(data, size)) {
        if (character != '\n') {
            lines[line] += character;
        } else if (line + 1 < lines.size()) {
            ++line;
        }
    }
    pis::service::HttpRequest request;
    request.method = "GET";
    request.target = lines[0];
    request.host = lines[1].empty() ? "h" : lines[1];
    if (!lines[2].empty()) request.origin = lines[2];
    request.ifNoneMatch = lines[3];
    request.acceptEncoding = lines[4];
    request.lastEventId = lines[5];
    for (SmallService* service : {&empty, &filled}) {
        check(request, service->api.answer(request), service->changes, service->published.current());
    }
    return 0;
}
