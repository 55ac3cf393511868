#include "stringUtils.h"

#include <cstring>

std::vector<std::string>& operator<<(std::vector<std::string>& items, const std::string& item) {
    items.push_back(item);
    return items;
}

template <typename Container>
int splitStr(const char* str, char delimiter, Container& results, bool nullAsString) {
    std::string nextResult;
    bool inQuotes = false;
    bool escape = false;         // a backslash is pending
    bool hasEmptyField = false;  // a separator or an opening quote was the last thing seen
    bool quotesSeen = false;     // the current token was opened by a quote

    const auto append = [&] {
        if (nullAsString && nextResult.empty() && !quotesSeen) nextResult = "<NULL>";
        results << nextResult;
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

template int splitStr(const char*, char, std::vector<std::string>&, bool);
