#include "base/WallTime.h"

#include <cstdio>
#include <ctime>

namespace pis::base {

std::string isoTime(std::chrono::system_clock::time_point time) {
    const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time);
    const auto seconds = std::chrono::floor<std::chrono::seconds>(milliseconds);
    const std::time_t whole = std::chrono::system_clock::to_time_t(seconds);
    std::tm utc{};
    gmtime_r(&whole, &utc);
    char text[80];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", utc.tm_year + 1900, utc.tm_mon + 1,
                  utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec, static_cast<int>((milliseconds - seconds).count()));
    return text;
}

}  // namespace pis::base
