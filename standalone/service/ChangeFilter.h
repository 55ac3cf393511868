// Which rows of the picture a client wants: some tables, or what belongs to one station.
#ifndef PIS_SERVICE_CHANGEFILTER_H
#define PIS_SERVICE_CHANGEFILTER_H

#include <bitset>
#include <string>

#include "picture/ChangeLog.h"
#include "records/Tables.h"

namespace pis::service {

/// A choice of rows. The empty one takes everything.
struct ChangeFilter {
    std::bitset<records::kTables> tables = std::bitset<records::kTables>().set();
    int stationId = picture::ChangeLog::kEveryStation;

    bool includes(records::Table table) const { return tables.test(records::indexOf(table)); }
    bool isOfStation() const { return stationId != picture::ChangeLog::kEveryStation; }

    /// The same text for the same choice.
    std::string key() const { return tables.to_string() + "/" + std::to_string(stationId); }
};

}  // namespace pis::service

#endif
