// Bodies of answers, kept for whoever asks the same while nothing has changed, plain and compressed.
#ifndef PIS_SERVICE_BODYCACHE_H
#define PIS_SERVICE_BODYCACHE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "base/RecentlyUsed.h"
#include "service/TextAccount.h"

namespace pis::service {

/// The text of an answer, and its tag between quotes, without what tells the compressed one apart.
struct AnswerBody {
    SharedText plain;
    std::string tag;
    std::string request = {};   ///< That it answers; empty where no cache keeps it.
    SharedText gzip = nullptr;  ///< Made when it is first asked for.
};

/// Keeps what was asked for last. [Threading] For one thread.
class BodyCache {
public:
    /// @param room bytes of what is kept: requests, bodies, compressed bodies.
    explicit BodyCache(TextAccount& account, std::size_t room = std::size_t{64} << 20)
        : _account(account), _bodies(room) {}

    /// The body for a request, made anew where `validity` is not what it was.
    /// @param make gives the body; @param tag names it, or is empty for one that its contents name.
    std::shared_ptr<AnswerBody> get(const std::string& request, std::uint64_t validity, const std::string& tag,
                                    const std::function<std::string()>& make);

    /// The compressed form of a body, be it of this cache or not.
    SharedText compressed(AnswerBody& body);

    /// Bytes that are kept, and roughly what keeping them takes besides.
    std::size_t bytes() const { return _bodies.bytes(); }

private:
    struct Entry {
        std::uint64_t validity = 0;
        std::shared_ptr<AnswerBody> body;
    };

    static std::size_t bytesOf(const AnswerBody& body);

    TextAccount& _account;
    base::RecentlyUsed<Entry> _bodies;
};

/// FNV-1a of 64 bits, as 16 hexadecimal digits.
std::string contentHash(const std::string& text);

}  // namespace pis::service

#endif
