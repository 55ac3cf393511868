// Records as one line of text, every member shown, for comparing whole records and tables at once.
#ifndef TESTS_SUPPORT_DESCRIBE_H
#define TESTS_SUPPORT_DESCRIBE_H

#include <string>
#include <vector>

#include "SignallingController.h"

std::string describe(const Line& line);  // line 7 "North" "N"
std::string describe(const TripStop& stop);
std::string describe(const ServiceStop& stop);
std::string describe(const Trip& trip);
std::string describe(const Service& service);
std::string describe(const Vehicle& vehicle);
std::string describe(const Station& station);
std::string describe(const PlatformInfo& platform);

/// One line a record.
template <typename Record>
std::string describe(const std::vector<Record>& table) {
    std::string text;
    for (const Record& record : table) text += describe(record) + "\n";
    return text;
}

/// The eight tables, in the order of deletion.
std::string describe(PassengerInformationServer& store);

#endif
