#include "picture/ServiceClock.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace pis::picture {

namespace {

constexpr int kMinute = 60;
constexpr int kHour = 60 * kMinute;
constexpr int kDay = 24 * kHour;

/// Farther from the epoch no time of a feed can lie, and sums with it do not overflow.
constexpr std::int64_t kFarthest = 1'000'000'000'000'000;

/// Whether the zone database of this machine has a file of rules under this name.
bool isTimeZone(const std::string& name) {
    if (name.empty() || name.front() == '/' || name.find("..") != std::string::npos) return false;
    const char* folder = std::getenv("TZDIR");  // NOLINT(concurrency-mt-unsafe): before other threads run
    std::ifstream rules((folder != nullptr ? folder : "/usr/share/zoneinfo") + ("/" + name), std::ios::binary);
    char mark[4] = {};
    return rules.read(mark, sizeof mark) && std::string_view(mark, sizeof mark) == "TZif";
}

/// Makes local time that of a zone, for the whole process.
void useTimeZone(const std::string& name) {
    if (!name.empty()) {
        if (!isTimeZone(name)) {
            throw std::runtime_error("--timezone: there is no time zone \"" + name +
                                     "\"; name one of the time zone database, such as Europe/Oslo");
        }
        setenv("TZ", (":" + name).c_str(), 1);  // NOLINT(concurrency-mt-unsafe): before other threads run
    }
    tzset();
}

/// Reads texts of a fixed form from left to right. Once something was not there, nothing is.
class FixedText {
public:
    explicit FixedText(std::string_view text) : _rest(text) {}

    /// The next `count` digits as a number.
    int digits(std::size_t count) {
        int number = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const char digit = _rest.empty() ? '\0' : _rest.front();
            if (digit < '0' || digit > '9') fail();
            if (!_good) return 0;
            number = number * 10 + (digit - '0');
            _rest.remove_prefix(1);
        }
        return number;
    }

    /// Whether one of these characters comes next; steps over it.
    bool takes(std::string_view characters) {
        if (_rest.empty() || characters.find(_rest.front()) == std::string_view::npos) return false;
        _rest.remove_prefix(1);
        return true;
    }
    void needs(std::string_view characters) {
        if (!takes(characters)) fail();
    }

    bool good() const { return _good; }
    bool atEnd() const { return _rest.empty(); }

private:
    void fail() {
        _good = false;
        _rest = {};
    }

    std::string_view _rest;
    bool _good = true;
};

/// Seconds since midnight of "HH:MM", nothing when it is none.
std::optional<int> timeOfDay(FixedText& text) {
    const int hours = text.digits(2);
    text.needs(":");
    const int minutes = text.digits(2);
    if (!text.good() || hours > 23 || minutes > 59) return std::nullopt;
    return hours * kHour + minutes * kMinute;
}

int daysIn(int month, int year) {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leaps = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return month == 2 && leaps ? 29 : kDays[month - 1];
}

/// Days from 1970-01-01 to a date after 1582.
std::int64_t daysTo(const std::tm& date) {
    const int year = date.tm_year + 1900;
    std::int64_t days = 365LL * (year - 1970);
    days += (year - 1) / 4 - (year - 1) / 100 + (year - 1) / 400 - (1969 / 4 - 1969 / 100 + 1969 / 400);
    for (int month = 1; month <= date.tm_mon; ++month) days += daysIn(month, year);
    return days + date.tm_mday - 1;
}

/// Seconds since 1970 of "2018-05-14" at local midnight, of "2018-05-14T04:00:00Z" or of the same with
/// an offset, "+02:00"; nothing when it is none.
std::optional<std::int64_t> instantOf(std::string_view iso) {
    FixedText text(iso);
    std::tm date{};
    date.tm_year = text.digits(4) - 1900;
    text.needs("-");
    date.tm_mon = text.digits(2) - 1;
    text.needs("-");
    date.tm_mday = text.digits(2);
    date.tm_isdst = -1;
    if (!text.good() || date.tm_year < 0 || date.tm_mon < 0 || date.tm_mon > 11) return std::nullopt;
    if (date.tm_mday < 1 || date.tm_mday > daysIn(date.tm_mon + 1, date.tm_year + 1900)) return std::nullopt;
    if (text.atEnd()) {
        const std::time_t midnight = std::mktime(&date);
        return midnight != -1 ? std::optional<std::int64_t>(midnight) : std::nullopt;
    }

    text.needs("T");
    const std::optional<int> time = timeOfDay(text);
    text.needs(":");
    const int seconds = text.digits(2);
    std::optional<int> offset = 0;
    if (!text.takes("Z")) {
        const bool behind = text.takes("-");
        if (!behind) text.needs("+");
        offset = timeOfDay(text);
        if (offset && behind) offset = -*offset;
    }
    if (!text.good() || !text.atEnd() || !time || !offset || seconds > 59) return std::nullopt;
    return daysTo(date) * kDay + *time + seconds - *offset;
}

std::tm localTime(std::int64_t instant) {
    using Limits = std::numeric_limits<std::time_t>;
    const auto time = static_cast<std::time_t>(std::clamp<std::int64_t>(instant, Limits::min(), Limits::max()));
    std::tm local{};
    localtime_r(&time, &local);  // leaves midnight where the year does not fit
    return local;
}

std::optional<std::int64_t> epochOf(const std::string& epoch) {
    if (epoch == "day") return std::nullopt;
    if (epoch == "unix") return 0;
    if (const std::optional<std::int64_t> instant = instantOf(epoch)) return instant;
    throw std::runtime_error("--epoch: \"" + epoch +
                             "\" is none; say day, unix, a date such as 2018-05-14 or an instant such as "
                             "2018-05-14T04:00:00Z");
}

int dayStartOf(const std::string& dayStart) {
    FixedText text(dayStart);
    const std::optional<int> time = timeOfDay(text);
    if (time && text.atEnd()) return *time;
    throw std::runtime_error("--day-start: \"" + dayStart + "\" is no time of day; say HH:MM, such as 03:00");
}

}  // namespace

ServiceClock::ServiceClock(const ClockOptions& options) : _source(options.source) {
    useTimeZone(options.timezone);
    _epoch = epochOf(options.epoch);
    _dayStart = dayStartOf(options.dayStart);
}

ClockOptions::Source ServiceClock::source(const feed::FeedStatus& feed) const {
    return _source == ClockOptions::FEED && feed.at ? ClockOptions::FEED : ClockOptions::WALL;
}

double ServiceClock::now(const feed::FeedStatus& feed, base::WallTime wall) const {
    return source(feed) == ClockOptions::FEED ? *feed.at : nowByWall(wall);
}

double ServiceClock::nowByWall(base::WallTime wall) const {
    const double instant = std::chrono::duration<double>(wall.time_since_epoch()).count();
    if (_epoch) return instant - static_cast<double>(*_epoch);

    const double second = std::floor(instant);
    const std::tm local = localTime(static_cast<std::int64_t>(second));
    const int sinceMidnight = local.tm_hour * kHour + local.tm_min * kMinute + local.tm_sec;
    return (sinceMidnight < _dayStart ? sinceMidnight + kDay : sinceMidnight) + (instant - second);
}

std::string ServiceClock::text(std::int64_t serviceTime) const {
    int hour = 0;
    int minute = 0;
    if (_epoch) {
        const std::tm local = localTime(*_epoch + std::clamp(serviceTime, -kFarthest, kFarthest));
        hour = local.tm_hour;
        minute = local.tm_min;
    } else {
        const auto sinceMidnight = static_cast<int>((serviceTime % kDay + kDay) % kDay);
        hour = sinceMidnight / kHour;
        minute = sinceMidnight % kHour / kMinute;
    }
    char text[16];
    std::snprintf(text, sizeof text, "%02d:%02d", hour, minute);
    return text;
}

}  // namespace pis::picture
