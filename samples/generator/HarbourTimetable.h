// The sample railway as it stands before the first train: its tracks, timetable and rolling stock.
#ifndef SAMPLES_HARBOURTIMETABLE_H
#define SAMPLES_HARBOURTIMETABLE_H

#include <string>

#include "HarbourRecords.h"

namespace harbour {

/// Seconds of the operating day.
constexpr int clockTime(int hour, int minute) {
    return (hour * 60 + minute) * 60;
}

/// The railway with the whole morning planned and all vehicles in their depots.
Railway plannedRailway();

/// Where vehicles stand that are not at a platform: each terminus has a depot.
std::string depotAt(const Station& station);

}  // namespace harbour

#endif
