// Numbers as people read and write them.
#ifndef PIS_BASE_NUMBERS_H
#define PIS_BASE_NUMBERS_H

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>

namespace pis::base {

/// The number that a whole text says, be it an integer or a finite decimal; nothing where anything else stands
/// in it, blanks and a plus sign included, or where the type does not reach so far.
template <typename Number>
std::optional<Number> numberIn(std::string_view text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [read, fault] = std::from_chars(text.data(), end, number);
    if (fault != std::errc() || read != end) return std::nullopt;
    if constexpr (std::is_floating_point_v<Number>) {
        if (!std::isfinite(number)) return std::nullopt;
    }
    return number;
}

/// A number in hexadecimal digits, filled up with zeros to a width: "001f".
inline std::string inHex(std::uint64_t number, std::size_t width) {
    constexpr int kBase = 16;
    std::array<char, 16> digits{};
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number, kBase).ptr;
    const auto length = static_cast<std::size_t>(end - digits.data());
    return std::string(width > length ? width - length : 0, '0').append(digits.data(), length);
}

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
