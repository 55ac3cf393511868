// Bodies of answers, kept for whoever asks the same while nothing has changed, plain and compressed.
#ifndef PIS_SERVICE_BODYCACHE_H
#define PIS_SERVICE_BODYCACHE_H

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

namespace pis::service {

/// The text of an answer, and its tag between quotes, without what tells the compressed one apart.
struct AnswerBody {
    std::shared_ptr<const std::string> plain;
    std::string tag;
    std::string request = {};                           ///< That it answers; empty where no cache keeps it.
    std::shared_ptr<const std::string> gzip = nullptr;  ///< Made when it is first asked for.
};

/// Keeps what was asked for last. [Threading] For one thread.
class BodyCache {
public:
    /// @param room bytes of what is kept: requests, bodies, compressed bodies.
    explicit BodyCache(std::size_t room = std::size_t{64} << 20) : _room(room) {}

    /// The body for a request, made anew where `validity` is not what it was.
    /// @param make gives the body; @param tag names it, or is empty for one that its contents name.
    std::shared_ptr<AnswerBody> get(const std::string& request, std::uint64_t validity, const std::string& tag,
                                    const std::function<std::string()>& make);

    /// The compressed form of a body, be it of this cache or not.
    std::shared_ptr<const std::string> compressed(AnswerBody& body);

    /// Bytes that are kept, and roughly what keeping them takes besides.
    std::size_t bytes() const { return _bytes; }

private:
    struct Entry {
        std::uint64_t validity;
        std::shared_ptr<AnswerBody> body;
    };
    using Entries = std::list<Entry>;

    static std::size_t bytesOf(const AnswerBody& body);
    bool keeps(const AnswerBody& body) const;
    void drop(Entries::iterator entry);
    void makeRoom();

    std::size_t _room;
    std::size_t _bytes = 0;
    Entries _entries;                                                 // asked for last in front
    std::unordered_map<std::string_view, Entries::iterator> _places;  // by the bodies' own requests
};

/// Compressed with gzip, quickly rather than small.
std::string gzipped(const std::string& plain);

/// FNV-1a of 64 bits, as 16 hexadecimal digits.
std::string contentHash(const std::string& text);

}  // namespace pis::service

#endif
