// JSON on one line: brackets and commas, texts of all kinds, numbers.
#include "base/JsonText.h"

#include <gtest/gtest.h>

#include <limits>

namespace pis::base {

namespace {

std::string quoted(const std::string& text) {
    return JsonText().text(text).str();
}

TEST(JsonTextTest, SetsACommaBetweenValuesAndNoneElsewhere) {
    JsonText json;
    json.beginObject().key("a").number(1).key("b").beginArray().text("x").raw("null").number(2).endArray();
    json.key("c").beginObject().endObject().key("d").beginArray().endArray().key("e").flag(true);
    json.endObject();
    EXPECT_EQ(json.str(), R"({"a":1,"b":["x",null,2],"c":{},"d":[],"e":true})");
}

TEST(JsonTextTest, SetsCommasBehindNestedBrackets) {
    JsonText json;
    json.beginArray().beginArray().endArray().beginObject().key("k").flag(false).endObject().number(3).endArray();
    EXPECT_EQ(json.str(), R"([[],{"k":false},3])");
}

TEST(JsonTextTest, StartsAnewAfterClear) {
    JsonText json;
    json.beginObject().key("a").number(1);
    json.clear();
    EXPECT_EQ(json.str(), "");
    json.beginArray().number(1).endArray();
    EXPECT_EQ(json.str(), "[1]");
}

TEST(JsonTextTest, WritesNumbersToTheirLimits) {
    JsonText json;
    json.beginArray().number(0).number(-1).number(4294967295LL);
    json.number(std::numeric_limits<long long>::min()).number(std::numeric_limits<long long>::max()).endArray();
    EXPECT_EQ(json.str(), "[0,-1,4294967295,-9223372036854775808,9223372036854775807]");
}

TEST(JsonTextTest, EscapesQuotesBackslashesAndControlCharacters) {
    EXPECT_EQ(quoted(""), R"("")");
    EXPECT_EQ(quoted("a\"b\\c/d"), R"("a\"b\\c/d")");
    EXPECT_EQ(quoted("\t\n\r\b\f"), R"("\t\n\r\b\f")");
    EXPECT_EQ(quoted("\x01\x1f\x20\x7f"), "\"\\u0001\\u001f \x7f\"");
    EXPECT_EQ(quoted(std::string("a\0b", 3)), R"("a\u0000b")");
}

TEST(JsonTextTest, EscapesWhereverInATextACharacterStands) {
    const std::string plain(20, ' ');
    for (int byte = 0; byte < 256; ++byte) {
        const std::string character(1, static_cast<char>(byte));
        const std::string escaped = quoted(character).substr(1, quoted(character).size() - 2);
        for (std::size_t place = 0; place <= plain.size(); ++place) {
            const std::string front = plain.substr(0, place);
            const std::string behind = plain.substr(place);
            EXPECT_EQ(quoted(front + character + behind), '"' + front + escaped + behind + '"') << byte;
        }
    }
}

TEST(JsonTextTest, EscapesKeysAsTexts) {
    EXPECT_EQ(JsonText().beginObject().key("a\"\n").number(1).endObject().str(), R"({"a\"\n":1})");
}

TEST(JsonTextTest, KeepsWhatIsUtf8) {
    // The first and the last character of each length, and the ones around the surrogates.
    for (const char* text : {"\xc2\x80", "\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf", "\xee\x80\x80", "\xef\xbf\xbf",
                             "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf", "S\xc3\xb8nsterud \xe2\x86\x92 Gj\xc3\xb8vik"}) {
        EXPECT_EQ(quoted(text), "\"" + std::string(text) + "\"");
    }
}

TEST(JsonTextTest, ReplacesEveryByteThatIsNoUtf8) {
    const std::string replaced = "\xef\xbf\xbd";
    EXPECT_EQ(quoted("\x80"), "\"" + replaced + "\"") << "a continuation alone";
    EXPECT_EQ(quoted("\xff\xfe"), "\"" + replaced + replaced + "\"") << "bytes that never stand in UTF-8";
    EXPECT_EQ(quoted("\xe2\x82"), "\"" + replaced + replaced + "\"") << "cut short at the end";
    EXPECT_EQ(quoted("\xe2\x82z"), "\"" + replaced + replaced + "z\"") << "cut short by another character";
    EXPECT_EQ(quoted("\xe2\"x"), "\"" + replaced + "\\\"x\"") << "the quote behind is still escaped";
    EXPECT_EQ(quoted("\xc0\xaf"), "\"" + replaced + replaced + "\"") << "two bytes where one does";
    EXPECT_EQ(quoted("\xc1\xbf"), "\"" + replaced + replaced + "\"");
    EXPECT_EQ(quoted("\xe0\x9f\xbf"), "\"" + replaced + replaced + replaced + "\"") << "three where two do";
    EXPECT_EQ(quoted("\xf0\x8f\xbf\xbf"), "\"" + replaced + replaced + replaced + replaced + "\"");
    EXPECT_EQ(quoted("\xed\xa0\x80"), "\"" + replaced + replaced + replaced + "\"") << "a surrogate";
    EXPECT_EQ(quoted("\xed\xbf\xbf"), "\"" + replaced + replaced + replaced + "\"") << "the last surrogate";
    EXPECT_EQ(quoted("\xf4\x90\x80\x80"), "\"" + replaced + replaced + replaced + replaced + "\"")
        << "beyond the last character";
    EXPECT_EQ(quoted("\xf5\x80\x80\x80"), "\"" + replaced + replaced + replaced + replaced + "\"");
}

}  // namespace

}  // namespace pis::base
