#include "service/Api.h"

#include <algorithm>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <exception>
#include <limits>
#include <sstream>

#include "base/JsonText.h"
#include "base/Output.h"
#include "base/Text.h"
#include "debug.h"
#include "pages/EmbeddedPages.h"
#include "service/Problem.h"

namespace pis::service {

namespace beast = boost::beast;
namespace http = boost::beast::http;

namespace {

constexpr int kLowestId = std::numeric_limits<int>::min();
constexpr int kHighestId = std::numeric_limits<int>::max();

/// Tables that can be asked for one station's rows.
constexpr std::array<records::Table, 5> kTablesOfStations{records::Table::PLATFORMS, records::Table::TRIPS,
                                                          records::Table::TRIP_STOPS, records::Table::SERVICES,
                                                          records::Table::SERVICE_STOPS};

/// "/api/v1/trip-stops" for the table "trip_stops".
std::string pathOf(records::Table table) {
    std::string name(tableName(table));
    std::replace(name.begin(), name.end(), '_', '-');
    return "/api/v1/" + name;
}

records::Table tableOf(const RequestTarget& target) {
    std::string name = target.segments()[2];
    std::replace(name.begin(), name.end(), '-', '_');
    return *records::tableNamed(name);
}

/// "service_stops" as people say it: "service stop".
std::string nounOf(records::Table table) {
    std::string noun(tableName(table));
    std::replace(noun.begin(), noun.end(), '_', ' ');
    noun.pop_back();
    return noun;
}

std::vector<std::string> splitAt(const std::string& list, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(list);
    for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
    return parts;
}

/// "[::1]:8080" without its port; what has none stays as it is.
std::string withoutPort(const std::string& authority) {
    const std::size_t lastOther = authority.find_last_not_of("0123456789");
    if (lastOther == std::string::npos || authority[lastOther] != ':') return authority;
    return authority.substr(0, lastOther);
}

/// Whether gzip is among the encodings that a client takes.
bool takesGzip(const std::string& acceptEncoding) {
    for (const auto& [name, parameters] : http::ext_list(acceptEncoding)) {
        if (!beast::iequals(name, "gzip")) continue;
        for (const auto& [parameter, value] : parameters) {
            if (beast::iequals(parameter, "q")) return value.find_first_not_of("0.") != beast::string_view::npos;
        }
        return true;
    }
    return false;
}

/// Whether a client holds what bears this tag already.
bool isHeld(const std::string& ifNoneMatch, const std::string& etag) {
    const std::vector<std::string> parts = splitAt(ifNoneMatch, ',');
    return std::any_of(parts.begin(), parts.end(), [&etag](const std::string& part) {
        const std::string_view tag = base::trimmed(part);
        return tag == "*" || base::behind("W/", tag).value_or(tag) == etag;
    });
}

/// An answer in the form that its client takes, with the tag of that form; without contents where the client holds it.
HttpAnswer tagged(const HttpRequest& request, const std::string& tag, bool mayBeCompressed) {
    HttpAnswer answer;
    answer.varies = true;
    answer.gzip = mayBeCompressed && takesGzip(request.acceptEncoding);
    answer.etag = "\"" + tag + (answer.gzip ? "-gzip\"" : "\"");
    if (isHeld(request.ifNoneMatch, answer.etag)) answer.status = 304;
    return answer;
}

/// Revision of the last change of what a table's rows show for a choice of station.
picture::Revision lastChangeOf(const picture::Picture& picture, records::Table table, bool ofStation) {
    picture::Revision last = picture.revisionOf(table);
    if (!ofStation) return last;
    for (const records::Table other :
         {records::Table::STATIONS, records::Table::PLATFORMS, records::Table::TRIP_STOPS}) {
        last = std::max(last, picture.revisionOf(other));
    }
    return last;
}

/// Whether a request asks for no more than whether the service lives, or is ready.
bool isProbe(const HttpRequest& request) {
    return request.target == "/healthz" || request.target == "/readyz";
}

/// The host and port of a site that pages come from: "https://boards.example:8443" gives "boards.example:8443". Nothing
/// where it is none: files, extensions of a browser and pages that hide where they are from have no site.
std::optional<std::string> hostOfSite(const std::string& origin) {
    const std::string site = base::lowered(origin);
    for (const char* scheme : {"http://", "https://"}) {
        if (const auto host = base::behind(scheme, site)) return std::string(*host);
    }
    return std::nullopt;
}

/// Whether a request is from one of our own pages, or from none. Where a proxy hides the name that the browser came
/// by, the browser's own rule still stands: without leave in the answer, pages of other sites read nothing of it.
bool isOfOurPages(const HttpRequest& request) {
    if (!request.origin) return true;
    const std::optional<std::string> site = hostOfSite(*request.origin);
    if (!site) return false;
    if (!request.fetchSite.empty()) return request.fetchSite == "same-origin" || request.fetchSite == "none";
    return request.hostIsProxys || *site == base::lowered(*request.host);
}

/// Bytes of a table beyond which nobody is handed its text in one piece.
constexpr std::size_t kLarge = std::size_t{256} << 10;

std::string nameOf(records::Table table, const std::string& token) {
    return std::string(tableName(table)) + "/" + token + "/";
}

/// A table, or those of its rows that are taken.
std::shared_ptr<const RowDocument> documentOf(const std::shared_ptr<const picture::Picture>& picture,
                                              records::Table table, const std::string& token,
                                              std::optional<picture::RowIds> rows = std::nullopt) {
    const std::size_t count = rows ? (*rows)[records::indexOf(table)].size() : picture->size(table);
    base::JsonText json;
    json.beginObject().key("revision").text(token).key("table").text(tableName(table));
    json.key("count").number(static_cast<long long>(count)).key("items").beginArray();
    return std::make_shared<const RowDocument>(
        nameOf(table, token), picture, std::vector<RowDocument::Section>{{json.str(), table}}, "]}", std::move(rows));
}

void requireReady(const picture::Picture& picture) {
    if (picture.feed.ready) return;
    throw Problem{503,
                  "Nothing is known yet: neither a snapshot nor a record has come from the signalling side.",
                  "",
                  "",
                  {{"Retry-After", "2"}}};
}

}  // namespace

Api::Api(Surroundings surroundings, ApiOptions options)
    : _around(std::move(surroundings)), _options(std::move(options)), _bodies(_around.account) {
    for (const records::Table each : records::kEveryTable) {
        addRoute(pathOf(each), &Api::table);
        addRoute(pathOf(each) + "/{id}", &Api::record);
    }
    addRoute("/api/v1/stations/{id}/departures", &Api::stationDepartures);
    addRoute("/api/v1/platforms/{id}/departures", &Api::platformDepartures);
    addRoute("/api/v1/boards", &Api::boards);
    addRoute("/api/v1/changes", &Api::changes);
    addRoute("/api/v1/status", &Api::status);
    addRoute("/healthz", &Api::alive);
    addRoute("/readyz", &Api::ready);
    addRoute("/metrics", &Api::metrics);
}

void Api::addRoute(const std::string& path, Handler handler) {
    _routes.push_back({path, handler, splitAt(path.substr(1), '/')});
}

const Api::Route* Api::routeOf(const RequestTarget& target) const {
    const std::vector<std::string>& segments = target.segments();
    for (const Route& route : _routes) {
        const auto same = [](const std::string& wanted, const std::string& given) {
            return wanted == "{id}" || wanted == given;
        };
        if (std::equal(route.segments.begin(), route.segments.end(), segments.begin(), segments.end(), same)) {
            return &route;
        }
    }
    return nullptr;
}

HttpAnswer Api::answer(const HttpRequest& request) const {
    std::string route = "none";
    HttpAnswer answer;
    try {
        answer = routed(request, route);
    } catch (const Problem& problem) {
        answer = answerOf(problem);
    } catch (const std::exception& error) {
        handleError(2, "%s: %s: %s", "answer", base::onOneLine(request.target).c_str(), error.what());
        answer = answerOf(Problem{500, "The service failed at this request; its log says more.", ""});
    }
    answer.route = route;
    return answer;
}

HttpAnswer Api::routed(const HttpRequest& request, std::string& route) const {
    checkSender(request);
    const RequestTarget target(request.target);
    const Route* known = routeOf(target);
    const bool isPage = known == nullptr && pages::findPage(target.path()) != nullptr;
    if (known == nullptr && !isPage) {
        throw Problem{404, "There is nothing at this path; /api/v1/openapi.json describes what there is.", ""};
    }
    route = isPage ? target.path() : known->path;
    if (request.method != "GET" && request.method != "HEAD") {
        throw Problem{405, "This resource is read only: GET or HEAD.", "", "", {{"Allow", "GET, HEAD"}}};
    }
    return isPage ? page(request, target) : (this->*known->handler)(request, target);
}

/// A page on somebody else's site must not read what a browser inside the house can reach: the name it
/// was reached by and the page's origin have to be ours.
void Api::checkSender(const HttpRequest& request) const {
    if (request.mayLackHost && isProbe(request)) return;
    if (!request.host || request.host->empty()) throw Problem{400, "The request must name one Host.", ""};
    if (_options.hosts.count(base::lowered(withoutPort(*request.host))) == 0) {
        throw Problem{421,
                      "This service does not answer for " + base::quoted(*request.host) +
                          "; its operator can allow it with --allow-host.",
                      ""};
    }
    if (!isOfOurPages(request)) {
        throw Problem{403, "Pages of " + base::quoted(*request.origin) + " may not read here.", ""};
    }
}

// --- Tables -------------------------------------------------------------------------------------

HttpAnswer Api::table(const HttpRequest& request, const RequestTarget& target) const {
    const std::shared_ptr<const picture::Picture> picture = _around.published.current();
    const records::Table wanted = tableOf(target);
    const bool perStation =
        std::find(kTablesOfStations.begin(), kTablesOfStations.end(), wanted) != kTablesOfStations.end();
    perStation ? target.allow({"since", "station"}) : target.allow({"since"});
    requireReady(*picture);

    const std::optional<std::string> since = target.parameter("since");
    const int station = knownStation(*picture, target);
    if (since && station != 0) throw Problem{400, "Cannot be combined with station.", "since"};
    if (since) return changedSince(request, *picture, wanted, *since);

    if (station == 0 && picture->tableBytes[records::indexOf(wanted)] > kLarge) {
        return largeTable(request, picture, wanted);
    }
    const picture::Revision revision = lastChangeOf(*picture, wanted, station != 0);
    const std::string token = _around.tokens.of(revision);
    const std::string key = target.path() + (station != 0 ? "?station=" + std::to_string(station) : "");
    const auto body = _bodies.get(key, revision, token, [&] {
        std::optional<picture::RowIds> rows;
        if (station != 0) rows = rowsOfStation(*picture, station);
        std::string text;
        documentOf(picture, wanted, token, std::move(rows))->append(text, {}, std::string::npos);
        return text;
    });
    return answerWith(request, *body);
}

/// Goes out in pieces, made as the client takes them.
HttpAnswer Api::largeTable(const HttpRequest& request, const std::shared_ptr<const picture::Picture>& picture,
                           records::Table table) const {
    const std::string token = _around.tokens.of(picture->revisionOf(table));
    HttpAnswer answer = tagged(request, token, request.takesChunks);
    if (answer.status == 304) return answer;
    std::weak_ptr<const RowDocument>& latest = _documents[records::indexOf(table)];
    answer.document = latest.lock();
    if (answer.document == nullptr || answer.document->name() != nameOf(table, token)) {
        answer.document = documentOf(picture, table, token);
        latest = answer.document;
    }
    return answer;
}

/// The station that is asked for; 0 for none. It must exist.
int Api::knownStation(const picture::Picture& picture, const RequestTarget& target) const {
    const std::optional<int> station = target.number("station", kLowestId, kHighestId);
    if (!station) return 0;
    if (picture.find(records::Table::STATIONS, *station) == nullptr) {
        throw Problem{404, "There is no station " + std::to_string(*station) + ".", "station"};
    }
    return *station;
}

HttpAnswer Api::changedSince(const HttpRequest& request, const picture::Picture& picture, records::Table table,
                             const std::string& token) const {
    const RevisionTokens::Reading since = _around.tokens.read(token);
    if (!since.wellFormed) throw Problem{400, "Must be a revision as this service gives them.", "since"};

    const picture::Revision last = picture.revisionOf(table);
    const bool nothingNew = since.revision && *since.revision >= last && *since.revision <= picture.revision;
    const auto changes = nothingNew       ? std::optional<picture::Changes>(picture::Changes{})
                         : since.revision ? picture.changesSince(*since.revision)
                                          : std::nullopt;
    const std::string current = _around.tokens.of(last);
    if (!changes) {
        throw Problem{410,
                      since.revision ? "The changes since then are not kept any more: read the whole table."
                                     : "This revision is from before the service was started: read the whole table.",
                      "since", current};
    }
    base::JsonText items;
    base::JsonText removed;
    items.beginArray();
    removed.beginArray();
    for (const picture::Change& change : changes->latest) {
        if (change.table != table) continue;
        change.row != nullptr ? items.raw(change.row->json) : removed.number(change.id);
    }
    items.endArray();
    removed.endArray();

    base::JsonText json;
    json.beginObject().key("revision").text(current).key("table").text(tableName(table)).key("since").text(token);
    json.key("items").raw(items.str()).key("removed").raw(removed.str()).endObject();
    AnswerBody body{_around.account.keep(json.str()), current + "-since-" + token};
    return answerWith(request, body);
}

HttpAnswer Api::record(const HttpRequest& request, const RequestTarget& target) const {
    target.allow({});
    const records::Table wanted = tableOf(target);
    const int id = wholeNumber(target.segments()[3], "id", kLowestId, kHighestId);
    const std::shared_ptr<const picture::Picture> picture = _around.published.current();
    requireReady(*picture);
    const std::shared_ptr<const picture::Row> row = picture->find(wanted, id);
    if (row == nullptr) throw Problem{404, "There is no " + nounOf(wanted) + " " + std::to_string(id) + ".", "id"};
    AnswerBody body{_around.account.keep(row->json), _around.tokens.of(row->revision)};
    return answerWith(request, body);
}

// --- Departures ---------------------------------------------------------------------------------

HttpAnswer Api::stationDepartures(const HttpRequest& request, const RequestTarget& target) const {
    return departures(request, target, true);
}

HttpAnswer Api::platformDepartures(const HttpRequest& request, const RequestTarget& target) const {
    return departures(request, target, false);
}

HttpAnswer Api::departures(const HttpRequest& request, const RequestTarget& target, bool ofStation) const {
    constexpr int kDefaultLimit = 20;
    constexpr int kHighestLimit = 200;
    target.allow({"limit"});
    picture::DepartureQuery query;
    const int id = wholeNumber(target.segments()[3], "id", kLowestId, kHighestId);
    (ofStation ? query.stationId : query.platformId) = id;
    query.limit = static_cast<std::size_t>(target.number("limit", 1, kHighestLimit).value_or(kDefaultLimit));

    const std::shared_ptr<const picture::Picture> picture = _around.published.current();
    if (!knows(*picture, query)) {
        throw Problem{
            404, std::string("There is no ") + (ofStation ? "station " : "platform ") + std::to_string(id) + ".", "id"};
    }
    // Whatever passes with time alone passes within the minute.
    const picture::ServiceMoment now = _around.clock.at(picture->feed, _around.wallClock()).wholeMinute();
    const auto body = _departures.get(picture, query, now);
    return answerWith(request, *body);
}

HttpAnswer Api::boards(const HttpRequest& request, const RequestTarget& target) const {
    target.allow({});
    const std::shared_ptr<const picture::Picture> picture = _around.published.current();
    requireReady(*picture);
    const picture::Revision revision =
        std::max(picture->revisionOf(records::Table::STATIONS), picture->revisionOf(records::Table::PLATFORMS));
    const auto body = _bodies.get(target.path(), revision, "", [&] { return picture::boardsJson(*picture); });
    return answerWith(request, *body);
}

// --- Changes, status, pages ---------------------------------------------------------------------

HttpAnswer Api::changes(const HttpRequest& request, const RequestTarget& target) const {
    target.allow({"tables", "station"});
    const std::shared_ptr<const picture::Picture> picture = _around.published.current();
    HttpAnswer::Stream stream;
    if (target.parameter("station")) {
        requireReady(*picture);
        stream.filter.stationId = knownStation(*picture, target);
    }
    if (const std::optional<std::string> tables = target.parameter("tables")) {
        stream.filter.tables.reset();
        for (const std::string& name : splitAt(*tables, ',')) {
            const std::optional<records::Table> table = records::tableNamed(name);
            if (!table) throw Problem{400, "There is no table " + base::quoted(name) + ".", "tables"};
            stream.filter.tables.set(records::indexOf(*table));
        }
        if (stream.filter.tables.none()) throw Problem{400, "Names no table.", "tables"};
    }
    stream.knows = _around.tokens.read(base::trimmed(request.lastEventId)).revision;

    HttpAnswer answer;
    answer.type = "text/event-stream";
    answer.cacheControl = "no-store";
    answer.stream = stream;
    return answer;
}

HttpAnswer Api::status(const HttpRequest& /*request*/, const RequestTarget& target) const {
    target.allow({});
    return statusOf(*_around.published.current());
}

HttpAnswer Api::statusOf(const picture::Picture& picture) const {
    HttpAnswer answer;
    answer.cacheControl = "no-store";
    answer.body =
        std::make_shared<const std::string>(_around.report.status(picture, _around.counts(), _around.wallClock()));
    return answer;
}

HttpAnswer Api::alive(const HttpRequest& /*request*/, const RequestTarget& target) const {
    target.allow({});
    HttpAnswer answer;
    answer.cacheControl = "no-store";
    answer.body = std::make_shared<const std::string>(R"({"alive":true})");
    return answer;
}

/// A link that falls later does not take the boards off the air: it shows in the body.
HttpAnswer Api::ready(const HttpRequest& /*request*/, const RequestTarget& target) const {
    target.allow({});
    const std::shared_ptr<const picture::Picture> picture = _around.published.current();
    HttpAnswer answer = statusOf(*picture);
    if (picture->feed.ready) return answer;
    answer.status = 503;
    answer.headers.emplace_back("Retry-After", "2");
    return answer;
}

HttpAnswer Api::metrics(const HttpRequest& request, const RequestTarget& target) const {
    target.allow({});
    if (!_options.openMetrics && !request.fromLoopback) {
        throw Problem{403, "Metrics are for this machine alone; --open-metrics opens them.", ""};
    }
    HttpAnswer answer;
    answer.type = "text/plain; version=0.0.4; charset=utf-8";
    answer.cacheControl = "no-store";
    answer.body = std::make_shared<const std::string>(_around.metrics());
    return answer;
}

/// The parameters of a page are its own business.
HttpAnswer Api::page(const HttpRequest& request, const RequestTarget& target) const {
    const pages::EmbeddedPage& page = *pages::findPage(target.path());
    const auto body = _bodies.get(target.path(), 0, std::string(page.etag), [&] { return std::string(page.body); });
    HttpAnswer answer = answerWith(request, *body);
    answer.type = page.type;
    return answer;
}

HttpAnswer Api::answerWith(const HttpRequest& request, AnswerBody& body) const {
    constexpr std::size_t kWorthIt = 512;  // bytes; below, compressing saves no packet
    HttpAnswer answer = tagged(request, body.tag, body.plain->size() >= kWorthIt);
    if (answer.status == 304) return answer;
    answer.body = answer.gzip ? _bodies.compressed(body) : body.plain;
    return answer;
}

}  // namespace pis::service
