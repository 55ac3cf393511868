#include "service/BodyCache.h"

#include <fmt/format.h>
#include <zlib.h>

#include <iterator>
#include <new>
#include <stdexcept>

#include "base/ContentHash.h"

namespace pis::service {

namespace {

constexpr std::size_t kOverhead = 256;  // bytes of an entry besides its texts, roughly

}  // namespace

std::shared_ptr<AnswerBody> BodyCache::get(const std::string& request, std::uint64_t validity, const std::string& tag,
                                           const std::function<std::string()>& make) {
    const auto known = _places.find(request);
    if (known != _places.end() && known->second->validity == validity) {
        _entries.splice(_entries.begin(), _entries, known->second);
        return known->second->body;
    }
    auto body = std::make_shared<AnswerBody>(AnswerBody{std::make_shared<const std::string>(make()), tag, request});
    if (tag.empty()) body->tag = contentHash(*body->plain);
    if (known != _places.end()) drop(known->second);
    if (bytesOf(*body) > _room) return body;  // it would take everybody's place and its own
    _entries.push_front({validity, body});
    _places.emplace(body->request, _entries.begin());
    _bytes += bytesOf(*body);
    makeRoom();
    return body;
}

std::shared_ptr<const std::string> BodyCache::compressed(AnswerBody& body) {
    if (body.gzip) return body.gzip;
    auto gzip = std::make_shared<const std::string>(gzipped(*body.plain));
    if (keeps(body) && bytesOf(body) + gzip->size() <= _room) {
        body.gzip = gzip;
        _bytes += gzip->size();
        makeRoom();
    }
    return gzip;
}

std::size_t BodyCache::bytesOf(const AnswerBody& body) {
    return kOverhead + body.request.size() + body.plain->size() + (body.gzip ? body.gzip->size() : 0);
}

bool BodyCache::keeps(const AnswerBody& body) const {
    const auto place = _places.find(body.request);
    return place != _places.end() && place->second->body.get() == &body;
}

void BodyCache::drop(Entries::iterator entry) {
    _bytes -= bytesOf(*entry->body);
    _places.erase(entry->body->request);
    _entries.erase(entry);
}

void BodyCache::makeRoom() {
    while (_bytes > _room) drop(std::prev(_entries.end()));
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
    return fmt::format("{:016x}", hash.value());
}

}  // namespace pis::service
