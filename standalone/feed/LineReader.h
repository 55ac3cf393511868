// Cuts the bytes of a feed into lines.
#ifndef PIS_FEED_LINEREADER_H
#define PIS_FEED_LINEREADER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "feed/ByteSource.h"

namespace pis::feed {

/// The lines of a source, one at a time, in memory that depends neither on how much comes nor on the length of
/// its lines.
class LineReader {
public:
    static constexpr std::size_t kMaxLine = std::size_t{1} << 20;  ///< Bytes of a line without its end.
    static constexpr std::size_t kPadding = 64;                    ///< Readable bytes behind every line.

    enum class Next {
        LINE,      ///< line() is the next line.
        TOO_LONG,  ///< The next line is longer than kMaxLine; it was passed over.
        END,       ///< No line is left.
        FAILED     ///< The rest cannot be read: failure() says why.
    };

    /// What is said of a line that is longer.
    static constexpr const char* kTooLong = "the line is longer than 1 MiB";

    /// @param bytes stays the caller's.
    explicit LineReader(ByteSource& bytes);

    Next next();

    /// The line read last, without its end. Valid until the next call of next().
    std::string_view line() const { return _line; }

    /// Number of the line read last, from 1; also of a line that was too long or could not be read.
    std::uint64_t number() const { return _number; }

    const std::string& failure() const { return _bytes.failure(); }

    /// Bytes of the source that the lines handed out so far make up, before any decompression; for a
    /// compressed file an estimate.
    std::uint64_t consumed() const;

private:
    bool refill();

    ByteSource& _bytes;
    std::uint64_t _delivered = 0;     // bytes that came out of _bytes
    std::unique_ptr<char[]> _buffer;  // untouched memory beyond the longest line yet, so that it takes no room
    std::size_t _begin = 0;           // of the bytes not yet handed out
    std::size_t _end = 0;
    bool _atEnd = false;
    std::string_view _line;
    std::uint64_t _number = 0;
};

}  // namespace pis::feed

#endif
