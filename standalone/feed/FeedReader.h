// Reads a feed file: lines of JSON come in, records go out, and faults that name the file and the line.
#ifndef PIS_FEED_FEEDREADER_H
#define PIS_FEED_FEEDREADER_H

#include <cstdint>
#include <memory>
#include <string>

#include "base/StopSignal.h"
#include "feed/FeedRecord.h"
#include "feed/RecordReader.h"

namespace pis::feed {

/// The records of one feed file, compressed or not, or of standard input.
class FeedReader {
public:
    using Next = RecordReader::Next;

    /// @param path a file, or "-" for standard input.
    /// @param stop ends reading as if the feed ended there; may be null.
    /// @throws std::runtime_error "PATH: why" when it cannot be opened.
    explicit FeedReader(const std::string& path, const base::StopSignal* stop = nullptr);
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
    struct Source;

    std::string _name;
    std::unique_ptr<Source> _source;
    std::string _fault;
};

}  // namespace pis::feed

#endif
