// Reaches the private tables and the lock of the store, for what no getter shows. The class itself is
// left as it is: the language lets an explicit instantiation name private members.
#ifndef TESTS_SUPPORT_STOREACCESS_H
#define TESTS_SUPPORT_STOREACCESS_H

#include <vector>

#include "SignallingController.h"

std::vector<Line>& linesOf(PassengerInformationServer& store);
std::vector<Vehicle>& vehiclesOf(PassengerInformationServer& store);
std::vector<Station>& stationsOf(PassengerInformationServer& store);
std::vector<PlatformInfo>& platformsOf(PassengerInformationServer& store);
std::vector<Trip>& tripsOf(PassengerInformationServer& store);
std::vector<TripStop>& tripStopsOf(PassengerInformationServer& store);
std::vector<Service>& servicesOf(PassengerInformationServer& store);
std::vector<ServiceStop>& serviceStopsOf(PassengerInformationServer& store);
std::vector<PassengerInformationObserver*>& observersOf(PassengerInformationServer& store);
qxLocalMutex& lockOf(PassengerInformationServer& store);

/// Services held by a vehicle, which no setter reaches.
std::vector<Service>& servicesOf(Vehicle& vehicle);

#endif
