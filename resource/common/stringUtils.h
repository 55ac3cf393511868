// Splitting of list strings: several ids kept as one text, such as "11!12". Parses as C++11.
#ifndef RESOURCE_COMMON_STRINGUTILS_H
#define RESOURCE_COMMON_STRINGUTILS_H

#include <cstring>
#include <string>
#include <vector>

/// Appends an item and returns the list, so that appends can be chained. Writes nothing anywhere.
std::vector<std::string>& operator<<(std::vector<std::string>& items, const std::string& item);

/// Splits a text into tokens.
///
/// A separator inside double quotes does not split; the quotes are dropped. A backslash protects a
/// following backslash or quote and is dropped before anything else: it does not protect a
/// separator. Blanks and tabs at the start of a token are dropped, those at its end are kept. A
/// separator at the end yields an empty last token; an empty text yields no token.
///
/// @tparam Container   offers `clear()`, `size()` and an operator `<<` that appends a string. The library holds
///                     the instance for `std::vector<std::string>`.
/// @param str          NUL-terminated text; not null.
/// @param delimiter    the separator.
/// @param results      receives the tokens; emptied first.
/// @param nullAsString true to write "<NULL>" for an empty token that was not quoted.
/// @return number of tokens in `results`.
template <typename Container>
int splitStr(const char* str, char delimiter, Container& results, bool nullAsString);

extern template int splitStr(const char*, char, std::vector<std::string>&, bool);

// --- Implementation -----------------------------------------------------------------------------

namespace SignallingControllerPrivate {

/// Appends by the operator that a string finds: a member's, or a function declared before this header or in the
/// container's namespace.
template <typename Container, typename Token>
auto append(Container& results, Token& token, int)
    -> decltype(static_cast<void>(results << static_cast<std::string&>(token))) {
    results << static_cast<std::string&>(token);
}

/// Otherwise by the operator that a client declares for a container of the standard library behind this header:
/// the token is of a class that leads the look-up to the global namespace.
template <typename Container, typename Token>
void append(Container& results, Token& token, long) {
    results << token;
}

}  // namespace SignallingControllerPrivate

template <typename Container>
int splitStr(const char* str, char delimiter, Container& results, bool nullAsString) {
    struct Token : std::string {
        using std::string::operator=;
    } nextResult;
    bool inQuotes = false;
    bool escape = false;         // a backslash is pending
    bool hasEmptyField = false;  // a separator or an opening quote was the last thing seen
    bool quotesSeen = false;     // the current token was opened by a quote

    const auto append = [&] {
        if (nullAsString && nextResult.empty() && !quotesSeen) nextResult = "<NULL>";
        SignallingControllerPrivate::append(results, nextResult, 0);
    };

    const std::size_t len = std::strlen(str);
    results.clear();
    for (std::size_t position = 0; position < len; ++position) {
        const char character = str[position];
        if (character == '\\') {
            if (escape) nextResult += character;
            escape = !escape;
        } else if (character == '"') {
            if (escape) {
                nextResult += character;
                escape = false;
            } else {
                inQuotes = !inQuotes;
                if (inQuotes) hasEmptyField = quotesSeen = true;
            }
        } else if (character != delimiter || inQuotes) {
            const bool leading = nextResult.empty() && (character == ' ' || character == '\t');
            if (!leading) {
                nextResult += character;
                hasEmptyField = false;
            }
            escape = false;
        } else {
            append();
            nextResult.clear();
            quotesSeen = escape = false;
            hasEmptyField = true;
        }
    }
    if (!nextResult.empty() || hasEmptyField) append();
    return static_cast<int>(results.size());
}

#endif
