// What time it is for the services: by the feed or by the wall, from every epoch, in time zones with
// their clock changes; and how a service time is said.
#include "picture/ServiceClock.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

namespace pis::picture {

namespace {

base::WallTime at(std::int64_t seconds, int milliseconds = 0) {
    return base::WallTime(std::chrono::seconds(seconds) + std::chrono::milliseconds(milliseconds));
}

ServiceClock wallClock(const std::string& epoch, const std::string& timezone, const std::string& dayStart = "03:00") {
    return ServiceClock({ClockOptions::WALL, epoch, timezone, dayStart});
}

/// What the clock says to faulty options.
std::string faultOf(const ClockOptions& options) {
    try {
        const ServiceClock clock(options);
    } catch (const std::runtime_error& fault) {
        return fault.what();
    }
    return "none";
}

constexpr std::int64_t kNoonInOslo = 1795172400;  // 2026-11-20T12:00:00+01:00

TEST(ServiceClock, GoesByTheFeedOnceThatSaysATime) {
    const ServiceClock clock({ClockOptions::FEED, "day", "Europe/Oslo", "03:00"});
    feed::FeedStatus feed;
    EXPECT_EQ(clock.source(feed), ClockOptions::WALL);
    EXPECT_DOUBLE_EQ(clock.now(feed, at(kNoonInOslo)), 43200.0);
    feed.at = 90000.5;
    EXPECT_EQ(clock.source(feed), ClockOptions::FEED);
    EXPECT_DOUBLE_EQ(clock.now(feed, at(kNoonInOslo)), 90000.5);
    EXPECT_DOUBLE_EQ(clock.now(feed, at(kNoonInOslo + 60)), 90000.5) << "silent: the time stands";
}

TEST(ServiceClock, GoesByTheWallWhereAskedTo) {
    const ServiceClock clock = wallClock("day", "Europe/Oslo");
    feed::FeedStatus feed;
    feed.at = 5.0;
    EXPECT_EQ(clock.source(feed), ClockOptions::WALL);
    EXPECT_NEAR(clock.now(feed, at(kNoonInOslo, 250)), 43200.25, 1e-6);
}

TEST(ServiceClock, TheOperatingDayGoesOnAfterMidnight) {
    const ServiceClock clock = wallClock("day", "Europe/Oslo");
    const std::int64_t midnight = kNoonInOslo + 12 * 3600;
    const feed::FeedStatus feed;
    EXPECT_DOUBLE_EQ(clock.now(feed, at(midnight - 1)), 86399.0);
    EXPECT_DOUBLE_EQ(clock.now(feed, at(midnight)), 86400.0);
    EXPECT_DOUBLE_EQ(clock.now(feed, at(midnight + 3 * 3600 - 1)), 97199.0);
    EXPECT_DOUBLE_EQ(clock.now(feed, at(midnight + 3 * 3600)), 10800.0);
    const ServiceClock calendar = wallClock("day", "Europe/Oslo", "00:00");
    EXPECT_DOUBLE_EQ(calendar.now(feed, at(midnight)), 0.0);
}

TEST(ServiceClock, NoonIsNoonOnTheDaysOnWhichTheClocksChange) {
    const feed::FeedStatus feed;
    const ServiceClock oslo = wallClock("day", "Europe/Oslo");
    EXPECT_DOUBLE_EQ(oslo.now(feed, at(1774778400)), 43200.0) << "2026-03-29T12:00:00+02:00";
    EXPECT_DOUBLE_EQ(oslo.now(feed, at(1774745999)), 7199.0 + 86400.0) << "2026-03-29T01:59:59+01:00";
    EXPECT_DOUBLE_EQ(oslo.now(feed, at(1774746000)), 10800.0) << "one second later it is 03:00:00+02:00";
    EXPECT_DOUBLE_EQ(oslo.now(feed, at(1792926000)), 43200.0) << "2026-10-25T12:00:00+01:00";
    const ServiceClock stJohns = wallClock("day", "America/St_Johns");
    EXPECT_DOUBLE_EQ(stJohns.now(feed, at(1772980200)), 43200.0) << "2026-03-08T12:00:00-02:30";
    EXPECT_DOUBLE_EQ(stJohns.now(feed, at(1795188600)), 43200.0) << "2026-11-20T12:00:00-03:30";
}

TEST(ServiceClock, CountsFromAnyEpoch) {
    const feed::FeedStatus feed;
    const auto now = [&feed](const ServiceClock& clock) { return clock.now(feed, at(1526270400)); };  // 04:00:00Z
    EXPECT_DOUBLE_EQ(now(wallClock("unix", "Europe/Oslo")), 1526270400.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-14", "Europe/Oslo")), 6 * 3600.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-14", "America/St_Johns")), 1.5 * 3600);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-14T04:00:00Z", "Europe/Oslo")), 0.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-14T04:00:30+02:00", "Europe/Oslo")), 7170.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-14T00:30:00-03:30", "Europe/Oslo")), 0.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-15", "UTC")), -20 * 3600.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2016-02-29T00:00:00Z", "UTC")), 1526270400.0 - 1456704000.0);
}

TEST(ServiceClock, SaysTimesOfTheOperatingDay) {
    const ServiceClock clock = wallClock("day", "Europe/Oslo");
    EXPECT_EQ(clock.text(25260), "07:01");
    EXPECT_EQ(clock.text(25319), "07:01");
    EXPECT_EQ(clock.text(0), "00:00");
    EXPECT_EQ(clock.text(86399), "23:59");
    EXPECT_EQ(clock.text(86400 + 720), "00:12");
    EXPECT_EQ(clock.text(-60), "23:59");
    EXPECT_EQ(clock.text(-86400), "00:00");
    EXPECT_EQ(clock.text(std::numeric_limits<std::int64_t>::max()).size(), 5U);
    EXPECT_EQ(clock.text(std::numeric_limits<std::int64_t>::min()).size(), 5U);
}

TEST(ServiceClock, SaysInstantsInLocalTime) {
    EXPECT_EQ(wallClock("unix", "Europe/Oslo").text(1526270400), "06:00");
    EXPECT_EQ(wallClock("unix", "America/St_Johns").text(1526270400), "01:30");
    EXPECT_EQ(wallClock("2018-05-14", "Europe/Oslo").text(25260), "07:01");
    const ServiceClock shortDay = wallClock("2026-03-29", "Europe/Oslo");
    EXPECT_EQ(shortDay.text(2 * 3600 - 60), "01:59");
    EXPECT_EQ(shortDay.text(2 * 3600), "03:00");
    const ServiceClock longDay = wallClock("2026-10-25", "Europe/Oslo");
    EXPECT_EQ(longDay.text(3 * 3600 - 60), "02:59");
    EXPECT_EQ(longDay.text(3 * 3600), "02:00");
    EXPECT_EQ(shortDay.text(std::numeric_limits<std::int64_t>::max()).size(), 5U);
    EXPECT_EQ(shortDay.text(std::numeric_limits<std::int64_t>::min()).size(), 5U);
}

TEST(ServiceClock, SaysWhichOptionIsFaultyAndWhatItTakes) {
    using O = ClockOptions;
    EXPECT_EQ(faultOf({O::WALL, "day", "Mars/Base", "03:00"}),
              "--timezone: there is no time zone \"Mars/Base\"; name one of the time zone database, such as "
              "Europe/Oslo");
    for (const char* zone : {"/etc/passwd", "../zoneinfo/UTC", "Europe", "zone.tab", "CET-1CEST"}) {
        EXPECT_NE(faultOf({O::WALL, "day", zone, "03:00"}).find("--timezone: there is no time zone"), std::string::npos)
            << zone;
    }
    EXPECT_EQ(faultOf({O::WALL, "yesterday", "UTC", "03:00"}),
              "--epoch: \"yesterday\" is none; say day, unix, a date such as 2018-05-14 or an instant such as "
              "2018-05-14T04:00:00Z");
    for (const char* epoch : {"", "2018-5-14", "2018-13-01", "2018-00-10", "2018-02-29", "2018-05-14T",
                              "2018-05-14T04:00", "2018-05-14T24:00:00Z", "2018-05-14T04:00:60Z", "2018-05-14T04:00:00",
                              "2018-05-14T04:00:00Zx", "2018-05-14T04:00:00+2", "0018-05-14", "2018-05-14 04:00:00Z"}) {
        EXPECT_NE(faultOf({O::WALL, epoch, "UTC", "03:00"}).find("--epoch: "), std::string::npos) << epoch;
    }
    EXPECT_EQ(faultOf({O::WALL, "day", "UTC", "3"}), "--day-start: \"3\" is no time of day; say HH:MM, such as 03:00");
    for (const char* start : {"24:00", "03:60", "03:00:00", "-3:00", "ab:cd"}) {
        EXPECT_NE(faultOf({O::WALL, "day", "UTC", start}).find("--day-start: "), std::string::npos) << start;
    }
    EXPECT_EQ(faultOf({O::FEED, "day", "", "03:00"}), "none");
}

}  // namespace

}  // namespace pis::picture
