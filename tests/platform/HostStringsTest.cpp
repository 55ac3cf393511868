// Texts on their way into a request and back through the system's own splitter; base64.
#include "hostStrings.h"

#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "SignallingController.h"
#include "platform/SendQueue.h"
#include "stringUtils.h"

namespace pis::platform {

namespace {

using Fields = std::vector<std::string>;

std::string prepared(std::string text) {
    prepareElemStringFieldForSvr(text);
    return text;
}

Fields split(const std::string& request) {
    Fields items;
    splitStr(request.c_str(), ',', items, false);
    return items;
}

/// What comes back: control characters are blanks, and the splitter drops blanks at the front.
std::string expectedBack(std::string text) {
    for (char& character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 32 || byte == 127) character = ' ';
    }
    const std::size_t begin = text.find_first_not_of(' ');
    return begin == std::string::npos ? "" : text.substr(begin);
}

/// A text as it can be read in a failure.
std::string readable(const std::string& text) {
    return ::testing::PrintToString(text);
}

const std::vector<std::string>& awkwardTexts() {
    static const std::vector<std::string> texts{
        "",
        "North",
        "North Line",
        ",",
        ",,",
        "a,b",
        "a,",
        ",a",
        "\"",
        "\"\"",
        "\"a\"",
        "a\"b,c",
        "\",\"",
        ",\"",
        "\",",
        "\\",
        "\\\\",
        "\\\\\\",
        "a\\",
        "a\\,",
        "\\,",
        "\\\"",
        "\\\\\"",
        "\"\\",
        ",\\",
        ",\\\"",
        "\\n",
        "C:\\new\\table,1",
        "'",
        "''a','b''",
        "trailing blank ",
        "trailing blank, ",
        "two  blanks",
        ", ",
        " ,",
        " leading blank",
        " leading blank, and comma",
        "   ",
        "\t",
        "\tleading tab",
        "tab\tinside",
        "\" \"",
        "\" a\"",
        "\\ a",
        "line\nbreak",
        "carriage\r\nreturn",
        "line break, and comma\n",
        "\n",
        "\nfirst",
        std::string("NUL\0inside", 10),
        std::string("\0", 1),
        "\x01\x02\x1f\x7f",
        "bell\a, and more",
        "S\xc3\xb8r, \xe2\x86\x92 \"\xc3\x85s\"",
        "\xff\xfe\x80, not UTF-8",
        "*",
        "<NULL>",
        "(null)",
        "%s%n%d",
        "!",
        "11!12",
        "{\"a\":\"b,c\"}",
        std::string(100000, ','),
        std::string(100000, '"'),
        std::string(99999, '\\'),
    };
    return texts;
}

TEST(PreparedField, ComesBackBetweenItsNeighbours) {
    for (const std::string& text : awkwardTexts()) {
        const Fields back = split("3," + prepared(text) + ",N");
        EXPECT_EQ(back, (Fields{"3", expectedBack(text), "N"})) << readable(text.substr(0, 100));
    }
}

TEST(PreparedField, ComesBackAtTheEndOfARequest) {
    for (const std::string& text : awkwardTexts()) {
        const Fields back = split("3," + prepared(text));
        EXPECT_EQ(back, (Fields{"3", expectedBack(text)})) << readable(text.substr(0, 100));
    }
}

TEST(PreparedField, ComesBackAlone) {
    for (const std::string& text : awkwardTexts()) {
        const std::string back = expectedBack(text);
        // Where nothing is left of a text, there is no request either, and an empty one has no fields.
        const Fields expected = back.empty() ? Fields{} : Fields{back};
        EXPECT_EQ(split(prepared(text)), expected) << readable(text.substr(0, 100));
    }
}

TEST(PreparedField, ComesBackNextToEveryOther) {
    for (const std::string& one : awkwardTexts()) {
        if (one.size() > 1000) continue;
        for (const std::string& other : awkwardTexts()) {
            if (other.size() > 1000) continue;
            EXPECT_EQ(split("1," + prepared(one) + "," + prepared(other) + ",0"),
                      (Fields{"1", expectedBack(one), expectedBack(other), "0"}))
                << readable(one) << readable(other);
        }
    }
}

TEST(PreparedField, RandomTextsComeBack) {
    std::mt19937 random(20180601);
    const std::string alphabet =
        std::string(",,,\"\"\\\\  \t\n\r\x7f", 13) + std::string("\0", 1) + "ab1!'\xc3\xb8\xff";
    const auto randomText = [&] {
        std::string text(random() % 13, '\0');
        for (char& character : text) character = alphabet[random() % alphabet.size()];
        return text;
    };
    for (int i = 0; i < 20000; ++i) {
        const Fields texts{randomText(), randomText(), randomText()};
        Fields expected{"7"};
        std::string request = "7";
        for (const std::string& text : texts) {
            request += "," + prepared(text);
            expected.push_back(expectedBack(text));
        }
        ASSERT_EQ(split(request), expected) << readable(texts[0]) << readable(texts[1]) << readable(texts[2]);
    }
}

TEST(PreparedField, EveryByteComesBackAmongOthers) {
    for (int byte = 0; byte < 256; ++byte) {
        for (const char* before : {"x", "x,", "x\"", "x\\"}) {
            const std::string text = before + std::string(1, static_cast<char>(byte)) + "y";
            EXPECT_EQ(split("3," + prepared(text) + ",N"), (Fields{"3", expectedBack(text), "N"})) << byte;
        }
    }
}

TEST(PreparedField, LeavesAnOrdinaryTextAsItIs) {
    for (const char* text : {"", "North Line", "N", "*", "S\xc3\xb8r", "km 3.2", "11!12", " blank in front"}) {
        EXPECT_EQ(prepared(text), text);
    }
}

TEST(PreparedField, HoldsNoLineBreakSoThatARequestStaysOnItsLine) {
    EXPECT_EQ(prepared("a\nb\r\nc\x7f"), "a b  c ");
    EXPECT_EQ(prepared(std::string("a\0b", 3)), "a b");
}

TEST(PreparedField, TheStoresOwnRequestsSplitIntoWhatWasAsked) {
    Fields requests;
    SendQueue::instance().setSink([&requests](const SendOperation& operation) { requests.push_back(operation.text); });
    for (const std::string& text : awkwardTexts()) {
        if (text.find('\0') != std::string::npos) continue;
        Line line(3);
        line.setName(text);
        line.setAbrv("N");
        gPassengerInformationServer.addLine(line);
        Station station(4);
        station.setName("Harbour");
        station.setAbrv(text);
        station.setIsMajor(true);
        gPassengerInformationServer.addStation(station);

        ASSERT_EQ(requests.size(), 2U);
        EXPECT_EQ(split(requests[0]), (Fields{"3", expectedBack(text), "N"}));
        EXPECT_EQ(split(requests[1]), (Fields{"4", "Harbour", expectedBack(text), "1"}));
        requests.clear();
    }
    SendQueue::instance().setSink([](const SendOperation&) {});
}

// --- Base64 -------------------------------------------------------------------------------------

std::string encoded(const std::string& bytes) {
    return base64_encode(reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<unsigned>(bytes.size()));
}

TEST(Base64, KnownTexts) {
    EXPECT_EQ(encoded(""), "");
    EXPECT_EQ(encoded("f"), "Zg==");
    EXPECT_EQ(encoded("fo"), "Zm8=");
    EXPECT_EQ(encoded("foo"), "Zm9v");
    EXPECT_EQ(encoded("foob"), "Zm9vYg==");
    EXPECT_EQ(encoded("fooba"), "Zm9vYmE=");
    EXPECT_EQ(encoded("foobar"), "Zm9vYmFy");
}

TEST(Base64, NothingAtAll) {
    EXPECT_EQ(base64_encode(nullptr, 0), "");
}

TEST(Base64, EveryByteAndEveryLetter) {
    std::string bytes;
    for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
    EXPECT_EQ(encoded(bytes),
              "AAECAwQFBgcICQoLDA0ODxAREhMUFRYXGBkaGxwdHh8gISIjJCUmJygpKissLS4vMDEyMzQ1Njc4OTo7PD0+P0BBQkNERUZHSElK"
              "S0xNTk9QUVJTVFVWV1hZWltcXV5fYGFiY2RlZmdoaWprbG1ub3BxcnN0dXZ3eHl6e3x9fn+AgYKDhIWGh4iJiouMjY6PkJGSk5SV"
              "lpeYmZqbnJ2en6ChoqOkpaanqKmqq6ytrq+wsbKztLW2t7i5uru8vb6/wMHCw8TFxsfIycrLzM3Oz9DR0tPU1dbX2Nna29zd3t/g"
              "4eLj5OXm5+jp6uvs7e7v8PHy8/T19vf4+fr7/P3+/w==");
    EXPECT_EQ(encoded("\xfb\xff\xbf"), "+/+/");
}

TEST(Base64, ALongTextHasNoLineBreak) {
    const std::string text = encoded(std::string(100000, '\0'));
    EXPECT_EQ(text, std::string(133333, 'A') + "A==");
}

TEST(Base64, AsksForNoMoreThanItCanEncode) {
    const unsigned char byte = 0;
    EXPECT_THROW(base64_encode(&byte, 0x40000000U), std::length_error);
    EXPECT_THROW(base64_encode(&byte, 0xffffffffU), std::length_error);
}

}  // namespace

}  // namespace pis::platform
