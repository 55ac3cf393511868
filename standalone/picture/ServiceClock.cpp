#include "picture/ServiceClock.h"

// g++ takes a number that the library has always read by then for one that it may not have.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <date/tz.h>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <tuple>

#include "feed/FeedRecord.h"

namespace pis::picture {

namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr int kMinute = 60;
constexpr int kHour = 60 * kMinute;
constexpr int kDay = 24 * kHour;

/// Farther from the epoch no time of a feed can lie, and the library's calendar holds the sum of any epoch and this.
constexpr auto kFarthest = static_cast<std::int64_t>(feed::FeedRecord::kLatestAt);

/// A train that has begun its run began it within this time.
constexpr double kLongestRun = 12 * kHour;

/// A train that has not begun is at most this late; later it is the next day's. The rest of the day lies ahead.
constexpr double kLatestBegin = 6 * kHour;

// --- Time zones ---------------------------------------------------------------------------------

/// A zone of this machine's database with its rules read.
const date::time_zone* zoneNamed(const std::string& name, const std::string& whoNamesIt) {
    try {
        if (date::get_tzdb().zones.empty()) throw std::runtime_error("no zones");
    } catch (const std::runtime_error&) {
        throw std::runtime_error("--timezone: this machine has no time zone database to look up \"" + name +
                                 "\"; install its package (tzdata)");
    }
    try {
        const date::time_zone* zone = date::locate_zone(name);
        zone->get_info(date::sys_seconds());
        return zone;
    } catch (const std::runtime_error&) {
        throw std::runtime_error("--timezone: there is no time zone \"" + name + "\"" + whoNamesIt +
                                 "; name one of the time zone database, such as Europe/Oslo");
    }
}

/// The zone that /etc says. A machine on which it says none keeps UTC.
const date::time_zone* zoneOfMachine() {
    constexpr const char* kLocalTime = "/etc/localtime";
    try {
        const date::time_zone* zone = date::current_zone();
        zone->get_info(date::sys_seconds());
        return zone;
    } catch (const std::runtime_error&) {
        if (!std::filesystem::exists(kLocalTime)) return nullptr;
        throw std::runtime_error(std::string("--timezone: ") + kLocalTime +
                                 " does not say the name of this machine's time zone; name the railway's, such as "
                                 "Europe/Oslo");
    }
}

/// The zone by its name, else that of the environment, else the machine's; null for UTC.
const date::time_zone* zoneOf(const std::string& name) {
    if (!name.empty()) return zoneNamed(name, "");
    const char* environment = std::getenv("TZ");  // NOLINT(concurrency-mt-unsafe): nobody changes it meanwhile
    if (environment == nullptr) return zoneOfMachine();
    std::string_view text = environment;
    if (text.substr(0, 1) == ":") text.remove_prefix(1);
    if (text == "/etc/localtime") return zoneOfMachine();
    return text.empty() ? nullptr : zoneNamed(std::string(text), ", which TZ names in the environment");
}

/// How far local time is ahead of UTC at an instant, and for how long around it.
UtcOffset offsetAt(const date::time_zone* zone, std::int64_t instant) {
    if (zone == nullptr) return {0, std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()};
    const date::sys_info info = zone->get_info(date::sys_seconds(seconds(instant)));
    return {info.offset.count(), info.begin.time_since_epoch().count(), info.end.time_since_epoch().count()};
}

/// Twelve hours before a day's noon, in seconds since 1970.
std::int64_t beginOf(date::local_days day, const date::time_zone* zone) {
    const date::local_seconds noon = day + hours(12);
    const date::sys_seconds instant =
        zone != nullptr ? zone->to_sys(noon, date::choose::earliest) : date::sys_seconds(noon.time_since_epoch());
    return (instant - hours(12)).time_since_epoch().count();
}

// --- Options ------------------------------------------------------------------------------------

/// What a text says that is exactly of the format, digit by digit: one that reads the same written again.
template <typename Time>
std::optional<Time> parsed(const char* format, const std::string& text) {
    std::istringstream in(text);
    Time time{};
    in >> date::parse(format, time);
    if (date::format(format, time) != text) return std::nullopt;
    return time;
}

/// Since midnight, of "HH:MM".
std::optional<minutes> timeOfDay(const std::string& text) {
    const auto time = parsed<minutes>("%R", text);
    return time && *time < hours(24) ? time : std::nullopt;
}

/// Seconds since 1970 of "2018-05-14T04:00:00Z" or of the same with an offset, "+02:00".
std::optional<std::int64_t> instantOf(const std::string& iso) {
    constexpr std::size_t kLocal = std::string_view("2018-05-14T04:00:00").size();
    // The library makes nonsense of seconds that are no digits before it refuses them.
    constexpr const char* kDigits = "0123456789";
    if (iso.size() <= kLocal || iso.substr(kLocal - 2, 2).find_first_not_of(kDigits) != std::string::npos) {
        return std::nullopt;
    }
    const auto local = parsed<date::local_seconds>("%FT%T", iso.substr(0, kLocal));
    if (!local) return std::nullopt;
    const std::int64_t count = local->time_since_epoch().count();
    const char sign = iso[kLocal];
    const std::string offset = iso.substr(kLocal + 1);
    if (sign == 'Z' && offset.empty()) return count;
    const auto ahead = timeOfDay(offset);
    if (!ahead || (sign != '+' && sign != '-')) return std::nullopt;
    return count - seconds(sign == '+' ? *ahead : -*ahead).count();
}

std::optional<std::int64_t> epochOf(const std::string& epoch, const date::time_zone* zone) {
    using namespace date::literals;
    if (epoch == "day") return std::nullopt;
    if (epoch == "unix") return 0;
    std::optional<std::int64_t> begin;
    if (const auto day = parsed<date::local_days>("%F", epoch)) {
        begin = beginOf(*day, zone);
    } else {
        begin = instantOf(epoch);
    }
    // No railway's times count from before: a year that is mistyped.
    if (begin && *begin >= seconds(date::sys_days(1900_y / 1 / 1).time_since_epoch()).count()) return begin;
    throw std::runtime_error("--epoch: \"" + epoch +
                             "\" is none; say day, unix, a date such as 2018-05-14 or an instant such as "
                             "2018-05-14T04:00:00Z");
}

/// No farther from the epoch than a feed's times can lie.
std::int64_t wholeSeconds(double time) {
    constexpr auto kFar = static_cast<double>(kFarthest);
    return static_cast<std::int64_t>(std::floor(std::clamp(time, -kFar, kFar)));
}

/// Writes two digits over the zeros at a place.
void addDigits(std::string& text, std::size_t place, std::int64_t number) {
    text[place] = static_cast<char>(text[place] + number / 10);
    text[place + 1] = static_cast<char>(text[place + 1] + number % 10);
}

int dayStartOf(const std::string& dayStart) {
    if (const auto time = timeOfDay(dayStart)) return static_cast<int>(seconds(*time).count());
    throw std::runtime_error("--day-start: \"" + dayStart + "\" is no time of day; say HH:MM, such as 03:00");
}

}  // namespace

// --- The moment ---------------------------------------------------------------------------------

ServiceMoment ServiceMoment::wholeMinute() const {
    ServiceMoment minute = *this;
    minute._seconds = std::floor(_seconds / kMinute) * kMinute;
    return minute;
}

std::int64_t ServiceMoment::shiftOf(std::int64_t start, bool hasBegun) const {
    const double earliest = _seconds - (hasBegun ? kLongestRun : kLatestBegin);
    for (const std::int64_t shift : {_yesterday, std::int64_t{0}}) {
        if (static_cast<double>(start + shift) >= earliest) return shift;
    }
    return _tomorrow;
}

std::string ServiceMoment::text(std::int64_t serviceTime) const {
    std::int64_t local = std::clamp(serviceTime, -kFarthest, kFarthest);
    if (_epoch) {
        const std::int64_t instant = *_epoch + local;
        const bool isNear = _offset.from <= instant && instant < _offset.until;
        local = instant + (isNear ? _offset : offsetAt(_zone, instant)).seconds;
    }
    const std::int64_t sinceMidnight = (local % kDay + kDay) % kDay;
    std::string text = "00:00";
    addDigits(text, 0, sinceMidnight / kHour);
    addDigits(text, 3, sinceMidnight % kHour / kMinute);
    return text;
}

std::string ServiceMoment::text() const {
    return text(wholeSeconds(_seconds));
}

bool ServiceMoment::operator==(const ServiceMoment& other) const {
    const auto members = [](const ServiceMoment& moment) {
        return std::tie(moment._zone, moment._seconds, moment._epoch, moment._yesterday, moment._tomorrow);
    };
    return members(*this) == members(other);
}

// --- The clock ----------------------------------------------------------------------------------

ServiceClock::ServiceClock(const ClockOptions& options)
    : _source(options.source),
      _zone(zoneOf(options.timezone)),
      _epoch(epochOf(options.epoch, _zone)),
      _dayStart(dayStartOf(options.dayStart)) {}

ClockOptions::Source ServiceClock::source(const feed::FeedStatus& feed) const {
    return _source == ClockOptions::FEED && feed.at ? ClockOptions::FEED : ClockOptions::WALL;
}

ServiceMoment ServiceClock::at(const feed::FeedStatus& feed, base::WallTime wall) const {
    ServiceMoment moment(_zone);
    moment._epoch = _epoch;
    if (source(feed) == ClockOptions::FEED) {
        moment._seconds = *feed.at;
        if (_epoch) moment._offset = offsetAt(_zone, *_epoch + wholeSeconds(moment._seconds));
        return moment;
    }

    if (!_epoch) {
        const std::int64_t instant = date::floor<seconds>(wall).time_since_epoch().count();
        const date::local_seconds local(seconds(instant + offsetAt(_zone, instant).seconds));
        const date::local_days today = date::floor<date::days>(local - seconds(_dayStart));
        moment._epoch = beginOf(today, _zone);
        moment._yesterday = beginOf(today - date::days(1), _zone) - *moment._epoch;
        moment._tomorrow = beginOf(today + date::days(1), _zone) - *moment._epoch;
    }
    moment._seconds =
        std::chrono::duration<double>(wall.time_since_epoch()).count() - static_cast<double>(*moment._epoch);
    moment._offset = offsetAt(_zone, *moment._epoch + wholeSeconds(moment._seconds));
    return moment;
}

}  // namespace pis::picture
