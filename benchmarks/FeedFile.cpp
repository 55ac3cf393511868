#include "FeedFile.h"

#include <stdexcept>

#include "feed/FeedReader.h"

Day readDay(const std::string& path) {
    std::vector<FeedRecord> records;
    FeedReader reader(path);
    FeedRecord record;
    while (true) {
        switch (reader.next(record)) {
            case FeedReader::Next::RECORD: records.push_back(record); break;
            case FeedReader::Next::END: {
                const std::string file = path.substr(path.rfind('/') + 1);
                return dayOf(file.substr(0, file.find('.')), records);
            }
            default: throw std::runtime_error(reader.fault());
        }
    }
}
