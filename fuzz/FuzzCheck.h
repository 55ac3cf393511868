// What the fuzz targets check with: where something does not hold, the program says so and ends.
#ifndef FUZZ_FUZZCHECK_H
#define FUZZ_FUZZCHECK_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// Bytes as they can be read in a report.
inline std::string readable(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte == '\n' || (byte >= 0x20 && byte < 0x7f)) {
            text += character;
        } else {
            text += {'\\', 'x', kDigits[byte / 16], kDigits[byte % 16]};
        }
    }
    return text;
}

inline std::string readable(const std::vector<std::string>& texts) {
    std::string all = std::to_string(texts.size()) + ":";
    for (const std::string& text : texts) all += " [" + readable(text) + "]";
    return all;
}

template <typename Number, typename = std::enable_if_t<std::is_arithmetic_v<Number>>>
std::string readable(Number number) {
    return std::to_string(number);
}

/// Ends the program when a condition does not hold.
inline void require(bool holds, const std::string& what) {
    if (holds) return;
    std::fprintf(stderr, "DOES NOT HOLD: %s\n", readable(what).c_str());
    std::abort();
}

/// Ends the program when two values differ.
template <typename Value>
void requireEqual(const Value& actual, const Value& expected, const std::string& what) {
    if (actual == expected) return;
    std::fprintf(stderr, "DIFFERS: %s\n--- is\n%s\n--- should be\n%s\n", readable(what).c_str(),
                 readable(actual).c_str(), readable(expected).c_str());
    std::abort();
}

/// The fuzzer's bytes as a text.
inline std::string textOf(const std::uint8_t* data, std::size_t size) {
    return size == 0 ? std::string() : std::string(reinterpret_cast<const char*>(data), size);
}

#endif
