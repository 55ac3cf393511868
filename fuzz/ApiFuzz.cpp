// In go the lines of a request: target, Host, Origin, If-None-Match, Accept-Encoding, Last-Event-ID. The
// service answers it over a small picture, before and after the feed is ready; every answer is one that the
// API knows, and JSON where it says so.
#include <simdjson.h>

#include <array>
#include <set>

#include "FuzzCheck.h"
#include "SmallService.h"

namespace {

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
    static small::Service empty(false);
    static small::Service filled(true);
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
    for (small::Service* service : {&empty, &filled}) {
        check(request, service->api.answer(request), service->changes, service->published.current());
    }
    return 0;
}
