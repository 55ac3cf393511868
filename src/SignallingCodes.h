// The numbers that the store shares with its neighbours: element types in, event codes to the host,
// operation codes to the signalling server. Fixed by the other side, gaps included.
#ifndef SIGNALLINGCODES_H
#define SIGNALLINGCODES_H

namespace SignallingCodes {

/// Element types, as given to `updatePassengerInformation` and `deletePassengerInformation`.
enum Element : int {
    ALL_ELEMENTS = 0,  ///< Deletion only: every type.
    LINE = 2,
    VEHICLE = 3,
    STATION = 4,
    PLATFORM = 5,
    TRIP = 6,
    TRIP_STOP = 7,
    SERVICE = 8,
    SERVICE_STOP = 9,
    VEHICLE_STATE = 10,
    PLATFORM_STATE = 11,
    SERVICE_STATE = 12,
    AUTO_MESSAGE_STATE = 13,
    SIGNALLING_SERVER_STATUS = 98
};

/// Codes of the event items that the store posts. Trip stops and service stops raise none.
enum Event : int {
    SIGNALLING_SERVER_ONLINE = 24,
    SIGNALLING_SERVER_OFFLINE = 25,
    LINE_UPDATED = 26,
    LINE_DELETED = 27,
    VEHICLE_UPDATED = 28,
    VEHICLE_DELETED = 29,
    STATION_UPDATED = 30,
    STATION_DELETED = 31,
    PLATFORM_UPDATED = 32,
    PLATFORM_DELETED = 33,
    SERVICE_UPDATED = 34,
    SERVICE_DELETED = 35,
    TRIP_UPDATED = 36,
    TRIP_DELETED = 37
};

/// Codes of the operations that the store queues for the signalling server.
enum Operation : int {
    ENABLE_AUTOMATIC_MESSAGES = 11,
    DISABLE_AUTOMATIC_MESSAGES = 12,
    ADD_LINE = 21,
    DELETE_LINE = 22,
    ADD_VEHICLE = 31,
    DELETE_VEHICLE = 32,
    ADD_STATION = 41,
    DELETE_STATION = 43,
    ADD_SERVICE = 61,
    ADD_SERVICE_STOP = 62,
    DELETE_SERVICE_STOP = 63,
    DELETE_SERVICE = 64,
    SET_SERVICE_STATE = 65,
    PLATFORM_INFORMATION = 66,
    TRAIN_STATE = 67,
    ACTIVATE_POSITIONING = 71,
    POSITIONING_DATA = 72
};

}  // namespace SignallingCodes

#endif
