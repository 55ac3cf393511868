// What the answer of departures has to say, found the long way: every service is looked at with every trip stop,
// nothing is looked up but by going through a whole table.
#ifndef TESTS_PICTURE_DEPARTUREMODEL_H
#define TESTS_PICTURE_DEPARTUREMODEL_H

#include <string>
#include <vector>

#include "picture/Departures.h"

namespace pis::picture {

std::vector<std::string> modelOfDepartures(const Picture& picture, const std::vector<DepartureQuery>& queries,
                                           const ServiceMoment& now);

}  // namespace pis::picture

#endif
