#include "service/Gzip.h"

#include <zlib.h>

#include <cstdint>
#include <new>
#include <stdexcept>

namespace pis::service {

namespace {

constexpr int kGzipWindow = 15 + 16;
constexpr int kBareWindow = -15;

std::string compressed(std::string_view plain, int window, int flush) {
    constexpr int kLevel = 4;
    constexpr int kMemory = 8;
    constexpr std::size_t kFlushMarks = 16;
    z_stream stream{};
    if (deflateInit2(&stream, kLevel, Z_DEFLATED, window, kMemory, Z_DEFAULT_STRATEGY) != Z_OK) throw std::bad_alloc();
    std::string packed(deflateBound(&stream, static_cast<uLong>(plain.size())) + kFlushMarks, '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.data()));  // zlib only reads there
    stream.avail_in = static_cast<uInt>(plain.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const int result = deflate(&stream, flush);
    packed.resize(stream.total_out);
    const bool isWhole = stream.avail_in == 0 && result == (flush == Z_FINISH ? Z_STREAM_END : Z_OK);
    deflateEnd(&stream);
    if (!isWhole) throw std::runtime_error("an answer cannot be compressed");
    return packed;
}

void appendNumber(std::string& text, std::uint32_t number) {
    constexpr unsigned kBits = 8;
    for (std::size_t i = 0; i < sizeof number; ++i) text += static_cast<char>(number >> i * kBits & 0xffU);
}

}  // namespace

std::string gzipped(std::string_view plain) {
    return compressed(plain, kGzipWindow, Z_FINISH);
}

std::string gzipBegin() {
    using namespace std::string_literals;
    return "\x1f\x8b\x08\0\0\0\0\0\0\xff"s;  // deflated, no name, no time, no system
}

std::string deflated(std::string_view plain) {
    return compressed(plain, kBareWindow, Z_SYNC_FLUSH);
}

std::string gzipEnd(unsigned long checksum, std::size_t size) {
    std::string end{'\x03', '\0'};  // an empty last block
    appendNumber(end, static_cast<std::uint32_t>(checksum));
    appendNumber(end, static_cast<std::uint32_t>(size));
    return end;
}

}  // namespace pis::service
