// How the store reads a whole number from a text.
#ifndef INTEGERTEXT_H
#define INTEGERTEXT_H

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

namespace SignallingControllerPrivate {

/// What the 32-bit host's `atoi` gives, on every machine: leading white space skipped, an optional
/// sign, the digits up to the first other character, 0 without digits. A number beyond 32 bits
/// becomes the nearest one there is, also where `long` is wider and `atoi` would cut off its top.
inline std::int32_t integerOf(const char* text) {
    constexpr long lowest = std::numeric_limits<std::int32_t>::min();
    constexpr long highest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(std::strtol(text, nullptr, 10), lowest, highest));
}

}  // namespace SignallingControllerPrivate

#endif
