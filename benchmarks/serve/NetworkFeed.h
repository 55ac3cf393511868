// A network's records, out of a small railway's feed: the whole state, the day behind it, and updates of our own.
#ifndef BENCHMARKS_SERVE_NETWORKFEED_H
#define BENCHMARKS_SERVE_NETWORKFEED_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "feed/FeedRecord.h"

/// Lines of a feed, each with its end.
class NetworkFeed {
public:
    /// @param feed a file of records: first a whole state between snapshot marks, then the day.
    /// @param copies so many of that railway side by side, with ids of their own.
    NetworkFeed(const std::string& feed, int copies);

    /// Between snapshot marks.
    std::string wholeState() const { return "{\"snapshot\":\"begin\"}\n" + _state + "{\"snapshot\":\"end\"}\n"; }

    /// The same with services that no timetable knows, with ids behind all others.
    std::string wholeStateAnd(std::size_t services) const;

    /// The day's next record. @throws std::runtime_error at its end.
    const std::string& next();

    /// A delay of a service stop. @param number any: neighbours are far apart.
    std::string delay(std::size_t number, std::uint32_t seconds) const;

    /// The first line's name, so long.
    std::string lineName(char letter, std::size_t length) const;

    const std::vector<int>& stations() const { return _stations; }
    std::size_t rows() const { return _rows; }
    std::size_t services() const { return _services; }
    std::size_t serviceStops() const { return _serviceStops.size(); }

private:
    void takeState(const pis::feed::FeedRecord& record);

    std::string _state;
    std::vector<std::string> _day;
    std::size_t _nextOfDay = 0;
    std::vector<int> _stations;  // ids
    std::vector<pis::feed::FeedRecord> _serviceStops;
    pis::feed::FeedRecord _line;
    std::size_t _rows = 0;
    std::size_t _services = 0;
    int _lastService = 0;
};

#endif
