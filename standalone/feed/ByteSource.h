// Where the bytes of a feed come from: a file, a connection.
#ifndef PIS_FEED_BYTESOURCE_H
#define PIS_FEED_BYTESOURCE_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace pis::feed {

/// Bytes in order, as soon as they are there. For one thread.
class ByteSource {
public:
    virtual ~ByteSource() = default;

    /// Puts up to `room` bytes at `to`, waiting only until there is one. Returns how many; 0 at the end,
    /// when the run was interrupted, and when the rest cannot be read: then failure() says why.
    virtual std::size_t read(char* to, std::size_t room) = 0;

    /// Empty as long as nothing went wrong.
    virtual const std::string& failure() const = 0;

    /// Bytes used so far, before any decompression.
    virtual std::uint64_t consumed() const = 0;
};

}  // namespace pis::feed

#endif
