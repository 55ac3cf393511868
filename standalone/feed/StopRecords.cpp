#include "feed/StopRecords.h"

#include <cstdint>
#include <string_view>

#include "IntegerText.h"

namespace pis::feed {

namespace {

/// Text of a field, or null when it is unusable.
const char* usable(const FieldTexts& fields, std::size_t position) {
    if (position >= fields.size()) return nullptr;
    const char* text = fields[position];
    if (text == nullptr || *text == '\0' || std::string_view(text) == "(null)") return nullptr;
    return text;
}

std::int32_t number(const FieldTexts& fields, std::size_t position) {
    const char* text = usable(fields, position);
    return text != nullptr ? SignallingControllerPrivate::integerOf(text) : 0;
}

/// Times are kept as 32 bits without a sign.
std::uint32_t time(const FieldTexts& fields, std::size_t position) {
    return static_cast<std::uint32_t>(number(fields, position));
}

bool flag(const FieldTexts& fields, std::size_t position) {
    const char* text = usable(fields, position);
    return text != nullptr && *text == 'Y';
}

}  // namespace

TripStop tripStopOf(int id, const FieldTexts& fields) {
    TripStop stop(id);
    stop.setTripId(number(fields, 0));
    stop.setPlatformId(number(fields, 1));
    stop.setIsStopping(flag(fields, 2));
    stop.setSchArvOffset(time(fields, 3));
    stop.setSchDepOffset(time(fields, 4));
    return stop;
}

ServiceStop serviceStopOf(int id, const FieldTexts& fields) {
    ServiceStop stop(id, number(fields, 0), number(fields, 1));
    stop.setServiceStartTime(time(fields, 2));
    stop.setArvDelay(time(fields, 3));
    stop.setDepDelay(time(fields, 4));
    return stop;
}

void join(ServiceStop& stop, const TripStop& tripStop) {
    stop.setTripId(tripStop.getTripId());
    stop.setPlatformId(tripStop.getPlatformId());
    stop.setIsStopping(tripStop.isStopping());
    stop.setSchArvOffset(tripStop.getSchArvOffset());
    stop.setSchDepOffset(tripStop.getSchDepOffset());
}

}  // namespace pis::feed
