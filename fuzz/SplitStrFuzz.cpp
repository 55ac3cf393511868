// In goes a separator, a letter that switches nullAsString on (N) or off, and the text behind them.
// The tokens and their number must be those of a second splitter, which cuts first and unquotes then;
// what the list held before must be gone.
#include <algorithm>

#include "FuzzCheck.h"
#include "stringUtils.h"

namespace {

using Tokens = std::vector<std::string>;

/// One thing in a text: a character, or a quote that opens or closes.
struct Item {
    char character;
    bool isQuote;
};

/// A backslash pairs with a backslash or quote behind it, which then stands for itself; any other
/// backslash stands for nothing.
std::vector<Item> itemsOf(const char* text) {
    std::vector<Item> items;
    for (; *text != '\0'; ++text) {
        if (*text == '\\') {
            const bool pairs = text[1] == '\\' || text[1] == '"';
            if (pairs) items.push_back({*++text, false});
        } else {
            items.push_back({*text, *text == '"'});
        }
    }
    return items;
}

/// The items between separators. Neither backslash nor quote ever separates.
std::vector<std::vector<Item>> cutAt(char separator, const char* text) {
    const bool separates = separator != '\\' && separator != '"';
    std::vector<std::vector<Item>> pieces(1);
    bool quoted = false;
    for (const Item& item : itemsOf(text)) {
        if (item.isQuote) quoted = !quoted;
        if (separates && !quoted && item.character == separator) {
            pieces.emplace_back();
        } else {
            pieces.back().push_back(item);
        }
    }
    return pieces;
}

Tokens expectedTokens(const char* text, char separator, bool nullAsString) {
    const std::vector<std::vector<Item>> pieces = cutAt(separator, text);
    Tokens tokens;
    for (const std::vector<Item>& piece : pieces) {
        bool quoted = false;
        std::string token;
        for (const Item& item : piece) {
            quoted = quoted || item.isQuote;
            if (!item.isQuote) token += item.character;
        }
        token.erase(0, std::min(token.find_first_not_of(" \t"), token.size()));
        const bool nothing = token.empty() && !quoted;
        if (nothing && pieces.size() == 1) return {};
        tokens.push_back(nothing && nullAsString ? "<NULL>" : token);
    }
    return tokens;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return 0;
    const char separator = static_cast<char>(data[0]);
    const bool nullAsString = data[1] == 'N';
    const std::string text = textOf(data + 2, size - 2);

    Tokens tokens{"left over"};
    const int count = splitStr(text.c_str(), separator, tokens, nullAsString);
    requireEqual(tokens, expectedTokens(text.c_str(), separator, nullAsString), "tokens of " + text);
    require(count == static_cast<int>(tokens.size()), "the count of the tokens of " + text);
    return 0;
}
