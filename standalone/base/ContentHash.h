// Sums contents up in 64 bits, the same ones on every machine.
#ifndef PIS_BASE_CONTENTHASH_H
#define PIS_BASE_CONTENTHASH_H

#include <cstdint>
#include <string_view>

namespace pis::base {

/// FNV-1a. Tells contents apart; no defence against somebody who makes them collide.
class ContentHash {
public:
    void add(std::string_view bytes) {
        for (const char byte : bytes) _hash = (_hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
    }

    std::uint64_t value() const { return _hash; }

private:
    std::uint64_t _hash = 0xcbf29ce484222325U;
};

}  // namespace pis::base

#endif
