// Texts as chunks of HTTP/1.1.
#ifndef PIS_SERVICE_CHUNKS_H
#define PIS_SERVICE_CHUNKS_H

#include <fmt/format.h>

#include <string>
#include <string_view>

namespace pis::service {

constexpr std::string_view kLastChunk = "0\r\n\r\n";

/// A text as a chunk; an empty one would be the last.
inline std::string chunkOf(std::string_view text) {
    return fmt::format("{:x}\r\n{}\r\n", text.size(), text);
}

/// The text that stands in a chunk, for those who know none.
inline std::string_view textIn(std::string_view chunk) {
    constexpr std::size_t kEnd = 2;
    const std::size_t begin = chunk.find("\r\n") + kEnd;
    return chunk.substr(begin, chunk.size() - begin - kEnd);
}

}  // namespace pis::service

#endif
