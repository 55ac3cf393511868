// In go changes of a railway, publications, requests and readers of changes, in any order. Every answer is one that the
// API knows, and JSON where it says so; tables hold the rows that stand, departures are those that a model finds the
// long way, and every reader who is told that it knows the latest picture holds what its filter takes of it.
#include <simdjson.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <set>
#include <sstream>

#include "DepartureModel.h"
#include "FuzzCheck.h"
#include "FuzzedRailway.h"
#include "SmallService.h"
#include "WireReader.h"

namespace {

using namespace pis::service;
using pis::picture::ClockOptions;
using pis::picture::DepartureQuery;
using pis::picture::RandomRailway;
using pis::picture::ServiceClock;

unsigned long departuresWritten = 0;

/// By the feed's clock, the wall's, and where times say their day themselves.
const ServiceClock& someClock(Input& input) {
    static const ServiceClock feed({ClockOptions::FEED, "day", "UTC", "03:00"});
    static const ServiceClock wall({ClockOptions::WALL, "day", "Europe/Oslo", "03:00"});
    static const ServiceClock unix({ClockOptions::FEED, "unix", "Europe/Oslo", "03:00"});
    switch (input.upTo(4)) {
        case 1: return wall;
        case 2: return unix;
        default: return feed;
    }
}

class Session {
public:
    explicit Session(Input& input)
        : _input(input), _railway(input), _clock(someClock(input)), _service(_railway.published(), _clock) {}

    void step() {
        switch (_input.upTo(12)) {
            case 1: return ask();
            case 2: return askForDepartures();
            case 3: return askForTable();
            case 4: return askForChanges();
            case 5:
            case 6: return read();
            case 7:
            case 8: _railway.publish(); return;
            default: return _railway.change();
        }
    }

    /// Everybody reads to the end.
    void end() {
        _railway.publish();
        for (WireReader& reader : _readers) {
            for (int pieces = 0; !readPiece(reader); ++pieces) require(pieces < kManyPieces, "a stream without end");
            require(reader.resets <= 1 + reader.leftBehind, "a reset where the log reaches: " + reader.filter.key());
        }
    }

private:
    static constexpr int kManyPieces = 10000;
    static constexpr std::size_t kMostReaders = 4;
    static constexpr std::size_t kLongestLine = 100;

    HttpAnswer answered(const HttpRequest& request) {
        static const std::set<int> kStatuses{200, 304, 400, 403, 404, 405, 410, 421, 503};
        HttpAnswer answer = _service.api.answer(request);
        const std::string what = request.target + " " + std::to_string(answer.status);
        require(kStatuses.count(answer.status) == 1, what);
        require(!answer.route.empty(), what + ": no route");
        require((answer.status == 304 || answer.stream || answer.document) == (answer.body == nullptr),
                what + ": body");
        if (answer.body != nullptr && !answer.gzip && answer.type.find("json") != std::string::npos) {
            simdjson::dom::parser parser;
            require(parser.parse(*answer.body).error() == simdjson::SUCCESS, what + ": not JSON: " + *answer.body);
        }
        if (answer.stream && _readers.size() < kMostReaders) _readers.emplace_back(answer.stream->filter);
        return answer;
    }

    HttpAnswer get(const std::string& target) {
        HttpRequest request;
        request.method = "GET";
        request.target = target;
        request.host = "h";
        HttpAnswer answer = answered(request);
        if (!answer.etag.empty()) {
            request.ifNoneMatch = answer.etag;
            require(answered(request).status == 304, target + ": a tag that does not hold");
        }
        return answer;
    }

    /// Anything, with anything beside it.
    void ask() {
        HttpRequest request;
        request.method = _input.once(20) ? "HEAD" : "GET";
        request.target = _input.text(kLongestLine);
        request.host = _input.once(4) ? _input.text(kLongestLine) : "h";
        if (_input.once(4)) request.origin = _input.text(kLongestLine);
        if (_input.once(4)) request.ifNoneMatch = _input.text(kLongestLine);
        if (_input.once(4)) request.acceptEncoding = _input.text(kLongestLine);
        if (_input.once(4)) request.lastEventId = _input.text(kLongestLine);
        answered(request);
    }

    void askForDepartures() {
        const auto picture = _railway.published().current();
        DepartureQuery query;
        const bool ofStation = _input.once(2);
        const int id = _input.upTo((ofStation ? RandomRailway::kStations : RandomRailway::kPlatforms) + 1);
        (ofStation ? query.stationId : query.platformId) = id;
        query.limit = static_cast<std::size_t>(_input.upTo(20));
        const HttpAnswer answer = get((ofStation ? "/api/v1/stations/" : "/api/v1/platforms/") + std::to_string(id) +
                                      "/departures?limit=" + std::to_string(query.limit));
        requireEqual(answer.status, pis::picture::knows(*picture, query) ? 200 : 404, "the status of departures");
        if (answer.status != 200) return;
        const auto now = _clock.at(picture->feed, small::someTime()).wholeMinute();
        requireEqual(*answer.body, modelOfDepartures(*picture, {query}, now).front(), "departures");
        if (answer.body->find("\"service_id\"") != std::string::npos) ++departuresWritten;
    }

    void askForTable() {
        const auto picture = _railway.published().current();
        const pis::records::Table table = someTable();
        std::string name(tableName(table));
        std::replace(name.begin(), name.end(), '_', '-');
        ChangeFilter filter;
        filter.tables.reset().set(pis::records::indexOf(table));
        std::string target = "/api/v1/" + name;
        if (_input.once(2)) {
            filter.stationId = _input.upTo(RandomRailway::kStations);
            target += "?station=" + std::to_string(filter.stationId);
        }
        const HttpAnswer answer = get(target);
        if (answer.status != 200 || answer.document) return;
        Rows rows;
        addRowsAt(rows, *answer.body, "/items");
        requireEqual(differenceOf(wanted(*picture, filter), rows), std::string(), target);
    }

    void askForChanges() {
        std::string target = "/api/v1/changes?tables=" + std::string(tableName(someTable()));
        for (int more = _input.upTo(8); more < 8; ++more) target += "," + std::string(tableName(someTable()));
        if (_input.once(2)) target += "&station=" + std::to_string(_input.upTo(RandomRailway::kStations));
        get(target);
    }

    pis::records::Table someTable() {
        return pis::records::kEveryTable[static_cast<std::size_t>(_input.upTo(pis::records::kTables)) - 1];
    }

    void read() {
        if (_readers.empty()) return;
        WireReader& reader = _readers[static_cast<std::size_t>(_input.upTo(static_cast<int>(_readers.size()))) - 1];
        if (_input.once(6)) reader.reconnect(_service.tokens);
        for (int pieces = _input.upTo(5); pieces > 0 && !readPiece(reader); --pieces) continue;
    }

    bool readPiece(WireReader& reader) {
        const auto picture = _railway.published().current();
        if (!reader.read(_service.changes, picture)) return false;
        requireEqual(differenceOf(wanted(*picture, reader.filter), reader.rows()), std::string(),
                     "what a reader holds of " + reader.filter.key());
        return true;
    }

    Input& _input;
    FuzzedRailway _railway;
    const ServiceClock& _clock;
    small::Service _service;
    std::deque<WireReader> _readers;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::atexit([] { std::fprintf(stderr, "Answers with departures: %lu\n", departuresWritten); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Session session(input);
    while (!input.isAtEnd()) session.step();
    session.end();
    return 0;
}
