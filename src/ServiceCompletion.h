// Private to the unit. What a service takes over from the trip that it runs.
#ifndef SERVICECOMPLETION_H
#define SERVICECOMPLETION_H

#include "SignallingController.h"

/// Gives the service its trip's name, line, direction, priority and stops, whatever it had before.
inline void completeFromTrip(Service& service, const Trip& trip) {
    service.setName(trip.getName());
    service.setLineId(trip.getLineId());
    service.setDirection(trip.getDirection());
    service.setPriority(trip.getPriority());
    service.setPriorityText(trip.getPriorityText());
    service.setStopsListAsString(trip.getStopsListAsString());
}

#endif
