#include "service/RevisionToken.h"

#include <array>
#include <charconv>

#include "base/Numbers.h"

namespace pis::service {

RevisionTokens::RevisionTokens(base::WallTime start) {
    const auto sinceEpoch = std::chrono::duration_cast<std::chrono::microseconds>(start.time_since_epoch());
    constexpr int kBase = 36;
    std::array<char, 16> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), sinceEpoch.count(), kBase);
    _start.assign(digits.data(), result.ptr);
}

RevisionTokens::Reading RevisionTokens::read(std::string_view token) const {
    const std::size_t hyphen = token.rfind('-');
    if (hyphen == std::string_view::npos || hyphen == 0) return {};
    const std::string_view start = token.substr(0, hyphen);
    if (start.find_first_not_of("0123456789abcdefghijklmnopqrstuvwxyz") != std::string_view::npos) return {};
    const auto revision = base::numberIn<picture::Revision>(token.substr(hyphen + 1));
    if (!revision) return {};
    if (start != _start) return {true, std::nullopt};
    return {true, revision};
}

}  // namespace pis::service
