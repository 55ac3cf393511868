// Reads a file, decompressing it where it is compressed with gzip.
#ifndef STANDALONE_FEED_BYTEREADER_H
#define STANDALONE_FEED_BYTEREADER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The bytes of a file or of standard input, in order, as soon as they are there.
class ByteReader {
public:
    /// @param path a file, or "-" for standard input.
    /// @throws std::runtime_error with a message for people when it cannot be opened.
    explicit ByteReader(const std::string& path);
    ~ByteReader();

    /// Puts up to `room` bytes at `to`, waiting only until there is one. Returns how many; 0 at the
    /// end, when the run was interrupted, and when the rest cannot be read: then failure() says why.
    std::size_t read(char* to, std::size_t room);

    /// Empty as long as nothing went wrong.
    const std::string& failure() const { return _failure; }

    /// Bytes of the file used so far, before any decompression.
    std::uint64_t consumed() const { return _taken - _left; }

private:
    struct Inflater;

    bool fill();
    void recognise();
    std::size_t inflateInto(char* to, std::size_t room);

    int _descriptor;
    std::vector<char> _input;
    std::size_t _next = 0;     // of the bytes in _input not yet used
    std::size_t _left = 0;     // their number
    std::uint64_t _taken = 0;  // bytes read from the file
    bool _recognised = false;
    std::unique_ptr<Inflater> _inflater;  // null for a file that is not compressed
    std::string _failure;
};

#endif
