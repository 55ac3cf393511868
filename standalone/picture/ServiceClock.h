// What time it is for the services of the feed, which day their times belong to, and how they are said.
#ifndef PIS_PICTURE_SERVICECLOCK_H
#define PIS_PICTURE_SERVICECLOCK_H

#include <cstdint>
#include <optional>
#include <string>

#include "picture/Picture.h"

namespace date {
class time_zone;
}

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

/// How far local time is ahead of UTC from one instant until another, all in seconds, instants since 1970.
struct UtcOffset {
    std::int64_t seconds = 0;
    std::int64_t from = 0;
    std::int64_t until = 0;
};

/// Now, in service time: signed seconds from the epoch. Times of an operating day count from twelve hours
/// before its noon, which is midnight but on the days on which the clocks change, and go on past 86,400.
class ServiceMoment {
public:
    double seconds() const { return _seconds; }

    /// The same with its seconds past the minute left out.
    ServiceMoment wholeMinute() const;

    /// What to add to all times of a service so that they count from the same midnight as this moment: the
    /// service runs yesterday, today or tomorrow, whichever is next to now. One that has not begun is looked
    /// for farther ahead than behind. 0 where the times themselves say their day: by the feed's clock, and
    /// from any epoch but the day.
    std::int64_t shiftOf(std::int64_t start, bool hasBegun) const;

    /// "07:01"; past midnight of an operating day "00:12". What a clock shows in the railway's time zone where
    /// it is known which day the times count from.
    std::string text(std::int64_t serviceTime) const;

    /// This moment as a text.
    std::string text() const;

    /// Whether the two say the same of everything above.
    bool operator==(const ServiceMoment& other) const;

private:
    friend class ServiceClock;
    explicit ServiceMoment(const date::time_zone* zone) : _zone(zone) {}

    const date::time_zone* _zone;        // null for UTC
    double _seconds = 0;                 // in service time
    std::optional<std::int64_t> _epoch;  // seconds since 1970 from which service times count, where known
    std::int64_t _yesterday = 0;         // what to add to times of the day before; 0 where times say their day
    std::int64_t _tomorrow = 0;          // and to those of the day after
    UtcOffset _offset;                   // around this moment, where most times to be said lie
};

/// [Threading] Any, at once: it changes nothing, neither in itself nor in the process. It is built while no
/// other thread changes the environment.
class ServiceClock {
public:
    /// @throws std::runtime_error that names the option and what it takes instead.
    explicit ServiceClock(const ClockOptions& options);

    /// The moment that the feed's clock or the wall's shows; good for as long as the program runs.
    ServiceMoment at(const feed::FeedStatus& feed, base::WallTime wall) const;

    /// What at() goes by at present.
    ClockOptions::Source source(const feed::FeedStatus& feed) const;

private:
    ClockOptions::Source _source;
    const date::time_zone* _zone;        // null for UTC
    std::optional<std::int64_t> _epoch;  // seconds since 1970; none for seconds of the operating day
    int _dayStart = 0;                   // seconds since midnight
};

}  // namespace pis::picture

#endif
