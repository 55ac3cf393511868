// What time it is for the services: by the feed or by the wall, from every epoch, in time zones with
// their clock changes; and how a service time is said.
#include "picture/ServiceClock.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
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
    EXPECT_DOUBLE_EQ(clock.at(feed, at(kNoonInOslo)).seconds(), 43200.0);
    feed.at = 90000.5;
    EXPECT_EQ(clock.source(feed), ClockOptions::FEED);
    EXPECT_DOUBLE_EQ(clock.at(feed, at(kNoonInOslo)).seconds(), 90000.5);
    EXPECT_DOUBLE_EQ(clock.at(feed, at(kNoonInOslo + 60)).seconds(), 90000.5) << "silent: the time stands";
}

TEST(ServiceClock, GoesByTheWallWhereAskedTo) {
    const ServiceClock clock = wallClock("day", "Europe/Oslo");
    feed::FeedStatus feed;
    feed.at = 5.0;
    EXPECT_EQ(clock.source(feed), ClockOptions::WALL);
    EXPECT_NEAR(clock.at(feed, at(kNoonInOslo, 250)).seconds(), 43200.25, 1e-6);
}

TEST(ServiceClock, TheOperatingDayGoesOnAfterMidnight) {
    const ServiceClock clock = wallClock("day", "Europe/Oslo");
    const std::int64_t midnight = kNoonInOslo + 12 * 3600;
    const feed::FeedStatus feed;
    EXPECT_DOUBLE_EQ(clock.at(feed, at(midnight - 1)).seconds(), 86399.0);
    EXPECT_DOUBLE_EQ(clock.at(feed, at(midnight)).seconds(), 86400.0);
    EXPECT_DOUBLE_EQ(clock.at(feed, at(midnight + 3 * 3600 - 1)).seconds(), 97199.0);
    EXPECT_DOUBLE_EQ(clock.at(feed, at(midnight + 3 * 3600)).seconds(), 10800.0);
    const ServiceClock calendar = wallClock("day", "Europe/Oslo", "00:00");
    EXPECT_DOUBLE_EQ(calendar.at(feed, at(midnight)).seconds(), 0.0);
}

TEST(ServiceClock, NoonIsNoonOnTheDaysOnWhichTheClocksChange) {
    const feed::FeedStatus feed;
    const ServiceClock oslo = wallClock("day", "Europe/Oslo");
    EXPECT_DOUBLE_EQ(oslo.at(feed, at(1774778400)).seconds(), 43200.0) << "2026-03-29T12:00:00+02:00";
    EXPECT_DOUBLE_EQ(oslo.at(feed, at(1774745999)).seconds(), 7199.0 + 86400.0) << "2026-03-29T01:59:59+01:00";
    EXPECT_DOUBLE_EQ(oslo.at(feed, at(1774746000)).seconds(), 10800.0) << "one second later it is 03:00:00+02:00";
    EXPECT_DOUBLE_EQ(oslo.at(feed, at(1792926000)).seconds(), 43200.0) << "2026-10-25T12:00:00+01:00";
    const ServiceClock stJohns = wallClock("day", "America/St_Johns");
    EXPECT_DOUBLE_EQ(stJohns.at(feed, at(1772980200)).seconds(), 43200.0) << "2026-03-08T12:00:00-02:30";
    EXPECT_DOUBLE_EQ(stJohns.at(feed, at(1795188600)).seconds(), 43200.0) << "2026-11-20T12:00:00-03:30";
}

TEST(ServiceClock, CountsFromAnyEpoch) {
    const feed::FeedStatus feed;
    const auto now = [&feed](const ServiceClock& clock) {
        return clock.at(feed, at(1526270400)).seconds();
    };  // 04:00:00Z
    EXPECT_DOUBLE_EQ(now(wallClock("unix", "Europe/Oslo")), 1526270400.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-14", "Europe/Oslo")), 6 * 3600.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-14", "America/St_Johns")), 1.5 * 3600);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-14T04:00:00Z", "Europe/Oslo")), 0.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-14T04:00:30+02:00", "Europe/Oslo")), 7170.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-14T00:30:00-03:30", "Europe/Oslo")), 0.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2018-05-15", "UTC")), -20 * 3600.0);
    EXPECT_DOUBLE_EQ(now(wallClock("2016-02-29T00:00:00Z", "UTC")), 1526270400.0 - 1456704000.0);
}

TEST(ServiceClock, ADateCountsFromTwelveHoursBeforeItsNoon) {
    struct Case {
        const char* zone;
        const char* date;
        std::int64_t noon;    // of that date, there
        std::int64_t change;  // when the clocks change on it
        const char* before;   // what they show a minute earlier
        const char* after;    // and then
        const char* atOne;    // and at one o'clock of service time
    };
    for (const Case& day : {Case{"Europe/Oslo", "2026-03-29", 1774778400, 1774746000, "01:59", "03:00", "00:00"},
                            Case{"Europe/Oslo", "2026-10-25", 1792926000, 1792890000, "02:59", "02:00", "02:00"},
                            Case{"America/New_York", "2026-03-08", 1772985600, 1772953200, "01:59", "03:00", "00:00"},
                            Case{"America/New_York", "2026-11-01", 1793552400, 1793512800, "01:59", "01:00", "01:00"},
                            Case{"Europe/Oslo", "2026-03-28", 1774695600, 1774746000, "01:59", "03:00", "01:00"},
                            Case{"Europe/Oslo", "2026-10-26", 1793012400, 1792890000, "02:59", "02:00", "01:00"}}) {
        SCOPED_TRACE(std::string(day.zone) + " " + day.date);
        const ServiceClock clock = wallClock(day.date, day.zone);
        const ServiceMoment noon = clock.at({}, at(day.noon));
        EXPECT_DOUBLE_EQ(noon.seconds(), 43200.0);
        EXPECT_EQ(noon.text(), "12:00");
        EXPECT_EQ(noon.text(43200 + 25260), "19:01");
        const ServiceMoment change = clock.at({}, at(day.change));
        EXPECT_DOUBLE_EQ(change.seconds(), 43200.0 + static_cast<double>(day.change - day.noon));
        EXPECT_EQ(change.text(), day.after);
        EXPECT_EQ(clock.at({}, at(day.change - 60)).text(), day.before);
        EXPECT_EQ(noon.text(3600), day.atOne);
    }
}

TEST(ServiceClock, SaysTimesOfTheFeedsOperatingDay) {
    feed::FeedStatus feed;
    feed.at = 25319;
    const ServiceMoment now =
        ServiceClock({ClockOptions::FEED, "day", "Europe/Oslo", "03:00"}).at(feed, at(kNoonInOslo));
    EXPECT_EQ(now.text(), "07:01");
    EXPECT_EQ(now.text(25260), "07:01");
    EXPECT_EQ(now.text(25319), "07:01");
    EXPECT_EQ(now.text(0), "00:00");
    EXPECT_EQ(now.text(86399), "23:59");
    EXPECT_EQ(now.text(86400 + 720), "00:12");
    EXPECT_EQ(now.text(-1), "23:59");
    EXPECT_EQ(now.text(-60), "23:59");
    EXPECT_EQ(now.text(-86400), "00:00");
}

TEST(ServiceClock, SaysTimesOfTheWallsOperatingDay) {
    const ServiceMoment now = wallClock("day", "Europe/Oslo").at({}, at(kNoonInOslo + 59, 999));
    EXPECT_EQ(now.text(), "12:00");
    EXPECT_EQ(now.text(25319), "07:01");
    EXPECT_EQ(now.text(86400 + 720), "00:12");
    EXPECT_EQ(now.text(-60), "23:59");
}

TEST(ServiceClock, ShowsWhatClocksShowInTheNightsInWhichTheyChange) {
    for (const char* dayStart : {"03:00", "00:00", "05:00"}) {
        const ServiceClock oslo = wallClock("day", "Europe/Oslo", dayStart);
        const auto shownAt = [&oslo](std::int64_t instant) { return oslo.at({}, at(instant)).text(); };
        EXPECT_EQ(shownAt(1774746000 - 3600), "01:00") << dayStart;
        EXPECT_EQ(shownAt(1774746000 - 1), "01:59") << dayStart;
        EXPECT_EQ(shownAt(1774746000), "03:00") << dayStart;
        EXPECT_EQ(shownAt(1774746000 + 3600), "04:00") << dayStart;
        EXPECT_EQ(shownAt(1792890000 - 3600), "02:00") << dayStart;
        EXPECT_EQ(shownAt(1792890000 - 1), "02:59") << dayStart;
        EXPECT_EQ(shownAt(1792890000), "02:00") << dayStart;
        EXPECT_EQ(shownAt(1792890000 + 3600), "03:00") << dayStart;
    }
}

TEST(ServiceClock, SaysInstantsInLocalTime) {
    const auto text = [](const char* epoch, const char* zone, std::int64_t time) {
        return wallClock(epoch, zone).at({}, at(kNoonInOslo)).text(time);
    };
    EXPECT_EQ(text("unix", "Europe/Oslo", 1526270400), "06:00");
    EXPECT_EQ(text("unix", "America/St_Johns", 1526270400), "01:30");
    EXPECT_EQ(text("2018-05-14", "Europe/Oslo", 25260), "07:01");
    EXPECT_EQ(text("2018-05-14T04:00:00Z", "Europe/Oslo", 60), "06:01");
    feed::FeedStatus feed;
    feed.at = 1526270400;
    EXPECT_EQ(ServiceClock({ClockOptions::FEED, "unix", "Europe/Oslo", "03:00"}).at(feed, at(0)).text(), "06:00");
}

TEST(ServiceClock, SaysTimesThatNoRailwayHas) {
    for (const char* epoch : {"day", "unix", "2026-03-29", "9999-12-31"}) {
        for (const ClockOptions::Source source : {ClockOptions::FEED, ClockOptions::WALL}) {
            feed::FeedStatus feed;
            const ServiceClock clock({source, epoch, "Europe/Oslo", "03:00"});
            for (const double now : {1e300, -1e300, 0.0}) {
                feed.at = now;
                const ServiceMoment moment = clock.at(feed, at(kNoonInOslo));
                EXPECT_EQ(moment.text().size(), 5U);
                EXPECT_EQ(moment.text(std::numeric_limits<std::int64_t>::max()).size(), 5U);
                EXPECT_EQ(moment.text(std::numeric_limits<std::int64_t>::min()).size(), 5U);
            }
        }
    }
}

TEST(ServiceClock, AMomentMayLeaveItsSecondsOut) {
    const ServiceMoment now = wallClock("day", "Europe/Oslo").at({}, at(kNoonInOslo + 59, 999));
    EXPECT_DOUBLE_EQ(now.wholeMinute().seconds(), 43200.0);
    EXPECT_EQ(now.wholeMinute().text(), "12:00");
    EXPECT_EQ(now.wholeMinute().shiftOf(0, false), 86400);
    feed::FeedStatus feed;
    feed.at = -0.5;
    EXPECT_EQ(ServiceClock({ClockOptions::FEED, "day", "UTC", "03:00"}).at(feed, {}).text(), "23:59");
    EXPECT_DOUBLE_EQ(ServiceClock({ClockOptions::FEED, "day", "UTC", "03:00"}).at(feed, {}).wholeMinute().seconds(),
                     -60.0);
}

TEST(ServiceClock, ChoosesTheDayThatIsNextToNow) {
    const ServiceMoment noon = wallClock("day", "Europe/Oslo").at({}, at(kNoonInOslo));
    constexpr int kHour = 3600;
    EXPECT_EQ(noon.shiftOf(30 * kHour - 1, false), 0) << "18 hours ahead";
    EXPECT_EQ(noon.shiftOf(30 * kHour, false), -86400) << "6 hours ago";
    EXPECT_EQ(noon.shiftOf(6 * kHour, false), 0);
    EXPECT_EQ(noon.shiftOf(6 * kHour - 1, false), 86400);
    EXPECT_EQ(noon.shiftOf(24 * kHour - 1, true), 0) << "begun before its time";
    EXPECT_EQ(noon.shiftOf(24 * kHour, true), -86400) << "12 hours ago";
    EXPECT_EQ(noon.shiftOf(0, true), 0);
    EXPECT_EQ(noon.shiftOf(-1, true), 86400);
}

TEST(ServiceClock, DaysAreAsLongAsTheClocksMakeThem) {
    constexpr int kHour = 3600;
    const ServiceClock clock = wallClock("day", "Europe/Oslo");
    const ServiceMoment spring = clock.at({}, at(1774778400));  // noon of 2026-03-29
    EXPECT_EQ(spring.shiftOf(30 * kHour, false), -23 * kHour);
    EXPECT_EQ(spring.shiftOf(0, false), 24 * kHour);
    EXPECT_EQ(clock.at({}, at(1774778400 - 23 * kHour)).shiftOf(0, false), 23 * kHour);
    const ServiceMoment autumn = clock.at({}, at(1792926000));  // noon of 2026-10-25
    EXPECT_EQ(autumn.shiftOf(31 * kHour, false), -25 * kHour);
    EXPECT_EQ(clock.at({}, at(1792926000 - 25 * kHour)).shiftOf(0, false), 25 * kHour);
}

TEST(ServiceClock, TimesThatSayTheirDayAreLeftAlone) {
    feed::FeedStatus feed;
    feed.at = 12 * 3600;
    const ServiceMoment byFeed =
        ServiceClock({ClockOptions::FEED, "day", "Europe/Oslo", "03:00"}).at(feed, at(kNoonInOslo));
    const ServiceMoment byEpoch = wallClock("2026-11-20", "Europe/Oslo").at({}, at(kNoonInOslo));
    for (const std::int64_t start : {-90000, 0, 43200, 27 * 3600 + 1800, 41 * 3600}) {
        for (const bool hasBegun : {false, true}) {
            EXPECT_EQ(byFeed.shiftOf(start, hasBegun), 0) << start;
            EXPECT_EQ(byEpoch.shiftOf(start, hasBegun), 0) << start;
        }
    }
}

/// The variable TZ of the environment, as long as a test runs; then as it was.
class ZoneOfEnvironment : public ::testing::Test {
protected:
    ~ZoneOfEnvironment() override { set(_before ? _before->c_str() : nullptr); }

    static void set(const char* zone) { zone != nullptr ? setenv("TZ", zone, 1) : unsetenv("TZ"); }

    /// What a clock shows at noon in Oslo that is told no zone.
    static std::string shown() { return wallClock("unix", "").at({}, at(kNoonInOslo)).text(); }

private:
    static std::optional<std::string> current() {
        const char* zone = std::getenv("TZ");
        return zone != nullptr ? std::optional<std::string>(zone) : std::nullopt;
    }

    std::optional<std::string> _before = current();
};

TEST_F(ZoneOfEnvironment, CountsWhereNoneIsNamed) {
    set("Europe/Oslo");
    EXPECT_EQ(shown(), "12:00");
    set(":America/New_York");
    EXPECT_EQ(shown(), "06:00");
    set("");
    EXPECT_EQ(shown(), "11:00") << "UTC";
    EXPECT_EQ(wallClock("2026-11-20", "").at({}, at(kNoonInOslo)).text(), "11:00");
    EXPECT_EQ(wallClock("day", "").at({}, at(kNoonInOslo)).text(), "11:00");
    set("Europe/Oslo");
    EXPECT_EQ(wallClock("unix", "America/New_York").at({}, at(kNoonInOslo)).text(), "06:00")
        << "the option comes first";
    set("CET-1CEST");
    EXPECT_EQ(
        faultOf({ClockOptions::WALL, "day", "", "03:00"}),
        "--timezone: there is no time zone \"CET-1CEST\", which TZ names in the environment; name one of the time "
        "zone database, such as Europe/Oslo");
}

TEST_F(ZoneOfEnvironment, IsNotTouched) {
    set("Europe/Oslo");
    const ServiceClock one = wallClock("unix", "America/New_York");
    const ServiceClock other = wallClock("unix", "");
    EXPECT_STREQ(std::getenv("TZ"), "Europe/Oslo");
    EXPECT_EQ(one.at({}, at(kNoonInOslo)).text(), "06:00");
    EXPECT_EQ(other.at({}, at(kNoonInOslo)).text(), "12:00") << "two clocks of one process";
}

TEST_F(ZoneOfEnvironment, IsTheMachinesWhereItSaysSo) {
    set(nullptr);
    const std::string machines = shown();
    set(":/etc/localtime");
    EXPECT_EQ(shown(), machines);
}

TEST(ServiceClock, SaysWhichOptionIsFaultyAndWhatItTakes) {
    using O = ClockOptions;
    EXPECT_EQ(faultOf({O::WALL, "day", "Mars/Base", "03:00"}),
              "--timezone: there is no time zone \"Mars/Base\"; name one of the time zone database, such as "
              "Europe/Oslo");
    for (const char* zone : {"/etc/passwd", "../zoneinfo/UTC", "Europe", "zone.tab", "CET-1CEST", ":UTC"}) {
        EXPECT_NE(faultOf({O::WALL, "day", zone, "03:00"}).find("--timezone: there is no time zone"), std::string::npos)
            << zone;
    }
    EXPECT_EQ(faultOf({O::WALL, "yesterday", "UTC", "03:00"}),
              "--epoch: \"yesterday\" is none; say day, unix, a date such as 2018-05-14 or an instant such as "
              "2018-05-14T04:00:00Z");
    for (const char* epoch : {"",
                              "2018-5-14",
                              "2018-13-01",
                              "2018-00-10",
                              "2018-02-29",
                              "2018-05-14T",
                              "2018-05-14T04:00",
                              "2018-05-14T24:00:00Z",
                              "2018-05-14T04:00:60Z",
                              "2018-05-14T04:00:00",
                              "2018-05-14T04:00:00Zx",
                              "2018-05-14T04:00:00+2",
                              "0018-05-14",
                              "2018-05-14 04:00:00Z",
                              "2018-05-14T04:00:00+24:00",
                              "2018-05-14T04:00:00+02:60",
                              "2018-05-14T04:00:00 02:00",
                              "2018-05-14T04:00:00+02:00x",
                              "2018-05-14T04:00:00Z+02:00",
                              "2018-05-14T4:00:00Z",
                              "2018-05-14 ",
                              " 2018-05-14",
                              "1899-12-31",
                              "1899-12-31T23:59:59Z",
                              "12018-05-14",
                              "Day"}) {
        EXPECT_NE(faultOf({O::WALL, epoch, "UTC", "03:00"}).find("--epoch: "), std::string::npos) << epoch;
    }
    EXPECT_EQ(faultOf({O::WALL, "day", "UTC", "3"}), "--day-start: \"3\" is no time of day; say HH:MM, such as 03:00");
    for (const char* start : {"24:00", "03:60", "03:00:00", "-3:00", "ab:cd", "3:00", " 3:00", "03:00 ", ""}) {
        EXPECT_NE(faultOf({O::WALL, "day", "UTC", start}).find("--day-start: "), std::string::npos) << start;
    }
    EXPECT_EQ(faultOf({O::FEED, "day", "", "03:00"}), "none");
    EXPECT_EQ(faultOf({O::FEED, "1900-01-01", "UTC", "23:59"}), "none");
    EXPECT_EQ(faultOf({O::FEED, "1900-01-01T00:00:00Z", "UTC", "00:00"}), "none");
}

}  // namespace

}  // namespace pis::picture
