// Reads a file, decompressing it where it is compressed with gzip.
#ifndef PIS_FEED_BYTEREADER_H
#define PIS_FEED_BYTEREADER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "base/StopSignal.h"
#include "feed/ByteSource.h"

namespace pis::feed {

/// The bytes of a file or of standard input.
class ByteReader : public ByteSource {
public:
    /// @param path a file, or "-" for standard input.
    /// @param stop ends a read() that waits, on a pipe for instance, as if the file ended there; may be null.
    /// @throws std::runtime_error with a message for people when it cannot be opened.
    explicit ByteReader(const std::string& path, const base::StopSignal* stop = nullptr);
    ~ByteReader() override;

    std::size_t read(char* to, std::size_t room) override;
    const std::string& failure() const override { return _failure; }
    std::uint64_t consumed() const override { return _taken - _left; }

private:
    struct Inflater;

    bool interrupted() const;
    bool waitForBytes();
    bool fill();
    void recognise();
    std::size_t inflateInto(char* to, std::size_t room);

    int _descriptor;
    const base::StopSignal* _stop;
    std::vector<char> _input;
    std::size_t _next = 0;     // of the bytes in _input not yet used
    std::size_t _left = 0;     // their number
    std::uint64_t _taken = 0;  // bytes read from the file
    bool _recognised = false;
    std::unique_ptr<Inflater> _inflater;  // null for a file that is not compressed
    std::string _failure;
};

}  // namespace pis::feed

#endif
