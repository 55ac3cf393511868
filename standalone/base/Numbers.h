// Numbers as people read them.
#ifndef PIS_BASE_NUMBERS_H
#define PIS_BASE_NUMBERS_H

#include <cstdint>
#include <string>

namespace pis::base {

/// 1234567 as "1,234,567", whatever the locale.
inline std::string grouped(std::uint64_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t position = digits.size(); position > 3;) {
        position -= 3;
        digits.insert(position, ",");
    }
    return digits;
}

/// "1 line", "2 lines".
inline std::string counted(std::uint64_t number, const std::string& noun) {
    return grouped(number) + " " + noun + (number == 1 ? "" : "s");
}

}  // namespace pis::base

#endif
