// Pieces of positioning updates: what is put together, what is refused.
#include "simulator/Positioning.h"

#include <gtest/gtest.h>
#include <zlib.h>

namespace pis::simulator {

namespace {

using Result = PositioningReassembly::Result;

/// Base64 of the bytes, as a sender writes it.
std::string encoded(const std::string& bytes) {
    static const char* const kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t position = 0; position < bytes.size(); position += 3) {
        unsigned bits = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            bits = bits << 8U | (position + i < bytes.size() ? static_cast<unsigned char>(bytes[position + i]) : 0U);
        }
        for (std::size_t i = 0; i < 4; ++i) {
            text += position + i > bytes.size() ? '=' : kAlphabet[bits >> (18 - 6 * i) & 63U];
        }
    }
    return text;
}

std::string compressed(const std::string& text) {
    uLongf length = compressBound(static_cast<uLong>(text.size()));
    std::string bytes(length, '\0');
    compress2(reinterpret_cast<Bytef*>(bytes.data()), &length, reinterpret_cast<const Bytef*>(text.data()),
              static_cast<uLong>(text.size()), 9);
    bytes.resize(length);
    return bytes;
}

std::string withItsZero(std::string text) {
    text += '\0';
    return text;
}

}  // namespace

TEST(Inflated, GivesTheTextBackWithoutItsZero) {
    const PositioningText whole = inflated(encoded(compressed(withItsZero("train 12 at signal 7"))));
    EXPECT_EQ(whole.text, "train 12 at signal 7");
    EXPECT_TRUE(whole.whole);
    EXPECT_EQ(whole.damaged, "");
}

TEST(Inflated, GoesAsFarAsTheStreamGoes) {
    std::string text;
    for (int i = 0; i < 400; ++i) text += "train " + std::to_string(i * i) + ";";
    const std::string bytes = compressed(withItsZero(text));
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const PositioningText cut = inflated(encoded(bytes.substr(0, length)));
        ASSERT_FALSE(cut.whole) << length;
        ASSERT_EQ(cut.damaged, "") << length;
        ASSERT_EQ(cut.text, text.substr(0, cut.text.size())) << length;
    }
    EXPECT_GT(inflated(encoded(bytes.substr(0, bytes.size() / 2))).text.size(), 500U);
}

TEST(Inflated, SaysWhatCannotBeRead) {
    EXPECT_EQ(inflated("abc").damaged, "not base64");
    EXPECT_EQ(inflated("ab c").damaged, "not base64");
    EXPECT_EQ(inflated("a===").damaged, "not base64");
    EXPECT_EQ(inflated("====").damaged, "not base64");
    EXPECT_EQ(inflated("ab=c").damaged, "not base64");
    EXPECT_EQ(inflated(encoded("this is no stream")).damaged, "damaged there");
    EXPECT_EQ(inflated(encoded(compressed("a") + "b")).damaged, "with something behind its end");
    EXPECT_EQ(inflated(encoded(compressed(std::string(300'000, 'a')))).damaged,
              "longer than a positioning update may be");
    EXPECT_EQ(inflated("").damaged, "");
    EXPECT_FALSE(inflated("").whole);
}

TEST(Inflated, TakesTheLongestText) {
    const std::string longest(262'143, 'x');
    const PositioningText back = inflated(encoded(compressed(withItsZero(longest))));
    EXPECT_TRUE(back.whole);
    EXPECT_EQ(back.text, longest);
}

class PositioningReassemblyTest : public ::testing::Test {
protected:
    std::string taken(const std::string& text) {
        const Result result = reassembly.accept(text);
        EXPECT_TRUE(result.accepted) << result.text;
        return result.text;
    }
    std::string refused(const std::string& text) {
        const Result result = reassembly.accept(text);
        EXPECT_FALSE(result.accepted) << result.text;
        return result.text;
    }

    PositioningReassembly reassembly;
    const std::string piece = encoded(compressed(withItsZero("somewhere")));
    const std::string first = piece.substr(0, 4);
    const std::string rest = piece.substr(4);
};

TEST_F(PositioningReassemblyTest, PutsPiecesTogether) {
    EXPECT_EQ(taken("START,2"), "positioning update of 2 pieces begins");
    EXPECT_EQ(taken("DATA,1/2," + first), "piece 1 of 2");
    EXPECT_EQ(taken("DATA,2/2," + rest), "piece 2 of 2");
    EXPECT_EQ(taken("END"), "positioning update of 9 bytes, whole");
}

TEST_F(PositioningReassemblyTest, RefusesPiecesThatAreMissingRepeatedOrOutOfOrder) {
    EXPECT_EQ(refused("DATA,1/2," + first), "a piece without START");
    EXPECT_EQ(refused("END"), "END without START");
    taken("START,2");
    EXPECT_EQ(refused("DATA,2/2," + rest), "piece 2 came before piece 1");
    EXPECT_EQ(refused("DATA,1/3," + first), "a piece of 3 pieces, START said 2 pieces");
    EXPECT_EQ(refused("DATA,3/2," + first), "piece 3 of 2 pieces");
    taken("DATA,1/2," + first);
    EXPECT_EQ(refused("DATA,1/2," + first), "piece 1 came already");
    taken("DATA,2/2," + rest);  // none of that did harm
    EXPECT_EQ(taken("END"), "positioning update of 9 bytes, whole");

    taken("START,2");
    taken("DATA,1/2," + first);
    EXPECT_EQ(refused("END"), "END after 1 of 2 pieces: the update is given up");
    EXPECT_EQ(refused("DATA,2/2," + rest), "a piece without START");
}

TEST_F(PositioningReassemblyTest, StartsOverWithEveryStart) {
    taken("START,3");
    taken("DATA,1/3," + first);
    EXPECT_EQ(taken("START,1"), "positioning update of 1 piece begins, the one before is given up after 1 of 3 pieces");
    taken("DATA,1/1," + piece);
    EXPECT_EQ(taken("END"), "positioning update of 9 bytes, whole");
}

TEST_F(PositioningReassemblyTest, RefusesWhatIsNoPiece) {
    EXPECT_EQ(refused(""), "neither START,COUNT nor DATA,NUMBER/COUNT,TEXT nor END");
    EXPECT_EQ(refused("END,"), "neither START,COUNT nor DATA,NUMBER/COUNT,TEXT nor END");
    EXPECT_EQ(refused("START,-1"), "START needs a number of pieces from 0 to 300");
    EXPECT_EQ(refused("START,301"), "START needs a number of pieces from 0 to 300");
    EXPECT_EQ(refused("START,99999999999999999999"), "START needs a number of pieces from 0 to 300");
    taken("START,1");
    for (const char* text : {"DATA,", "DATA,1", "DATA,1/1", "DATA,x/1,a", "DATA,1/x,a", "DATA,/,", "DATA,0/1,a"}) {
        EXPECT_EQ(refused(text), "DATA needs NUMBER/COUNT,TEXT") << text;
    }
    EXPECT_EQ(refused("DATA,1/1," + std::string(1201, 'a')), "piece 1 is longer than 1200 characters");
    taken("DATA,1/1,!!!!");
    EXPECT_EQ(refused("END"), "positioning update of 0 bytes, not base64");
}

TEST_F(PositioningReassemblyTest, TakesAnUpdateOfNothing) {
    taken("START,0");
    EXPECT_EQ(taken("END"), "positioning update of 0 bytes, cut short on the wire");
}

}  // namespace pis::simulator
