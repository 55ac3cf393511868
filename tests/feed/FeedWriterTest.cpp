// Feed records as lines of JSON.
#include "feed/FeedWriter.h"

#include <gtest/gtest.h>

namespace pis::feed {

namespace {

FeedRecord recordOf(FeedRecord::Kind kind, int type = 0, int id = 0) {
    FeedRecord record;
    record.kind = kind;
    record.type = type;
    record.id = id;
    return record;
}

/// How a time is written.
std::string timeOf(double at) {
    FeedRecord record = recordOf(FeedRecord::SNAPSHOT_BEGIN);
    record.at = at;
    const std::string line = toJsonLine(record);
    const std::string before = R"({"at":)";
    const std::string behind = R"(,"snapshot":"begin"})";
    if (line.size() < before.size() + behind.size()) return line;
    EXPECT_EQ(line.substr(0, before.size()), before);
    EXPECT_EQ(line.substr(line.size() - behind.size()), behind);
    return line.substr(before.size(), line.size() - before.size() - behind.size());
}

TEST(FeedWriterTest, WritesAnUpdateWithItsFields) {
    FeedRecord record = recordOf(FeedRecord::UPDATE, 2, 7);
    record.at = 21600.5;
    record.fields.append("North Line");
    record.fields.append("N");
    EXPECT_EQ(toJsonLine(record), R"({"at":21600.5,"update":2,"id":7,"fields":["North Line","N"]})");
}

TEST(FeedWriterTest, AMissingFieldIsNullAndAnEmptyOneIsNot) {
    FeedRecord record = recordOf(FeedRecord::UPDATE, 5, 1);
    record.fields.append("");
    record.fields.appendMissing();
    record.fields.append("null");
    record.fields.appendMissing();
    EXPECT_EQ(toJsonLine(record), R"({"update":5,"id":1,"fields":["",null,"null",null]})");
}

TEST(FeedWriterTest, AnUpdateWithoutFieldsHasAnEmptyList) {
    EXPECT_EQ(toJsonLine(recordOf(FeedRecord::UPDATE, 98, 1)), R"({"update":98,"id":1,"fields":[]})");
}

TEST(FeedWriterTest, WritesADeletionWithoutFields) {
    FeedRecord record = recordOf(FeedRecord::DELETION, 8, 3021);
    record.at = 79200;
    record.fields.append("left over from the record before");
    EXPECT_EQ(toJsonLine(record), R"({"at":79200,"delete":8,"id":3021})");
    EXPECT_EQ(toJsonLine(recordOf(FeedRecord::DELETION)), R"({"delete":0,"id":0})");
}

TEST(FeedWriterTest, WritesTheMarksOfASnapshotWithoutCodeAndId) {
    EXPECT_EQ(toJsonLine(recordOf(FeedRecord::SNAPSHOT_BEGIN, 8, 1)), R"({"snapshot":"begin"})");
    EXPECT_EQ(toJsonLine(recordOf(FeedRecord::SNAPSHOT_END, 8, 1)), R"({"snapshot":"end"})");
}

TEST(FeedWriterTest, WritesCodesAndIdsToTheirLimits) {
    EXPECT_EQ(toJsonLine(recordOf(FeedRecord::UPDATE, -2147483647 - 1, 2147483647)),
              R"({"update":-2147483648,"id":2147483647,"fields":[]})");
}

TEST(FeedWriterTest, KeepsARecordOnItsLineWhateverItsTextsHold) {
    FeedRecord record = recordOf(FeedRecord::UPDATE, 2, 7);
    record.fields.append("a\nb\r\"c\\");
    record.fields.append("\x80");
    record.fields.append("\xc3\xb8");
    EXPECT_EQ(toJsonLine(record),
              "{\"update\":2,\"id\":7,\"fields\":[\"a\\nb\\r\\\"c\\\\\",\"\xef\xbf\xbd\","
              "\"\xc3\xb8\"]}");
}

TEST(FeedWriterTest, WritesTimesInTheFewestDigitsThatReadBackTheSame) {
    EXPECT_EQ(timeOf(0), "0");
    EXPECT_EQ(timeOf(100), "100");
    EXPECT_EQ(timeOf(79200), "79200");
    EXPECT_EQ(timeOf(0.5), "0.5");
    EXPECT_EQ(timeOf(0.001), "0.001");
    EXPECT_EQ(timeOf(10.1), "10.1");
    EXPECT_EQ(timeOf(1514764800.123), "1514764800.123");
    EXPECT_EQ(timeOf(253402300799.999), "253402300799.999");
    EXPECT_EQ(timeOf(0.30000000000000004), "0.30000000000000004");
}

TEST(FeedWriterTest, WritesTimesBeforeTheEpochWithTheirSign) {
    EXPECT_EQ(timeOf(-1), "-1");
    EXPECT_EQ(timeOf(-0.5), "-0.5");
    EXPECT_EQ(timeOf(-1.25), "-1.25");
}

TEST(FeedWriterTest, TimesBeyondEveryEpochStayWhatTheyAre) {
    EXPECT_EQ(std::stod(timeOf(1e17)), 1e17);
    EXPECT_EQ(std::stod(timeOf(-1e17)), -1e17);
    EXPECT_EQ(timeOf(18446744073709551616.0), "1.8446744073709552e+19") << "no integer that readers refuse";
}

}  // namespace

}  // namespace pis::feed
