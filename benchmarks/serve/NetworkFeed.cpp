#include "NetworkFeed.h"

#include <algorithm>
#include <stdexcept>

#include "Day.h"
#include "FeedFile.h"
#include "SignallingCodes.h"
#include "UpdateRecord.h"
#include "feed/ElementTypes.h"
#include "feed/FeedWriter.h"

using namespace pis::feed;

namespace {

std::string lineOf(const FeedRecord& record) {
    return toJsonLine(record) + "\n";
}

}  // namespace

NetworkFeed::NetworkFeed(const std::string& feed, int copies) {
    bool inState = true;
    for (const FeedRecord& record : multiplied(recordsIn(feed), copies)) {
        if (record.kind == FeedRecord::SNAPSHOT_BEGIN) continue;
        if (record.kind == FeedRecord::SNAPSHOT_END) {
            inState = false;
        } else if (inState) {
            takeState(record);
        } else {
            _day.push_back(lineOf(record));
        }
    }
    if (_day.empty() || _serviceStops.empty()) throw std::runtime_error(feed + ": must be a whole state and a day");
}

void NetworkFeed::takeState(const FeedRecord& record) {
    _state += lineOf(record);
    const ElementType* const type = findElementType(record.type);
    if (type != nullptr && type->table == type->code && type->hasTable()) ++_rows;
    switch (record.type) {
        case SignallingCodes::LINE: _line = record; break;
        case SignallingCodes::STATION: _stations.push_back(record.id); break;
        case SignallingCodes::SERVICE:
            _lastService = std::max(_lastService, record.id);
            ++_services;
            break;
        case SignallingCodes::SERVICE_STOP: _serviceStops.push_back(record); break;
        default: break;
    }
}

std::string NetworkFeed::wholeStateAnd(std::size_t services) const {
    std::string state = "{\"snapshot\":\"begin\"}\n" + _state;
    for (std::size_t i = 1; i <= services; ++i) {
        const int id = _lastService + static_cast<int>(i);
        state += lineOf(update(SignallingCodes::SERVICE, id, {"0", "80000", "0", "", "0", "0", "0", "0"}));
    }
    return state + "{\"snapshot\":\"end\"}\n";
}

const std::string& NetworkFeed::next() {
    if (_nextOfDay == _day.size()) throw std::runtime_error("the day is at its end before the measurement is");
    return _day[_nextOfDay++];
}

std::string NetworkFeed::delay(std::size_t number, std::uint32_t seconds) const {
    constexpr std::size_t kFarApart = 7919;
    const FeedRecord& stop = _serviceStops[number * kFarApart % _serviceStops.size()];
    const std::string delay = std::to_string(seconds);
    return lineOf(update(stop.type, stop.id, {stop.fields[0], stop.fields[1], stop.fields[2], delay, delay}));
}

std::string NetworkFeed::lineName(char letter, std::size_t length) const {
    return lineOf(update(_line.type, _line.id, {std::string(length, letter), "L"}));
}
