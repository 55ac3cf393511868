#include "feed/ElementTypes.h"

namespace pis::feed {

using namespace SignallingCodes;

const std::vector<ElementType>& elementTypes() {
    using F = FieldType;
    constexpr bool kOrNone = true;
    static const std::vector<ElementType> types{
        {LINE, "line", LINE, {{"name"}, {"abbreviation"}}},
        {VEHICLE,
         "vehicle",
         VEHICLE,
         {{"name"}, {"abbreviation"}, {"cars", F::INTEGER}, {"services", F::LIST_OF, SERVICE}}},
        {STATION,
         "station",
         STATION,
         {{"name"}, {"abbreviation"}, {"major", F::FLAG}, {"platforms", F::LIST_OF, PLATFORM}}},
        {PLATFORM,
         "platform",
         PLATFORM,
         {{"station", F::NUMBER_OF, STATION}, {"abbreviation", F::NOT_USED}, {"name"}, {"location"}}},
        {TRIP,
         "trip",
         TRIP,
         {{"name"},
          {"line", F::NUMBER_OF, LINE},
          {"direction", F::INTEGER},
          {"priority", F::INTEGER},
          {"priority text"},
          {"stops", F::LIST_OF, TRIP_STOP}}},
        {TRIP_STOP,
         "trip stop",
         TRIP_STOP,
         {{"trip", F::NUMBER_OF, TRIP},
          {"platform", F::NUMBER_OF, PLATFORM},
          {"stopping", F::FLAG},
          {"scheduled arrival offset", F::INTEGER},
          {"scheduled departure offset", F::INTEGER}}},
        {SERVICE,
         "service",
         SERVICE,
         {{"trip", F::NUMBER_OF, TRIP},
          {"start time", F::INTEGER},
          {"vehicle", F::NUMBER_OF, VEHICLE, kOrNone},
          {"stops", F::LIST_OF, TRIP_STOP},
          {"loading", F::INTEGER},
          {"destination station", F::NUMBER_OF, STATION, kOrNone},
          {"last train", F::INTEGER},
          {"line", F::NUMBER_OF, LINE, kOrNone}}},
        {SERVICE_STOP,
         "service stop",
         SERVICE_STOP,
         {{"service", F::NUMBER_OF, SERVICE},
          {"trip stop", F::NUMBER_OF, TRIP_STOP},
          {"service start time", F::INTEGER},
          {"arrival delay", F::INTEGER},
          {"departure delay", F::INTEGER}}},
        {VEHICLE_STATE,
         "vehicle state",
         VEHICLE,
         {{"direction", F::FLAG},
          {"location"},
          {"state", F::INTEGER},
          {"state text"},
          {"current service", F::NUMBER_OF, SERVICE, kOrNone},
          {"opening doors", F::INTEGER},
          {"opening doors text"},
          {"opened doors", F::INTEGER},
          {"opened doors text"}}},
        {PLATFORM_STATE,
         "platform state",
         PLATFORM,
         {{"state", F::INTEGER}, {"state text"}, {"passers", F::LIST_OF, SERVICE_STOP}}},
        {SERVICE_STATE,
         "service state",
         SERVICE,
         {{"following stops", F::LIST_OF, SERVICE_STOP}, {"state", F::INTEGER}, {"state text"}}},
        {AUTO_MESSAGE_STATE, "automatic message state", AUTO_MESSAGE_STATE, {{"enabled", F::FLAG}}},
        {SIGNALLING_SERVER_STATUS,
         "signalling server status",
         SIGNALLING_SERVER_STATUS,
         {{"first", F::NOT_USED}, {"second", F::NOT_USED}, {"online", F::INTEGER}}},
    };
    return types;
}

const ElementType* findElementType(int code) {
    for (const ElementType& type : elementTypes()) {
        if (type.code == code) return &type;
    }
    return nullptr;
}

}  // namespace pis::feed
