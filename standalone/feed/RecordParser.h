// Makes a record of one line of a feed, or says what is wrong with it.
#ifndef PIS_FEED_RECORDPARSER_H
#define PIS_FEED_RECORDPARSER_H

#include <memory>
#include <string>
#include <string_view>

#include "feed/FeedRecord.h"

namespace pis::feed {

/// Keeps its memory from line to line. For one thread.
class RecordParser {
public:
    RecordParser();
    ~RecordParser();

    /// Reads a line without its end, with LineReader::kPadding readable bytes behind it. False when it is
    /// no record: fault() says why, and the record's type is the line's element type code as far as it
    /// told one, else 0.
    bool parse(std::string_view line, FeedRecord& record);

    /// The same for a line that nothing readable need stand behind, and of any length: one of more than
    /// LineReader::kMaxLine bytes is a fault.
    bool parseCopy(std::string_view line, FeedRecord& record);

    /// What is wrong with the line parsed last.
    const std::string& fault() const { return _fault; }

private:
    struct Json;

    bool parsed(std::string_view line, bool copiesLine, FeedRecord& record);
    bool failed(std::string what, FeedRecord& record, int type = 0);

    std::unique_ptr<Json> _json;
    std::string _fault;
};

}  // namespace pis::feed

#endif
