// Reads records from wherever bytes of a feed come from. Every line is either a record, or blank, or a fault.
#ifndef PIS_FEED_RECORDREADER_H
#define PIS_FEED_RECORDREADER_H

#include <cstdint>
#include <string>

#include "feed/ByteSource.h"
#include "feed/FeedRecord.h"
#include "feed/LineReader.h"
#include "feed/RecordParser.h"

namespace pis::feed {

class RecordReader {
public:
    enum class Next {
        RECORD,     ///< The record given was filled.
        MALFORMED,  ///< A line is no record; fault() says why. Reading can go on with the next one.
        END,        ///< No record is left.
        UNREADABLE  ///< The rest cannot be read; fault() says why.
    };

    /// @param bytes stays the caller's.
    explicit RecordReader(ByteSource& bytes) : _lines(bytes) {}

    /// Reads the next record, passing over blank lines. On a malformed line the record's type is its
    /// element type code as far as it told one, else 0.
    Next next(FeedRecord& record);

    /// What is wrong, without the place.
    const std::string& fault() const { return _fault; }

    /// Number of the line read last, from 1.
    std::uint64_t line() const { return _lines.number(); }

    /// Bytes of the source that what was read so far makes up.
    std::uint64_t consumed() const { return _lines.consumed(); }

private:
    LineReader _lines;
    RecordParser _parser;
    std::string _fault;
};

}  // namespace pis::feed

#endif
