// Feeds as the reader takes them: every kind of record, and everything that is wrong with a line or a
// file, with its exact message.
#include "feed/FeedReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <future>
#include <random>
#include <sstream>
#include <stdexcept>
#include <vector>

#include "FeedFiles.h"
#include "feed/FeedWriter.h"

namespace pis::feed {

namespace {

/// "@21600.5 update 2 7 "North" null", as far as it applies.
std::string describe(const FeedRecord& record) {
    std::ostringstream text;
    if (record.at) text << "@" << *record.at << " ";
    switch (record.kind) {
        case FeedRecord::SNAPSHOT_BEGIN: text << "begin"; break;
        case FeedRecord::SNAPSHOT_END: text << "end"; break;
        case FeedRecord::DELETION: text << "delete " << record.type << " " << record.id; break;
        case FeedRecord::UPDATE:
            text << "update " << record.type << " " << record.id;
            for (std::size_t i = 0; i < record.fields.size(); ++i) {
                const char* field = record.fields[i];
                text << " " << (field != nullptr ? "\"" + std::string(field) + "\"" : "null");
            }
            break;
    }
    return text.str();
}

class FeedReaderTest : public ::testing::Test {
protected:
    /// What the reader makes of a file with these contents, a step a line: "FEED:1 update 2 7", or the
    /// fault behind "malformed" or "unreadable". FEED stands for the file's path.
    std::string transcriptOf(const std::string& contents) { return transcriptOfFile(folder.write("feed", contents)); }

    static std::string transcriptOfFile(const std::string& path) {
        FeedReader reader(path);
        FeedRecord record;
        std::string text;
        while (true) {
            switch (reader.next(record)) {
                case FeedReader::Next::RECORD: text += reader.place() + " " + describe(record) + "\n"; break;
                case FeedReader::Next::MALFORMED: text += "malformed " + reader.fault() + "\n"; break;
                case FeedReader::Next::UNREADABLE: return shortened(text + "unreadable " + reader.fault() + "\n", path);
                case FeedReader::Next::END: return shortened(text, path);
            }
        }
    }

    /// The transcript of a line between two good ones: what is found on line 2, or all of it where the
    /// good ones are not read as they should be.
    std::string faultOf(const std::string& line) {
        const std::string transcript = transcriptOf(good + line + "\n" + good);
        const std::string before = "FEED:1 delete 2 7\nmalformed FEED:2: ";
        const std::string behind = "\nFEED:3 delete 2 7\n";
        const bool expected = transcript.size() > before.size() + behind.size() &&
                              transcript.compare(0, before.size(), before) == 0 &&
                              transcript.compare(transcript.size() - behind.size(), behind.size(), behind) == 0;
        if (!expected) return transcript;
        return transcript.substr(before.size(), transcript.size() - before.size() - behind.size());
    }

    /// A record that fills its line to a length, behind a key that nobody knows.
    static std::string lineOf(std::size_t length) {
        const std::string front = R"({"delete":2,"id":7,"padding":")";
        const std::string back = R"("})";
        return front + std::string(length - front.size() - back.size(), 'x') + back;
    }

    static constexpr std::size_t kMebibyte = 1048576;
    const std::string good = "{\"delete\":2,\"id\":7}\n";
    TempFolder folder;

private:
    static std::string shortened(std::string text, const std::string& path) {
        if (path == "-") return text;
        for (std::size_t at = text.find(path); at != std::string::npos; at = text.find(path, at)) {
            text.replace(at, path.size(), "FEED");
        }
        return text;
    }
};

// --- Records ------------------------------------------------------------------------------------

TEST_F(FeedReaderTest, ReadsEveryKindOfRecord) {
    EXPECT_EQ(transcriptOf(R"({"at": 21600.5, "update": 2, "id": 7, "fields": ["North Line", "N"]})"
                           "\n"
                           R"({"at": 79200, "delete": 8, "id": 3021})"
                           "\n"
                           R"({"snapshot": "begin"})"
                           "\n"
                           R"({"snapshot": "end", "at": -1})"
                           "\n"),
              "FEED:1 @21600.5 update 2 7 \"North Line\" \"N\"\n"
              "FEED:2 @79200 delete 8 3021\n"
              "FEED:3 begin\n"
              "FEED:4 @-1 end\n");
}

TEST_F(FeedReaderTest, AnEmptyFileHasNoRecords) {
    EXPECT_EQ(transcriptOf(""), "");
    EXPECT_EQ(transcriptOf("\n\n"), "");
}

TEST_F(FeedReaderTest, TheEndStaysTheEnd) {
    FeedReader reader(folder.write("feed", good));
    FeedRecord record;
    EXPECT_EQ(reader.next(record), FeedReader::Next::RECORD);
    EXPECT_EQ(reader.next(record), FeedReader::Next::END);
    EXPECT_EQ(reader.next(record), FeedReader::Next::END);
}

TEST_F(FeedReaderTest, ANullFieldIsMissingAndAnEmptyOneIsNot) {
    EXPECT_EQ(transcriptOf(R"-({"update":2,"id":7,"fields":[null,"",null,"null","(null)"]})-"),
              "FEED:1 update 2 7 null \"\" null \"null\" \"(null)\"\n");
    EXPECT_EQ(transcriptOf(R"({"update":2,"id":7,"fields":[]})"), "FEED:1 update 2 7\n");
}

TEST_F(FeedReaderTest, NothingOfARecordIsLeftOverInTheNext) {
    EXPECT_EQ(transcriptOf(R"({"at":5,"update":2,"id":7,"fields":["a",null,"c"]})"
                           "\n"
                           R"({"update":3,"id":8,"fields":["x"]})"
                           "\n"
                           R"({"at":6,"update":3,"id":8,"fields":["y","z"]})"
                           "\n"
                           R"({"snapshot":"begin"})"),
              "FEED:1 @5 update 2 7 \"a\" null \"c\"\nFEED:2 update 3 8 \"x\"\nFEED:3 @6 update 3 8 \"y\" \"z\"\n"
              "FEED:4 begin\n");
}

TEST_F(FeedReaderTest, NothingOfAMalformedLineIsLeftOverInTheNext) {
    EXPECT_EQ(transcriptOf("{\"at\":5,\"update\":2,\"id\":7,\"fields\":[\"a\",\"b\",1]}\n"
                           "{\"update\":2,\"id\":8,\"fields\":[]}\n"),
              "malformed FEED:1: field 3 is a number: a field is a text or null\nFEED:2 update 2 8\n");
}

TEST_F(FeedReaderTest, TheOrderOfKeysAndBlanksBetweenThemDoNotMatter) {
    EXPECT_EQ(transcriptOf("\t { \"fields\" : [ \"a\" , null ] ,\"id\":7 , \"at\" : 1e3, \"update\" : 2 } \t"),
              "FEED:1 @1000 update 2 7 \"a\" null\n");
}

TEST_F(FeedReaderTest, EscapesInKeysAndTextsAreRead) {
    EXPECT_EQ(
        transcriptOf("{\"up\\u0064ate\":2,\"id\":7,\"fields\":[\"\\\"\\\\\\/\\b\\f\\n\\r\\t\\u00f8\\ud83d\\ude86\"]}"),
        "FEED:1 update 2 7 \"\"\\/\b\f\n\r\t\xc3\xb8\xf0\x9f\x9a\x86\"\n");
}

TEST_F(FeedReaderTest, CodesAndIdsReachToTheLimitsOf32Bits) {
    EXPECT_EQ(transcriptOf("{\"update\":2147483647,\"id\":-2147483648,\"fields\":[]}\n"
                           "{\"delete\":-2147483648,\"id\":2147483647}\n"
                           "{\"delete\":0,\"id\":0}\n"
                           "{\"delete\":-0,\"id\":-1}\n"),
              "FEED:1 update 2147483647 -2147483648\nFEED:2 delete -2147483648 2147483647\nFEED:3 delete 0 0\n"
              "FEED:4 delete 0 -1\n");
}

TEST_F(FeedReaderTest, UnknownKeysAreIgnoredWhateverTheyHold) {
    EXPECT_EQ(
        transcriptOf(R"({"delete":2,"id":7,"note":"x","note":null,"more":{"update":3,"id":[1,{"at":"x"}]},"Id":8,)"
                     R"("":1e300,"fields ":5,"nul":"\u0000"})"),
        "FEED:1 delete 2 7\n");
}

TEST_F(FeedReaderTest, BlankLinesAreSkippedAndCounted) {
    EXPECT_EQ(transcriptOf("\n \n\t\t\n" + good + "\r\n  \r\n" + good + "   "),
              "FEED:4 delete 2 7\nFEED:7 delete 2 7\n");
}

TEST_F(FeedReaderTest, TheLastLineNeedsNoEnd) {
    EXPECT_EQ(transcriptOf(good + R"({"delete":2,"id":8})"), "FEED:1 delete 2 7\nFEED:2 delete 2 8\n");
    EXPECT_EQ(transcriptOf(good + R"({"delete":2,)"),
              "FEED:1 delete 2 7\n"
              "malformed FEED:2: not JSON: the line is cut short, or a bracket, comma or colon stands wrong\n");
}

TEST_F(FeedReaderTest, LinesMayEndInCarriageReturnAndLineFeed) {
    EXPECT_EQ(transcriptOf("{\"delete\":2,\"id\":7}\r\n{\"delete\":2,\"id\":8}\r\n"),
              "FEED:1 delete 2 7\nFEED:2 delete 2 8\n");
}

TEST_F(FeedReaderTest, AByteOrderMarkMayStandAtTheFrontOfTheFileAlone) {
    EXPECT_EQ(transcriptOf("\xef\xbb\xbf" + good + good), "FEED:1 delete 2 7\nFEED:2 delete 2 7\n");
    EXPECT_EQ(transcriptOf("\xef\xbb\xbf"), "");
    EXPECT_EQ(transcriptOf("\xef\xbb\xbf\n" + good), "FEED:2 delete 2 7\n");
    EXPECT_EQ(faultOf("\xef\xbb\xbf{\"delete\":2,\"id\":7}"),
              "not JSON: the line is cut short, or a bracket, comma or colon stands wrong");
}

TEST_F(FeedReaderTest, ReadsWhatTheWriterWrites) {
    std::vector<std::string> texts{"", "North", "a\"b\\c\n\t\r\x01\x7f", "S\xc3\xb8r \xe2\x86\x92 \xf0\x9f\x9a\x86",
                                   "null"};
    FeedRecord record;
    record.type = 2;
    record.id = -7;
    record.at = 21600.125;
    for (const std::string& text : texts) record.fields.append(text);
    record.fields.appendMissing();
    EXPECT_EQ(transcriptOf(toJsonLine(record)), "FEED:1 " + describe(record) + "\n");
    for (const auto kind : {FeedRecord::DELETION, FeedRecord::SNAPSHOT_BEGIN, FeedRecord::SNAPSHOT_END}) {
        record.kind = kind;
        EXPECT_EQ(transcriptOf(toJsonLine(record)), "FEED:1 " + describe(record) + "\n");
    }
}

TEST_F(FeedReaderTest, LinesOfEveryLengthComeInTheirOrder) {
    std::mt19937 random(7);
    std::string feed;
    std::string expected;
    for (int line = 1; line <= 3000; ++line) {
        const std::size_t length = line % 100 == 0 ? random() % 300000 : random() % 500;
        const std::string number = std::to_string(line);
        feed += "{\"delete\":2,\"id\":" + number + ",\"x\":\"" + std::string(length, 'x') + "\"}\n";
        expected += "FEED:" + number + " delete 2 " + number + "\n";
    }
    EXPECT_EQ(transcriptOf(feed), expected);
    EXPECT_EQ(transcriptOf(gzipped(feed)), expected);
}

// --- Malformed lines ----------------------------------------------------------------------------

TEST_F(FeedReaderTest, ALineThatIsNotJsonIsAFault) {
    const std::string wrong = "not JSON: the line is cut short, or a bracket, comma or colon stands wrong";
    for (const char* line : {"x",
                             "{",
                             "}",
                             R"({"delete":2,"id":7)",
                             R"({"delete":2,"id":7}})",
                             R"({"delete":2,"id":7]})",
                             R"({"delete":2,"id":7,})",
                             R"({"delete":2 "id":7})",
                             R"({"delete" 2,"id":7})",
                             R"({"delete":2,"id":7} x)",
                             R"({"delete":2,"id":7}{"delete":2,"id":8})",
                             "{'delete':2,'id':7}",
                             "{delete:2,id:7}",
                             R"({"delete":2,"id":7,"x":tru})",
                             R"({"delete":2,"id":7,"x":NaN})",
                             R"({"delete":,"id":7})",
                             R"({"delete":2,"id":7,"x":[1,]})",
                             "// comment",
                             "\f",
                             "\xc2\xa0"}) {
        EXPECT_EQ(faultOf(line), wrong) << line;
    }
    EXPECT_EQ(faultOf(R"({"delete":2,"id":7,"x":"y})"), "not JSON: a text is not closed");
    EXPECT_EQ(faultOf(R"({"delete":2,"id":7,"x":")"), "not JSON: a text is not closed");
    EXPECT_EQ(faultOf("{\"delete\":2,\"id\":7,\"x\":\"a\tb\"}"), "not JSON: a control character inside a text");
    EXPECT_EQ(faultOf("{\"delete\":2,\"id\":7,\"x\":\"a\rb\"}"), "not JSON: a control character inside a text");
    EXPECT_EQ(faultOf(R"({"delete":2,"id":7,"x":"\x"})"), "not JSON: a wrong escape inside a text");
    EXPECT_EQ(faultOf(R"({"delete":2,"id":7,"x":"\u00"})"), "not JSON: a wrong escape inside a text");
    EXPECT_EQ(faultOf(R"({"delete":2,"id":7,"x":"\ud800"})"), "not JSON: a wrong escape inside a text");
    EXPECT_EQ(faultOf(R"({"delete":2,"id":7,"x":"\udc00"})"), "not JSON: a wrong escape inside a text");
    EXPECT_EQ(faultOf(R"({"delete":2,"id":7,"x":"\ud800\u0041"})"), "not JSON: a wrong escape inside a text");
    for (const char* number : {"01", "1.", ".5", "+1", "-", "1e", "0x10", "1e400", "18446744073709551616"}) {
        const std::string fault = faultOf(R"({"delete":2,"id":7,"x":)" + std::string(number) + "}");
        EXPECT_TRUE(fault == "not JSON: a number is malformed or too large" || fault == wrong)
            << number << ": " << fault;
    }
}

TEST_F(FeedReaderTest, ALineThatIsNoObjectIsAFault) {
    EXPECT_EQ(faultOf("[]"), "is a list, not an object");
    EXPECT_EQ(faultOf(R"([{"delete":2,"id":7}])"), "is a list, not an object");
    EXPECT_EQ(faultOf("\"delete\""), "is a text, not an object");
    EXPECT_EQ(faultOf("7"), "is a number, not an object");
    EXPECT_EQ(faultOf("7.5"), "is a number, not an object");
    EXPECT_EQ(faultOf("true"), "is true or false, not an object");
    EXPECT_EQ(faultOf("null"), "is null, not an object");
}

TEST_F(FeedReaderTest, ARecordNamesItsKindOnce) {
    const std::string none = "names neither \"update\" nor \"delete\" nor \"snapshot\"";
    EXPECT_EQ(faultOf("{}"), none);
    EXPECT_EQ(faultOf(R"({"at":1,"id":7,"fields":[]})"), none);
    EXPECT_EQ(faultOf(R"({"Update":2,"id":7,"fields":[]})"), none);
    const std::string several = "names more than one of \"update\", \"delete\" and \"snapshot\"";
    EXPECT_EQ(faultOf(R"({"update":2,"delete":2,"id":7,"fields":[]})"), several);
    EXPECT_EQ(faultOf(R"({"snapshot":"begin","delete":2,"id":7})"), several);
    EXPECT_EQ(faultOf(R"({"snapshot":"end","update":2,"id":7,"fields":[]})"), several);
}

TEST_F(FeedReaderTest, ARecordBringsWhatItsKindNeeds) {
    EXPECT_EQ(faultOf(R"({"update":2,"fields":[]})"), "\"id\" is missing");
    EXPECT_EQ(faultOf(R"({"delete":2})"), "\"id\" is missing");
    EXPECT_EQ(faultOf(R"({"update":2,"id":7})"), "\"fields\" is missing");
    EXPECT_EQ(faultOf(R"({"update":2})"), "\"id\" is missing");
}

TEST_F(FeedReaderTest, AKnownKeyThatStandsTwiceIsAFault) {
    EXPECT_EQ(faultOf(R"({"at":1,"at":1,"delete":2,"id":7})"), "\"at\" stands twice");
    EXPECT_EQ(faultOf(R"({"update":2,"update":2,"id":7,"fields":[]})"), "\"update\" stands twice");
    EXPECT_EQ(faultOf(R"({"delete":2,"id":7,"delete":3})"), "\"delete\" stands twice");
    EXPECT_EQ(faultOf(R"({"delete":2,"id":7,"id":8})"), "\"id\" stands twice");
    EXPECT_EQ(faultOf(R"({"update":2,"id":7,"fields":[],"fields":["a"]})"), "\"fields\" stands twice");
    EXPECT_EQ(faultOf(R"({"snapshot":"begin","snapshot":"end"})"), "\"snapshot\" stands twice");
    EXPECT_EQ(faultOf(R"({"delete":2,"id":7,"\u0069d":8})"), "\"id\" stands twice");
}

TEST_F(FeedReaderTest, CodesAndIdsAreWholeNumbers) {
    for (const std::string key : {"update", "delete", "id"}) {
        for (const char* value : {"1.5", "1.0", "1e3", "\"7\"", "null", "true", "[7]", "{}"}) {
            const std::string other = key == "id" ? R"("delete":2)" : R"("id":7)";
            EXPECT_EQ(faultOf("{" + other + ",\"" + key + "\":" + value + "}"),
                      "\"" + key + "\" must be a whole number")
                << value;
        }
    }
}

TEST_F(FeedReaderTest, CodesAndIdsBeyond32BitsAreFaults) {
    for (const std::string key : {"update", "delete", "id"}) {
        for (const char* value : {"2147483648", "-2147483649", "4294967296", "9223372036854775807",
                                  "-9223372036854775808", "9223372036854775808", "18446744073709551615"}) {
            const std::string other = key == "id" ? R"("delete":2)" : R"("id":7)";
            EXPECT_EQ(faultOf("{" + other + ",\"" + key + "\":" + value + "}"),
                      "\"" + key + "\" is out of range: -2147483648 to 2147483647")
                << value;
        }
    }
    EXPECT_EQ(faultOf(R"({"delete":2,"id":18446744073709551616})"), "not JSON: a number is malformed or too large");
    EXPECT_EQ(faultOf(R"({"delete":2,"id":-9223372036854775809})"), "not JSON: a number is malformed or too large");
}

TEST_F(FeedReaderTest, ATimeIsANumber) {
    for (const char* value : {"\"6:00\"", "null", "true", "[]", "{}"}) {
        EXPECT_EQ(faultOf(std::string(R"({"delete":2,"id":7,"at":)") + value + "}"),
                  "\"at\" must be a number of seconds")
            << value;
    }
}

TEST_F(FeedReaderTest, ATimeLiesWithinWhatACalendarHolds) {
    const auto lineAt = [](const std::string& at) { return R"({"delete":2,"id":7,"at":)" + at + "}"; };
    for (const char* at : {"9.3e18", "-9.3e18", "9300000000000000000", "18446744073709551615", "1e308", "-1e308",
                           "253402300800", "253402300799.001", "-62135596801", "-62135596800.001"}) {
        EXPECT_EQ(faultOf(lineAt(at)), "\"at\" is out of range: -62135596800 to 253402300799") << at;
    }
    for (const char* at : {"253402300799", "-62135596800", "0", "-0.5", "1e11", "1e-300"}) {
        EXPECT_EQ(transcriptOf(lineAt(at) + "\n").find("malformed"), std::string::npos) << at;
    }
    EXPECT_EQ(faultOf(lineAt("1e309")), "not JSON: a number is malformed or too large");
    EXPECT_EQ(faultOf(lineAt("NaN")).substr(0, 8), "not JSON");
}

TEST_F(FeedReaderTest, FieldsAreAListOfTextsAndNulls) {
    for (const char* value : {"null", "\"a\"", "7", "{}", "true"}) {
        EXPECT_EQ(faultOf(std::string(R"({"update":2,"id":7,"fields":)") + value + "}"),
                  "\"fields\" must be a list of texts or null")
            << value;
    }
    const auto faultOfField = [this](const char* value) {
        return faultOf(std::string(R"({"update":2,"id":7,"fields":["a",)") + value + "]}");
    };
    EXPECT_EQ(faultOfField("7"), "field 2 is a number: a field is a text or null");
    EXPECT_EQ(faultOfField("-7.5"), "field 2 is a number: a field is a text or null");
    EXPECT_EQ(faultOfField("false"), "field 2 is true or false: a field is a text or null");
    EXPECT_EQ(faultOfField("[\"a\"]"), "field 2 is a list: a field is a text or null");
    EXPECT_EQ(faultOfField("{}"), "field 2 is an object: a field is a text or null");
    EXPECT_EQ(faultOfField("null,null,7"), "field 4 is a number: a field is a text or null");
}

TEST_F(FeedReaderTest, ASnapshotMarkIsBeginOrEnd) {
    for (const char* value : {"\"Begin\"", "\"\"", "\"begin \"", "null", "1", "true"}) {
        EXPECT_EQ(faultOf(std::string(R"({"snapshot":)") + value + "}"), "\"snapshot\" must be \"begin\" or \"end\"")
            << value;
    }
}

TEST_F(FeedReaderTest, ANulInAFieldIsAFault) {
    EXPECT_EQ(faultOf(R"({"update":2,"id":7,"fields":["a\u0000b"]})"), "field 1 holds a NUL character");
    EXPECT_EQ(faultOf(R"({"update":2,"id":7,"fields":["a",null,"\u0000"]})"), "field 3 holds a NUL character");
}

TEST_F(FeedReaderTest, ANulByteInALineIsAFault) {
    const std::string nul(1, '\0');
    const std::string fault = "not JSON: a NUL byte in the line";
    EXPECT_EQ(faultOf(nul), fault);
    EXPECT_EQ(faultOf("{\"update\":2,\"id\":7,\"fields\":[\"a" + nul + "b\"]}"), fault);
    EXPECT_EQ(faultOf("{\"delete\":2,\"id\":7}" + nul), fault);
    EXPECT_EQ(faultOf(nul + "{\"delete\":2,\"id\":7}"), fault);
    EXPECT_EQ(faultOf("{\"delete\":2," + nul + "\"id\":7}"), fault);
}

TEST_F(FeedReaderTest, ATextThatIsNotUtf8IsAFault) {
    for (const char* bytes :
         {"\x80", "\xff", "\xc3", "\xe2\x82", "\xc0\xaf", "\xed\xa0\x80", "\xf4\x90\x80\x80", "S\xf8r"}) {
        EXPECT_EQ(faultOf("{\"update\":2,\"id\":7,\"fields\":[\"" + std::string(bytes) + "\"]}"),
                  "not JSON: the text is not UTF-8")
            << ::testing::PrintToString(std::string(bytes));
    }
}

TEST_F(FeedReaderTest, NestingHasALimitAndCannotCrash) {
    const auto nested = [](std::size_t depth) {
        return R"({"delete":2,"id":7,"x":)" + std::string(depth, '[') + std::string(depth, ']') + "}";
    };
    EXPECT_EQ(transcriptOf(nested(500)), "FEED:1 delete 2 7\n");
    EXPECT_EQ(faultOf(nested(5000)), "not JSON: nested too deep");
    EXPECT_EQ(faultOf(nested(500000)), "not JSON: nested too deep");
    EXPECT_EQ(faultOf(std::string(kMebibyte, '[')),
              "not JSON: the line is cut short, or a bracket, comma or colon stands wrong");
}

TEST_F(FeedReaderTest, RandomDamageSpoilsItsOwnLineAtMost) {
    const std::string line = R"({"at":21600.5,"update":2,"id":7,"fields":["N\u00f8rd",null,"x"],"k":[1,{"a":true}]})";
    constexpr int kLines = 20000;
    std::mt19937 random(42);
    std::string feed;
    for (int i = 0; i < kLines; ++i) {
        std::string damaged = line;
        for (auto hits = 1 + random() % 3; hits > 0; --hits) {
            const char byte = static_cast<char>(random() % 256);
            damaged[random() % damaged.size()] = byte == '\n' ? ' ' : byte;
        }
        feed += damaged + "\n" + good;
    }

    FeedReader reader(folder.write("feed", feed));
    FeedRecord record;
    for (int i = 0; i < kLines; ++i) {
        const FeedReader::Next damaged = reader.next(record);
        ASSERT_TRUE(damaged == FeedReader::Next::RECORD || damaged == FeedReader::Next::MALFORMED);
        ASSERT_EQ(reader.place(), folder.path("feed") + ":" + std::to_string(2 * i + 1));
        ASSERT_EQ(reader.next(record), FeedReader::Next::RECORD) << reader.fault();
        ASSERT_EQ(describe(record), "delete 2 7");
    }
    EXPECT_EQ(reader.next(record), FeedReader::Next::END);
}

// --- Long lines ---------------------------------------------------------------------------------

TEST_F(FeedReaderTest, ALineOfOneMebibyteIsRead) {
    EXPECT_EQ(transcriptOf(good + lineOf(kMebibyte) + "\n" + good),
              "FEED:1 delete 2 7\nFEED:2 delete 2 7\nFEED:3 delete 2 7\n");
    EXPECT_EQ(transcriptOf(lineOf(kMebibyte)), "FEED:1 delete 2 7\n") << "without an end";
}

TEST_F(FeedReaderTest, ALineOfOneByteMoreIsAFault) {
    EXPECT_EQ(faultOf(lineOf(kMebibyte + 1)), "the line is longer than 1 MiB");
    EXPECT_EQ(transcriptOf(lineOf(kMebibyte + 1)), "malformed FEED:1: the line is longer than 1 MiB\n");
}

TEST_F(FeedReaderTest, LinesOfAnyLengthArePassedOverWhole) {
    for (const std::size_t length :
         {kMebibyte + 65535, kMebibyte + 65536, kMebibyte + 65537, 2 * kMebibyte, 5 * kMebibyte + 3}) {
        EXPECT_EQ(faultOf(lineOf(length)), "the line is longer than 1 MiB") << length;
        EXPECT_EQ(transcriptOf(good + lineOf(length)),
                  "FEED:1 delete 2 7\nmalformed FEED:2: the line is longer than 1 MiB\n")
            << length;
    }
    EXPECT_EQ(transcriptOf(lineOf(2 * kMebibyte) + "\n" + lineOf(3 * kMebibyte) + "\n" + good),
              "malformed FEED:1: the line is longer than 1 MiB\nmalformed FEED:2: the line is longer than 1 MiB\n"
              "FEED:3 delete 2 7\n");
}

TEST_F(FeedReaderTest, ALongLineWithoutSenseIsPassedOverToo) {
    EXPECT_EQ(faultOf(std::string(3 * kMebibyte, '\0')), "the line is longer than 1 MiB");
    EXPECT_EQ(faultOf(std::string(kMebibyte + 1, ' ')), "the line is longer than 1 MiB");
}

TEST_F(FeedReaderTest, ALineOfBlanksUpToTheLimitIsBlank) {
    EXPECT_EQ(transcriptOf(std::string(kMebibyte, ' ') + "\n" + good), "FEED:2 delete 2 7\n");
}

TEST_F(FeedReaderTest, ARecordOfManyFieldsIsReadWhole) {
    std::string line = R"({"update":2,"id":7,"fields":[null)";
    std::string expected = "FEED:1 update 2 7 null";
    for (int i = 0; i < 100000; ++i) {
        line += ",\"a\"";
        expected += " \"a\"";
    }
    EXPECT_EQ(transcriptOf(line + "]}"), expected + "\n");
}

// --- Compressed files ---------------------------------------------------------------------------

TEST_F(FeedReaderTest, ReadsACompressedFileWhateverItsName) {
    EXPECT_EQ(transcriptOf(gzipped(good + "\n" + good)), "FEED:1 delete 2 7\nFEED:3 delete 2 7\n");
    EXPECT_EQ(transcriptOf(gzipped("")), "");
}

TEST_F(FeedReaderTest, ReadsSeveralMembersAsOneFile) {
    EXPECT_EQ(transcriptOf(gzipped(good) + gzipped(good)), "FEED:1 delete 2 7\nFEED:2 delete 2 7\n");
    EXPECT_EQ(transcriptOf(gzipped(R"({"delete":2,)") + gzipped("") + gzipped("\"id\":7}\n" + good)),
              "FEED:1 delete 2 7\nFEED:2 delete 2 7\n")
        << "a line across the members";
}

TEST_F(FeedReaderTest, FaultsInACompressedFileNameItsLines) {
    EXPECT_EQ(transcriptOf(gzipped(good + "x\n" + lineOf(kMebibyte + 1) + "\n" + good)),
              "FEED:1 delete 2 7\n"
              "malformed FEED:2: not JSON: the line is cut short, or a bracket, comma or colon stands wrong\n"
              "malformed FEED:3: the line is longer than 1 MiB\n"
              "FEED:4 delete 2 7\n");
}

TEST_F(FeedReaderTest, ACompressedFileThatIsCutShortIsUnreadableFromThereOn) {
    std::string feed;
    std::vector<std::string> upTo{""};  // transcripts of the first lines
    for (int line = 1; line <= 20; ++line) {
        const std::string number = std::to_string(line);
        feed += "{\"update\":2,\"id\":" + number + ",\"fields\":[\"" + std::to_string(line * 7919 % 1000) + "\"]}\n";
        upTo.push_back(upTo.back() + "FEED:" + number + " update 2 " + number + " \"" +
                       std::to_string(line * 7919 % 1000) + "\"\n");
    }
    const std::string packed = gzipped(feed);
    std::size_t most = 0;
    for (std::size_t size = 2; size < packed.size(); ++size) {
        const std::string transcript = transcriptOf(packed.substr(0, size));
        std::size_t lines = 0;
        while (lines < 20 && transcript.rfind(upTo[lines + 1], 0) == 0) ++lines;
        EXPECT_EQ(transcript, upTo[lines] + "unreadable FEED:" + std::to_string(lines + 1) +
                                  ": the compressed file ends too soon: it is cut short\n")
            << size;
        EXPECT_GE(lines, most) << size;
        most = lines;
    }
    EXPECT_EQ(most, 20U) << "with nothing but the checksum cut off, every line is there";
}

TEST_F(FeedReaderTest, ALongCompressedFileThatIsCutShortBringsAllThatItHolds) {
    std::mt19937 random(3);
    std::string feed;
    for (int line = 1; line <= 40000; ++line) {
        feed += "{\"delete\":2,\"id\":" + std::to_string(random() % 1000000) + "}\n";
    }
    const std::string packed = gzipped(feed);
    const std::string transcript = transcriptOf(packed.substr(0, packed.size() / 2));
    const auto lines = std::count(transcript.begin(), transcript.end(), '\n') - 1;
    EXPECT_GT(lines, 15000);
    EXPECT_EQ(
        transcript.substr(transcript.rfind("unreadable")),
        "unreadable FEED:" + std::to_string(lines + 1) + ": the compressed file ends too soon: it is cut short\n");
}

TEST_F(FeedReaderTest, ASecondMemberThatIsCutShortIsUnreadable) {
    const std::string whole = "FEED:1 delete 2 7\n";
    const std::string fault = "FEED:2: the compressed file ends too soon: it is cut short\n";
    const std::string second = gzipped(good);
    for (std::size_t size = 1; size < 15; ++size) {
        EXPECT_EQ(transcriptOf(gzipped(good) + second.substr(0, size)), whole + "unreadable " + fault) << size;
    }
}

TEST_F(FeedReaderTest, WhatFollowsACompressedFileAndIsNoneIsNotSkippedSilently) {
    for (const std::string& more : {good, std::string("x"), std::string("\x1f\x8c\x08", 3)}) {
        const std::string transcript = transcriptOf(gzipped(good) + more);
        EXPECT_EQ(transcript.rfind("FEED:1 delete 2 7\nunreadable FEED:2: ", 0), 0U) << transcript;
    }
}

TEST_F(FeedReaderTest, ZerosBehindACompressedFileArePassedOver) {
    const std::string zeros(70000, '\0');
    EXPECT_EQ(transcriptOf(gzipped(good) + zeros), "FEED:1 delete 2 7\n");
    EXPECT_EQ(transcriptOf(gzipped(good) + zeros + gzipped(good)), "FEED:1 delete 2 7\nFEED:2 delete 2 7\n");
    const std::string transcript = transcriptOf(gzipped(good) + zeros + "x");
    EXPECT_EQ(transcript.rfind("FEED:1 delete 2 7\nunreadable FEED:2: ", 0), 0U) << transcript;
}

TEST_F(FeedReaderTest, AChecksumThatIsWrongIsAFaultBehindTheLastLine) {
    for (const std::size_t fromEnd : {std::size_t{8}, std::size_t{1}}) {  // the checksum, the length
        std::string packed = gzipped(good + good);
        packed[packed.size() - fromEnd] = static_cast<char>(packed[packed.size() - fromEnd] ^ 1);
        EXPECT_EQ(transcriptOf(packed), std::string("FEED:1 delete 2 7\nFEED:2 delete 2 7\n"
                                                    "unreadable FEED:3: the compressed file is damaged: ") +
                                            (fromEnd == 8 ? "incorrect data check\n" : "incorrect length check\n"));
    }
}

TEST_F(FeedReaderTest, ADamagedCompressedFileIsUnreadableAndNeverCrashes) {
    std::string feed;
    for (int line = 1; line <= 200; ++line)
        feed += "{\"delete\":2,\"id\":" + std::to_string(line * 7919 % 10007) + "}\n";
    const std::string packed = gzipped(feed);
    for (std::size_t position = 10; position < packed.size(); position += 7) {  // from behind the header
        std::string damaged = packed;
        damaged[position] = static_cast<char>(~damaged[position]);
        const std::string transcript = transcriptOf(damaged);
        EXPECT_NE(transcript.find("unreadable FEED:"), std::string::npos) << position;
    }
}

// --- Files --------------------------------------------------------------------------------------

std::string faultOfOpening(const std::string& path) {
    try {
        const FeedReader reader(path);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "opened";
}

TEST_F(FeedReaderTest, AMissingFileIsAFaultWithItsName) {
    const std::string path = folder.path("none");
    EXPECT_EQ(faultOfOpening(path), path + ": cannot open: No such file or directory");
    EXPECT_EQ(faultOfOpening(path + "/feed"), path + "/feed: cannot open: No such file or directory");
}

TEST_F(FeedReaderTest, AFolderIsNoFeed) {
    EXPECT_EQ(faultOfOpening(folder.path()), folder.path() + ": is a directory, not a feed");
}

TEST_F(FeedReaderTest, AFileThatCannotBeReadIsAFault) {
    // A process's own memory opens as a file, and address 0 holds nothing.
    const std::string path = "/proc/self/mem";
    if (access(path.c_str(), R_OK) != 0) GTEST_SKIP() << "no such file on this system";
    EXPECT_EQ(transcriptOfFile(path), "unreadable FEED:1: cannot read: Input/output error\n");
}

TEST_F(FeedReaderTest, KnowsHowMuchOfTheFileItHasTaken) {
    const std::string feed = good + good;
    for (const std::string& contents : {feed, gzipped(feed)}) {
        FeedReader reader(folder.write("feed", contents));
        FeedRecord record;
        EXPECT_EQ(reader.consumed(), 0U);
        while (reader.next(record) == FeedReader::Next::RECORD) continue;
        EXPECT_EQ(reader.consumed(), contents.size());
    }
}

/// Puts a descriptor in the place of standard input.
class Input {
public:
    explicit Input(int descriptor) : _before(dup(STDIN_FILENO)) { dup2(descriptor, STDIN_FILENO); }
    ~Input() {
        if (_before < 0) {
            close(STDIN_FILENO);
        } else {
            dup2(_before, STDIN_FILENO);
            close(_before);
        }
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

private:
    int _before;
};

TEST_F(FeedReaderTest, ADashIsStandardInputPlainAndCompressed) {
    for (const std::string& contents : {good + "x\n", gzipped(good + "x\n")}) {
        const int descriptor = open(folder.write("feed", contents).c_str(), O_RDONLY);
        ASSERT_GE(descriptor, 0);
        std::string transcript;
        {
            const Input input(descriptor);
            transcript = transcriptOfFile("-");
        }
        close(descriptor);
        EXPECT_EQ(transcript,
                  "standard input:1 delete 2 7\nmalformed standard input:2: not JSON: the line is cut short, or a "
                  "bracket, comma or colon stands wrong\n");
    }
}

TEST_F(FeedReaderTest, ALineOnAPipeIsReadWithoutWaitingForMore) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    ASSERT_EQ(write(ends[1], good.data(), good.size()), static_cast<ssize_t>(good.size()));

    FeedReader reader("/dev/fd/" + std::to_string(ends[0]));
    FeedRecord record;
    std::future<FeedReader::Next> next = std::async(std::launch::async, [&] { return reader.next(record); });
    // Where the reader wants more than the line, closing the pipe lets it go and the test fail.
    const bool inTime = next.wait_for(std::chrono::seconds(5)) == std::future_status::ready;
    close(ends[1]);
    EXPECT_EQ(next.get(), FeedReader::Next::RECORD);
    EXPECT_TRUE(inTime) << "a live feed would be held back";
    close(ends[0]);
}

}  // namespace

}  // namespace pis::feed
