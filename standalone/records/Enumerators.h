// The names of the unit's enumerators, as they stand in dumps, answers and the texts of a signalling side.
#ifndef PIS_RECORDS_ENUMERATORS_H
#define PIS_RECORDS_ENUMERATORS_H

#include "SignallingController.h"

namespace pis::records {

// The enumerator's name, null for a code without one.
const char* enumeratorName(Vehicle::Direction direction);
const char* enumeratorName(Vehicle::State state);
const char* enumeratorName(Vehicle::DoorSide side);
const char* enumeratorName(PlatformInfo::State state);
const char* enumeratorName(Trip::Direction direction);
const char* enumeratorName(Trip::Priority priority);
const char* enumeratorName(Service::State state);

}  // namespace pis::records

#endif
