// In goes a byte that stands between texts, and the texts. Each is made fit for a request; the request
// split at its commas must give them back, blanks for control characters and without those in front,
// and a text that needs nothing must go out as it is.
#include <algorithm>

#include "FuzzCheck.h"
#include "hostStrings.h"
#include "stringUtils.h"

namespace {

using Texts = std::vector<std::string>;

bool isControl(char character) {
    const auto byte = static_cast<unsigned char>(character);
    return byte < 32 || byte == 127;
}

Texts cutAt(char between, const std::string& input) {
    Texts texts(1);
    for (const char character : input) {
        if (character == between) {
            texts.emplace_back();
        } else {
            texts.back() += character;
        }
    }
    return texts;
}

std::string prepared(std::string text) {
    prepareElemStringFieldForSvr(text);
    return text;
}

/// What must come back.
std::string expectedBack(std::string text) {
    std::replace_if(text.begin(), text.end(), isControl, ' ');
    return text.erase(0, std::min(text.find_first_not_of(' '), text.size()));
}

Texts split(const std::string& request) {
    Texts texts;
    splitStr(request.c_str(), ',', texts, false);
    return texts;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const Texts texts = cutAt(static_cast<char>(data[0]), textOf(data + 1, size - 1));

    Texts expected{"7"};
    std::string request = "7";
    for (const std::string& text : texts) {
        const std::string field = prepared(text);
        require(std::none_of(field.begin(), field.end(), isControl), "a control character goes out: " + field);
        const bool isPlain =
            text.find_first_of("\",\\") == std::string::npos && std::none_of(text.begin(), text.end(), isControl);
        if (isPlain) requireEqual(field, text, "a plain text");

        const std::string back = expectedBack(text);
        requireEqual(split(field), back.empty() ? Texts{} : Texts{back}, "alone: " + text);
        expected.push_back(back);
        request += "," + field;
    }
    requireEqual(split(request), expected, request);

    expected.push_back("1");
    requireEqual(split(request + ",1"), expected, request + ",1");
    return 0;
}
