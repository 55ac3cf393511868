#include "service/BodyCache.h"

#include <fmt/format.h>

#include "base/ContentHash.h"
#include "service/Gzip.h"

namespace pis::service {

std::shared_ptr<AnswerBody> BodyCache::get(const std::string& request, std::uint64_t validity, const std::string& tag,
                                           const std::function<std::string()>& make) {
    const Entry* known = _bodies.find(request);
    if (known != nullptr && known->validity == validity) return known->body;
    auto body = std::make_shared<AnswerBody>(AnswerBody{_account.keep(make()), tag, request});
    if (tag.empty()) body->tag = contentHash(*body->plain);
    _bodies.put(request, {validity, body}, bytesOf(*body));
    return body;
}

SharedText BodyCache::compressed(AnswerBody& body) {
    if (body.gzip) return body.gzip;
    SharedText gzip = _account.keep(gzipped(*body.plain));
    const Entry* known = _bodies.find(body.request);
    if (known == nullptr || known->body.get() != &body) return gzip;
    if (!_bodies.hasRoomFor(body.request, bytesOf(body) + gzip->size())) return gzip;
    const Entry entry = *known;
    body.gzip = gzip;
    _bodies.put(body.request, entry, bytesOf(body));
    return gzip;
}

std::size_t BodyCache::bytesOf(const AnswerBody& body) {
    return body.request.size() + body.plain->size() + (body.gzip ? body.gzip->size() : 0);
}

std::string contentHash(const std::string& text) {
    base::ContentHash hash;
    hash.add(text);
    return fmt::format("{:016x}", hash.value());
}

}  // namespace pis::service
