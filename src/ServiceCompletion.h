// Private to the unit. What a service takes over from the trip that it runs.
#ifndef SERVICECOMPLETION_H
#define SERVICECOMPLETION_H

#include "SignallingController.h"

/// Gives the service its trip's name, line, direction, priority and stops, whatever it had before.
inline void PassengerInformationServer::completeFromTrip(Service& service, const Trip& trip) {
    service._name = trip._name;
    service._lineId = trip._lineId;
    service._direction = trip._direction;
    service._priority = trip._priority;
    service._priorityText = trip._priorityText;
    service._stopsListAsString = trip._stopsListAsString;
}

#endif
