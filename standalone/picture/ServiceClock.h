// What time it is for the services of the feed, and how their times are said.
#ifndef PIS_PICTURE_SERVICECLOCK_H
#define PIS_PICTURE_SERVICECLOCK_H

#include <cstdint>
#include <optional>
#include <string>

#include "picture/Picture.h"

namespace pis::picture {

/// How the operator says that times are to be read.
struct ClockOptions {
    enum Source {
        FEED,  ///< The time of the last record that had one; until then the wall clock.
        WALL   ///< The wall clock of this machine.
    };

    Source source = FEED;
    std::string epoch = "day";       ///< "day": seconds of the operating day; "unix"; or a date or instant, ISO 8601.
    std::string timezone;            ///< IANA name; empty for the machine's own.
    std::string dayStart = "03:00";  ///< Before this the wall clock still shows the operating day before.
};

/// Service times are signed seconds from the epoch; those of an operating day go on past 86,400 after
/// midnight. [Threading] Naming a time zone sets it for the whole process, so a clock is built before
/// other threads run; afterwards any thread may ask it.
class ServiceClock {
public:
    /// @throws std::runtime_error that names the option and what it takes instead.
    explicit ServiceClock(const ClockOptions& options);

    /// Now, in service time. On an operating day the wall clock counts as a clock face shows it: 12:00 is
    /// 43,200 also on the days on which the clocks change.
    double now(const feed::FeedStatus& feed, base::WallTime wall) const;

    /// "07:01"; past midnight of an operating day "00:12".
    std::string text(std::int64_t serviceTime) const;

    /// What now() goes by at present.
    ClockOptions::Source source(const feed::FeedStatus& feed) const;

private:
    double nowByWall(base::WallTime wall) const;

    ClockOptions::Source _source;
    std::optional<std::int64_t> _epoch;  // seconds since 1970; none for seconds of the operating day
    int _dayStart = 0;                   // seconds since midnight
};

}  // namespace pis::picture

#endif
