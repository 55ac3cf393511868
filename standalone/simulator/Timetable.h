// A network's operating day as it is planned: services numbered, vehicles allotted.
#ifndef PIS_SIMULATOR_TIMETABLE_H
#define PIS_SIMULATOR_TIMETABLE_H

#include <cstddef>
#include <string>
#include <vector>

#include "simulator/Network.h"
#include "simulator/Railway.h"

namespace pis::simulator {

struct PlannedService {
    int id;
    std::size_t pattern;
    int start;
    int vehicle;
    int firstStop;  ///< Id of the first of its service stops; the others follow.
    bool lastTrain = false;
    bool cancelled = false;
    bool settled = false;  ///< Made known, or never to be.
};

/// Ids count from 1: elements in the order of the file, services in the order of their start.
struct Timetable {
    railway::Railway railway;              ///< All but services and their stops; vehicles in their depots.
    std::vector<PlannedService> services;  ///< By id, less 1.
    std::vector<std::vector<int>> runs;    ///< By vehicle id, less 1: its services in order.
    int stops = 0;                         ///< Service stops numbered.
};

/// Plans the day.
/// @throws std::runtime_error "FILE: PLACE: why" when the fleet cannot run it or it does not end in time.
Timetable timetableOf(const Network& network);

/// Where vehicles stand that are not at a platform.
std::string depotAt(const Network::Station& station);

}  // namespace pis::simulator

#endif
