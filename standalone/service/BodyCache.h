// Bodies of answers, kept for whoever asks the same while nothing has changed, plain and compressed.
#ifndef PIS_SERVICE_BODYCACHE_H
#define PIS_SERVICE_BODYCACHE_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

namespace pis::service {

/// A body, and its tag between quotes, without what tells the compressed one apart.
struct Body {
    std::shared_ptr<const std::string> plain;
    std::shared_ptr<const std::string> gzip;  ///< Made when it is first asked for.
    std::string tag;
};

/// [Threading] For one thread.
class BodyCache {
public:
    /// @param room bytes of bodies that are kept; beyond it the cache starts over.
    explicit BodyCache(std::size_t room = std::size_t{64} << 20) : _room(room) {}

    /// The body for a request, made anew where `validity` is not what it was.
    /// @param make gives the body; @param tag names it, or is empty for one that its contents name.
    std::shared_ptr<Body> get(const std::string& request, std::uint64_t validity, const std::string& tag,
                              const std::function<std::string()>& make);

    /// The compressed form of a body.
    std::shared_ptr<const std::string> compressed(Body& body);

private:
    struct Entry {
        std::uint64_t validity;
        std::shared_ptr<Body> body;
    };

    void makeRoom(std::size_t bytes);

    std::size_t _room;
    std::size_t _bytes = 0;
    std::unordered_map<std::string, Entry> _entries;
};

/// Compressed with gzip, quickly rather than small.
std::string gzipped(const std::string& plain);

/// FNV-1a of 64 bits, as 16 hexadecimal digits.
std::string contentHash(const std::string& text);

}  // namespace pis::service

#endif
