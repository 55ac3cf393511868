// Single lines as records; what a faulty line tells of its type. The faults themselves are the feed reader's
// tests.
#include "feed/RecordParser.h"

#include <gtest/gtest.h>

#include <random>

#include "feed/FeedWriter.h"
#include "feed/LineReader.h"

namespace pis::feed {

namespace {

class RecordParserTest : public ::testing::Test {
protected:
    /// The type that a faulty line tells, and why it is faulty.
    std::string faultOf(const std::string& line) {
        FeedRecord record;
        record.type = 77;  // of the line before
        if (parser.parseCopy(line, record)) return "a record";
        return std::to_string(record.type) + ": " + parser.fault();
    }

    RecordParser parser;
};

TEST_F(RecordParserTest, ReadsALineWithRoomBehindItAndACopyAlike) {
    const std::string line = R"({"at":5,"update":2,"id":7,"fields":["North",null]})";
    FeedRecord record;
    EXPECT_TRUE(parser.parseCopy(line, record));
    EXPECT_EQ(toJsonLine(record), line);

    const std::string padded = line + std::string(LineReader::kPadding, 'x');
    FeedRecord again;
    EXPECT_TRUE(parser.parse(std::string_view(padded).substr(0, line.size()), again));
    EXPECT_EQ(toJsonLine(again), line);
}

TEST_F(RecordParserTest, AFaultyLineTellsItsTypeWhereverThatStands) {
    EXPECT_EQ(faultOf(R"({"update":9,"id":7,"fields":[1]})"), "9: field 1 is a number: a field is a text or null");
    EXPECT_EQ(faultOf(R"({"id":7,"fields":[1],"update":9})"), "9: field 1 is a number: a field is a text or null");
    EXPECT_EQ(faultOf(R"({"update":9,"fields":[]})"), "9: \"id\" is missing");
    EXPECT_EQ(faultOf(R"({"delete":3,"id":"x"})"), "3: \"id\" must be a whole number");
    EXPECT_EQ(faultOf(R"({"update":2147483647,"id":7})"), "2147483647: \"fields\" is missing");
}

TEST_F(RecordParserTest, ALineThatTellsNoTypeHasNone) {
    EXPECT_EQ(faultOf("{}").substr(0, 3), "0: ");
    EXPECT_EQ(faultOf("").substr(0, 3), "0: ");
    EXPECT_EQ(faultOf(R"({"update":9,"id":7,)").substr(0, 3), "0: ") << "no JSON tells nothing";
    EXPECT_EQ(faultOf("[]"), "0: is a list, not an object");
    EXPECT_EQ(faultOf(R"({"update":"9","id":7,"fields":[]})"), "0: \"update\" must be a whole number");
    EXPECT_EQ(faultOf(R"({"update":2147483648,"id":7,"fields":[]})"),
              "0: \"update\" is out of range: -2147483648 to 2147483647");
    EXPECT_EQ(faultOf(R"({"snapshot":"middle"})"), "0: \"snapshot\" must be \"begin\" or \"end\"");
}

TEST_F(RecordParserTest, ACopyOfALongLineIsAFaultAndTheNextOneIsRead) {
    const std::string front = R"({"delete":2,"id":7,"x":")";
    const auto lineOf = [&](std::size_t length) { return front + std::string(length - front.size() - 2, 'x') + "\"}"; };
    EXPECT_EQ(faultOf(lineOf(LineReader::kMaxLine)), "a record");
    EXPECT_EQ(faultOf(lineOf(LineReader::kMaxLine + 1)), "0: the line is longer than 1 MiB");
    EXPECT_EQ(faultOf(lineOf(40)), "a record");
}

TEST_F(RecordParserTest, TimesReadBackToTheLastBit) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> anyTime(-1e10, 1e10);
    FeedRecord written;
    written.kind = FeedRecord::SNAPSHOT_BEGIN;
    for (int i = 0; i < 5000; ++i) {
        written.at = anyTime(random);
        FeedRecord read;
        ASSERT_TRUE(parser.parseCopy(toJsonLine(written), read)) << parser.fault();
        ASSERT_EQ(read.at, written.at) << toJsonLine(written);
    }
}

}  // namespace

}  // namespace pis::feed
