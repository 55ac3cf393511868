// Reads a feed: lines of JSON come in, records go out. Every line is either a record, or blank, or a
// fault that names the line.
#ifndef STANDALONE_FEED_FEEDREADER_H
#define STANDALONE_FEED_FEEDREADER_H

#include <cstdint>
#include <memory>
#include <string>

#include "FeedRecord.h"

/// The records of one feed file, compressed or not, or of standard input.
class FeedReader {
public:
    enum class Next {
        RECORD,     ///< The record given was filled.
        MALFORMED,  ///< A line is no record; fault() says why. Reading can go on with the next one.
        END,        ///< No record is left.
        UNREADABLE  ///< The rest of the file cannot be read; fault() says why.
    };

    /// @param path a file, or "-" for standard input.
    /// @throws std::runtime_error "PATH: why" when it cannot be opened.
    explicit FeedReader(const std::string& path);
    ~FeedReader();

    /// Reads the next record, passing over blank lines.
    Next next(FeedRecord& record);

    /// What is wrong, as "FILE:LINE: what".
    const std::string& fault() const { return _fault; }

    /// The line read last, as "FILE:LINE".
    std::string place() const;

    /// Bytes of the file taken so far, before any decompression.
    std::uint64_t consumed() const;

private:
    struct Parser;

    Next failed(Next kind, const std::string& what);

    std::string _name;
    std::unique_ptr<Parser> _parser;
    std::string _fault;
};

#endif
