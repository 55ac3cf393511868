// The parts of the service that need no socket: targets, revisions, bodies that are kept, changes of pictures.
#include <gtest/gtest.h>

#include <map>

#include "JsonValues.h"
#include "PictureTest.h"
#include "base/WallTime.h"
#include "service/Api.h"
#include "service/BodyCache.h"
#include "service/Problem.h"
#include "service/RequestTarget.h"
#include "service/RevisionToken.h"

namespace pis::service {

namespace {

using namespace std::chrono_literals;

/// The problem that some call finds; status 0 for none.
template <typename Call>
Problem problemOf(Call call) {
    try {
        call();
    } catch (const Problem& problem) {
        return problem;
    }
    return Problem{0, "", ""};
}

// --- Targets ---

TEST(RequestTarget, IsTakenApart) {
    const RequestTarget target("/api/v1/line%73/5?since=a%2Db&station=+1");
    EXPECT_EQ("/api/v1/lines/5", target.path());
    EXPECT_EQ((std::vector<std::string>{"api", "v1", "lines", "5"}), target.segments());
    EXPECT_EQ("a-b", target.parameter("since").value_or("none"));
    EXPECT_FALSE(target.parameter("limit"));
}

TEST(RequestTarget, ASlashThatIsEscapedPartsNothing) {
    EXPECT_EQ((std::vector<std::string>{"lines/5"}), RequestTarget("/lines%2F5").segments());
}

TEST(RequestTarget, ParametersMustBeKnownAndStandOnce) {
    const RequestTarget target("/?a=1&b=2&a=3");
    EXPECT_EQ("b", problemOf([&] { target.allow({"a"}); }).parameter);
    EXPECT_EQ("a", problemOf([&] { target.allow({"a", "b"}); }).parameter);
    EXPECT_EQ(0, problemOf([&] { RequestTarget("/?a=1&b=2").allow({"a", "b"}); }).status);
}

TEST(RequestTarget, NumbersAreWholeAndInRange) {
    const auto number = [](const std::string& text) { return *RequestTarget("/?n=" + text).number("n", -5, 5); };
    EXPECT_EQ(-5, number("-5"));
    EXPECT_EQ(5, number("005"));
    for (const char* text : {"6", "-6", "", "1.5", "5x", "99999999999999999999", "%00"}) {
        EXPECT_EQ(400, problemOf([&] { number(text); }).status) << text;
    }
}

// --- Revisions ---

TEST(RevisionTokens, ReadWhatTheyGive) {
    const RevisionTokens tokens(base::WallTime(std::chrono::seconds(1700000000)));
    const auto read = tokens.read(tokens.of(42));
    EXPECT_TRUE(read.wellFormed);
    EXPECT_EQ(42U, read.revision.value_or(0));
    EXPECT_EQ(18446744073709551615U, tokens.read(tokens.of(18446744073709551615U)).revision.value_or(0));
}

TEST(RevisionTokens, KnowThoseOfAnotherRun) {
    const RevisionTokens earlier(base::WallTime(std::chrono::microseconds(1700000000000000)));
    const RevisionTokens later(base::WallTime(std::chrono::microseconds(1700000000000001)));
    const auto read = later.read(earlier.of(42));
    EXPECT_TRUE(read.wellFormed);
    EXPECT_FALSE(read.revision);
}

TEST(RevisionTokens, OthersAreNone) {
    const RevisionTokens tokens(base::WallTime(std::chrono::seconds(1700000000)));
    for (const char* text :
         {"", "-", "a", "a-", "-1", "A-1", "a-1x", "a--1", "a-+1", "a-18446744073709551616", "\xc3\xa4-1"}) {
        EXPECT_FALSE(tokens.read(text).wellFormed) << text;
    }
}

// --- Bodies ---

TEST(BodyCache, MakesABodyOnceWhileNothingChanges) {
    TextAccount account(100000);
    BodyCache cache(account);
    int made = 0;
    const auto make = [&made] { return "body " + std::to_string(++made); };
    EXPECT_EQ("body 1", *cache.get("/a", 1, "tag", make)->plain);
    EXPECT_EQ("body 1", *cache.get("/a", 1, "tag", make)->plain);
    EXPECT_EQ("body 2", *cache.get("/b", 1, "tag", make)->plain);
    EXPECT_EQ("body 3", *cache.get("/a", 2, "tag", make)->plain);
}

TEST(BodyCache, TagsByTheContentsWhereNoneIsGiven) {
    TextAccount account(100000);
    BodyCache cache(account);
    const auto tagOf = [&cache](std::uint64_t validity, const std::string& body) {
        return cache.get("/a", validity, "", [&] { return body; })->tag;
    };
    EXPECT_EQ(tagOf(1, "same"), tagOf(2, "same"));
    EXPECT_NE(tagOf(3, "same"), tagOf(4, "other"));
    EXPECT_EQ("cbf29ce484222325", contentHash(""));
}

/// Bytes that gzip makes no fewer of.
std::string noise(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint32_t state = 1;
    for (char& byte : bytes) byte = static_cast<char>((state = state * 1664525U + 1013904223U) >> 24U);
    return bytes;
}

class FullBodyCache : public ::testing::Test {
protected:
    std::shared_ptr<AnswerBody> get(const std::string& request, std::uint64_t validity = 1, std::size_t size = 3000) {
        return cache.get(request, validity, "tag", [&] {
            ++made;
            return noise(size);
        });
    }

    /// Whether asking again takes no making.
    bool keeps(const std::string& request) {
        const int before = made;
        get(request);
        return made == before;
    }

    TextAccount account{100000};
    BodyCache cache{account, 10000};
    int made = 0;
};

TEST_F(FullBodyCache, LosesWhatWasAskedForLongestAgo) {
    for (const char* request : {"/a", "/b", "/c", "/a", "/d"}) get(request);
    EXPECT_LE(cache.bytes(), 10000U);
    EXPECT_TRUE(keeps("/a"));
    EXPECT_TRUE(keeps("/c"));
    EXPECT_TRUE(keeps("/d"));
    EXPECT_FALSE(keeps("/b"));
}

TEST_F(FullBodyCache, WhatIsReplacedGivesItsRoomBack) {
    get("/a");
    const auto held = get("/b", 1);
    cache.compressed(*held);
    const std::size_t bytes = cache.bytes();
    for (std::uint64_t validity = 2; validity < 100; ++validity) {
        const auto replaced = get("/b", validity);
        EXPECT_NE(held, replaced);
        cache.compressed(*replaced);
        cache.compressed(*replaced);
        EXPECT_EQ(bytes, cache.bytes());
    }
    EXPECT_TRUE(keeps("/a"));
    EXPECT_TRUE(cache.compressed(*held)) << "a reader may still have it";
    EXPECT_EQ(bytes, cache.bytes());
}

TEST_F(FullBodyCache, PassingAnswersTakeNoRoom) {
    get("/a");
    const std::size_t bytes = cache.bytes();
    for (int i = 0; i < 200; ++i) {
        AnswerBody passing{std::make_shared<const std::string>(noise(3000)), "tag"};
        EXPECT_GT(cache.compressed(passing)->size(), 2900U);
    }
    EXPECT_EQ(bytes, cache.bytes());
    EXPECT_TRUE(keeps("/a"));
}

TEST_F(FullBodyCache, CompressedBodiesTakeTheirRoom) {
    get("/a");
    get("/b");
    const auto third = get("/c");
    const std::size_t bytes = cache.bytes();
    EXPECT_EQ(cache.compressed(*third), cache.compressed(*third)) << "made once";
    EXPECT_LE(cache.bytes(), 10000U);
    EXPECT_LE(bytes, cache.bytes() + 300U) << "the room of one body went to the compressed one";
    EXPECT_TRUE(keeps("/c"));
    EXPECT_FALSE(keeps("/a"));
}

TEST_F(FullBodyCache, RequestsTakeRoomAsWell) {
    for (char digit = '0'; digit <= '9'; ++digit) get(std::string(3000, digit), 1, 1);
    EXPECT_LE(cache.bytes(), 10000U);
    EXPECT_TRUE(keeps(std::string(3000, '9')));
    EXPECT_FALSE(keeps(std::string(3000, '0')));
}

TEST_F(FullBodyCache, WhatIsTooLargeDrivesNobodyOut) {
    get("/a");
    EXPECT_EQ(20000U, get("/b", 1, 20000)->plain->size());
    const auto half = get("/c", 1, 6000);
    EXPECT_GT(cache.compressed(*half)->size(), 5900U) << "no room for both forms";
    EXPECT_TRUE(keeps("/a"));
    EXPECT_TRUE(keeps("/c"));
    EXPECT_FALSE(keeps("/b"));
}

TEST(BodyCache, AnEmptyRoomIsNoHindrance) {
    TextAccount account(100000);
    BodyCache cache(account, 0);
    EXPECT_EQ("body", *cache.get("/a", 1, "tag", [] { return std::string("body"); })->plain);
    EXPECT_EQ(0U, cache.bytes());
}

// --- Statuses ---

TEST(Problem, EveryStatusHasItsPhrase) {
    const std::map<int, std::string> phrases{{200, "OK"},
                                             {304, "Not Modified"},
                                             {400, "Bad Request"},
                                             {403, "Forbidden"},
                                             {404, "Not Found"},
                                             {405, "Method Not Allowed"},
                                             {410, "Gone"},
                                             {413, "Content Too Large"},
                                             {421, "Misdirected Request"},
                                             {429, "Too Many Requests"},
                                             {431, "Request Header Fields Too Large"},
                                             {500, "Internal Server Error"},
                                             {503, "Service Unavailable"}};
    for (const auto& [status, phrase] : phrases) {
        EXPECT_EQ(phrase, reasonOf(status));
        EXPECT_NE(std::string::npos, answerOf({status, "", ""}).body->find("\"title\":\"" + phrase + "\"")) << status;
    }
}

// --- How the feed is ---

TEST(FeedReport, SilenceIsMeasuredByTheClockThatNobodySets) {
    const picture::ServiceClock clock{picture::ClockOptions{}};
    const RevisionTokens tokens{base::WallTime(1700000000s)};
    auto steady = std::chrono::steady_clock::now();
    const FeedReport report(tokens, clock, 90, [&steady] { return steady; });
    picture::Picture picture;
    picture.feed.ready = true;
    const base::WallTime noon(1700000000s);
    const auto said = [&](base::WallTime now, const std::string& pointer) {
        return valueAt(report.tick(picture, now), pointer);
    };
    EXPECT_EQ("null", said(noon, "/silent_seconds"));
    EXPECT_EQ("false", said(noon, "/stale"));
    picture.feed.lastRecord = noon;
    picture.feed.lastRecordSteady = steady;
    steady += 100s;
    EXPECT_EQ("100.0", said(noon - 3600s, "/silent_seconds")) << "a clock that was set back hides no dead feed";
    EXPECT_EQ("true", said(noon - 3600s, "/stale"));
    EXPECT_EQ(base::isoTime(noon), said(noon - 3600s, "/last_record_at"));
    steady -= 50s;
    EXPECT_EQ("50.0", said(noon + 3600s, "/silent_seconds"));
    EXPECT_EQ("false", said(noon + 3600s, "/stale")) << "nor makes one that was set ahead a feed stale";
}

// --- Answers ---

class ApiTest : public picture::PictureTest {
protected:
    HttpAnswer get(const std::string& target) {
        HttpRequest request;
        request.method = "GET";
        request.target = target;
        request.host = "localhost";
        return api.answer(request);
    }

    picture::ServiceClock clock{picture::ClockOptions{}};
    RevisionTokens tokens{base::WallTime(std::chrono::seconds(1700000000))};
    FeedReport report{tokens, clock, 90};
    TextAccount account{100000};
    Api api{{published, clock, report, tokens, [] { return std::string("metrics"); },
             [] { return feed::IntakeCounts(); }, [] { return base::WallTime(); }, account},
            {{"localhost"}, false}};
};

TEST_F(ApiTest, ARevisionThatIsTooLongAgoIsGone) {
    picture::PictureBuilder small(
        published, [] { return base::WallTime(); }, 2);
    small.feed().ready = true;
    for (int i = 1; i <= 4; ++i) {
        small.accept({SignallingCodes::LINE_UPDATED, i, Line(i)});
        small.publish();
    }
    const HttpAnswer gone = get("/api/v1/lines?since=" + tokens.of(1));
    EXPECT_EQ(410, gone.status);
    EXPECT_NE(std::string::npos, gone.body->find("\"revision\":\"" + tokens.of(4) + "\""));
    EXPECT_NE(std::string::npos, gone.body->find("not kept any more"));
    EXPECT_EQ(200, get("/api/v1/lines?since=" + tokens.of(2)).status);
    EXPECT_EQ(200, get("/api/v1/stations?since=" + tokens.of(1)).status) << "that table has not changed since";
}

TEST_F(ApiTest, WhatFailsInsideIsAProblemToo) {
    Api failing({published, clock, report, tokens, []() -> std::string { throw std::runtime_error("broken"); },
                 [] { return feed::IntakeCounts(); }, [] { return base::WallTime(); }, account},
                {{"localhost"}, true});
    HttpRequest request;
    request.method = "GET";
    request.target = "/metrics";
    request.host = "localhost";
    const HttpAnswer answer = failing.answer(request);
    EXPECT_EQ(500, answer.status);
    EXPECT_EQ("/metrics", answer.route);
    EXPECT_EQ(std::string::npos, answer.body->find("broken")) << "that is for the log";
}

}  // namespace

}  // namespace pis::service
