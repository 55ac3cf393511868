#include "service/BodyCache.h"

#include <zlib.h>

#include <array>
#include <cstdio>
#include <new>
#include <stdexcept>

#include "base/ContentHash.h"

namespace pis::service {

namespace {

constexpr std::size_t kOverhead = 256;  // bytes of an entry besides its texts, roughly

}  // namespace

std::shared_ptr<Body> BodyCache::get(const std::string& request, std::uint64_t validity, const std::string& tag,
                                     const std::function<std::string()>& make) {
    const auto known = _entries.find(request);
    if (known != _entries.end() && known->second.validity == validity) return known->second.body;

    auto body = std::make_shared<Body>();
    body->plain = std::make_shared<const std::string>(make());
    body->tag = tag.empty() ? contentHash(*body->plain) : tag;
    makeRoom(body->plain->size() + request.size() + kOverhead);
    _entries.insert_or_assign(request, Entry{validity, body});
    return body;
}

std::shared_ptr<const std::string> BodyCache::compressed(Body& body) {
    if (!body.gzip) {
        body.gzip = std::make_shared<const std::string>(gzipped(*body.plain));
        _bytes += body.gzip->size();
    }
    return body.gzip;
}

/// What was replaced goes on counting until the cache starts over, which keeps the count simple.
void BodyCache::makeRoom(std::size_t bytes) {
    if (_bytes + bytes > _room) {
        _entries.clear();
        _bytes = 0;
    }
    _bytes += bytes;
}

std::string gzipped(const std::string& plain) {
    constexpr int kLevel = 4;
    constexpr int kGzipWindow = 15 + 16;
    constexpr int kMemory = 8;
    z_stream stream{};
    if (deflateInit2(&stream, kLevel, Z_DEFLATED, kGzipWindow, kMemory, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::bad_alloc();
    }
    std::string packed(deflateBound(&stream, static_cast<uLong>(plain.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(plain.data()));  // zlib only reads there
    stream.avail_in = static_cast<uInt>(plain.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    const int result = deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END) throw std::runtime_error("an answer cannot be compressed");
    return packed;
}

std::string contentHash(const std::string& text) {
    base::ContentHash hash;
    hash.add(text);
    std::array<char, 17> digits{};
    std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(hash.value()));
    return digits.data();
}

}  // namespace pis::service
