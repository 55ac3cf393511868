// Small things that are done to texts, whatever the locale.
#ifndef PIS_BASE_TEXT_H
#define PIS_BASE_TEXT_H

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

namespace pis::base {

/// Without blanks and tabs at its ends.
inline std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// With the letters A to Z in lower case; other bytes stay as they are.
inline std::string lowered(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return lower;
}

/// What stands behind a prefix; nothing where the text does not begin with it.
inline std::optional<std::string_view> behind(std::string_view prefix, std::string_view text) {
    if (text.substr(0, prefix.size()) != prefix) return std::nullopt;
    return text.substr(prefix.size());
}

}  // namespace pis::base

#endif
