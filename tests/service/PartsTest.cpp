// The parts of the service that need no socket: targets, revisions, bodies that are kept, changes of pictures.
#include <gtest/gtest.h>

#include "PictureTest.h"
#include "service/Api.h"
#include "service/BodyCache.h"
#include "service/ChangeStream.h"
#include "service/Problem.h"
#include "service/RequestTarget.h"
#include "service/RevisionToken.h"

namespace pis::service {

namespace {

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
    BodyCache cache;
    int made = 0;
    const auto make = [&made] { return "body " + std::to_string(++made); };
    EXPECT_EQ("body 1", *cache.get("/a", 1, "tag", make)->plain);
    EXPECT_EQ("body 1", *cache.get("/a", 1, "tag", make)->plain);
    EXPECT_EQ("body 2", *cache.get("/b", 1, "tag", make)->plain);
    EXPECT_EQ("body 3", *cache.get("/a", 2, "tag", make)->plain);
}

TEST(BodyCache, TagsByTheContentsWhereNoneIsGiven) {
    BodyCache cache;
    const auto tagOf = [&cache](std::uint64_t validity, const std::string& body) {
        return cache.get("/a", validity, "", [&] { return body; })->tag;
    };
    EXPECT_EQ(tagOf(1, "same"), tagOf(2, "same"));
    EXPECT_NE(tagOf(3, "same"), tagOf(4, "other"));
    EXPECT_EQ("cbf29ce484222325", contentHash(""));
}

TEST(BodyCache, StartsOverWhenItIsFull) {
    BodyCache cache(10000);
    int made = 0;
    const auto make = [&made] { return std::string(static_cast<std::size_t>(++made) * 0 + 3000, 'x'); };
    for (int i = 0; i < 10; ++i) cache.get("/" + std::to_string(i), 1, "tag", make);
    cache.get("/9", 1, "tag", make);
    EXPECT_EQ(10, made);
    cache.get("/0", 1, "tag", make);
    EXPECT_EQ(11, made);
}

TEST(BodyCache, CountsWhatIsAskedForAsWell) {
    BodyCache cache(10000);
    int made = 0;
    const auto make = [&made] { return std::to_string(++made); };
    for (int i = 0; i < 10; ++i) cache.get(std::string(3000, '0') + std::to_string(i), 1, "tag", make);
    cache.get(std::string(3000, '0') + "0", 1, "tag", make);
    EXPECT_EQ(11, made);
}

// --- Changes ---

class ChangeStreamTest : public picture::PictureTest {
protected:
    std::string events(const ChangeFilter& filter, std::optional<picture::Revision> knows) {
        return *stream.piece(published.current(), filter, knows).events;
    }
    static bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

    RevisionTokens tokens{base::WallTime(std::chrono::seconds(1700000000))};
    int ticks = 0;
    ChangeStream::Clock::time_point now{};
    ChangeStream stream{tokens, [this](const picture::Picture&) { return "tick " + std::to_string(++ticks); },
                        [this] { return now; }};
};

TEST_F(ChangeStreamTest, AResetForWhoKnowsNothing) {
    line(1, "North");
    publish();
    const std::string text = events({}, std::nullopt);
    EXPECT_EQ(0U, text.find("event: reset\nid: " + tokens.of(1) + "\ndata: {"));
    EXPECT_TRUE(holds(text, "\n\nevent: revision\nid: " + tokens.of(1) + "\ndata: tick 1\n\n"));
}

TEST_F(ChangeStreamTest, ChangesForWhoKnowsAnEarlierRevision) {
    line(1, "North");
    publish();
    line(2, "South");
    publish();
    line(2, "South East");
    deleteLine(1);
    publish();
    const std::string text = events({}, 1);
    EXPECT_FALSE(holds(text, "reset"));
    EXPECT_TRUE(holds(text, "event: update\ndata: " + json(records::Table::LINES, 2) + "\n\n"));
    EXPECT_TRUE(holds(text, "event: remove\ndata: {\"table\":\"lines\",\"id\":1}\n\n"));
    EXPECT_EQ(1U, stream.piece(published.current(), {}, 1).coalesced);
}

TEST_F(ChangeStreamTest, AResetForWhoKnowsTooLittle) {
    picture::PictureBuilder small(
        published, [] { return base::WallTime(); }, 2);
    for (int i = 1; i <= 4; ++i) {
        small.take({SignallingCodes::LINE_UPDATED, i, Line(i)});
        small.publish();
    }
    EXPECT_EQ(0U, events({}, 1).find("event: reset\n"));
    EXPECT_EQ(0U, events({}, 2).find("event: update\n"));
}

TEST_F(ChangeStreamTest, ReadersThatStandAlikeShareAPieceForAMoment) {
    line(1, "North");
    publish();
    const auto first = stream.piece(published.current(), {}, std::nullopt).events;
    EXPECT_EQ(first, stream.piece(published.current(), {}, std::nullopt).events);
    now += ChangeStream::kFresh;
    const auto later = stream.piece(published.current(), {}, std::nullopt).events;
    EXPECT_NE(first, later) << "clock and silence are told as they are";
    EXPECT_TRUE(holds(*later, "tick 2"));
    line(2, "South");
    publish();
    EXPECT_NE(later, stream.piece(published.current(), {}, std::nullopt).events);
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
    Api api{{published, clock, report, tokens, [] { return std::string("metrics"); }, [] { return feed::IntakeCounts(); }, [] { return base::WallTime(); }},
            {{"localhost"}, false}};
};

TEST_F(ApiTest, ARevisionThatIsTooLongAgoIsGone) {
    picture::PictureBuilder small(
        published, [] { return base::WallTime(); }, 2);
    small.feed().ready = true;
    for (int i = 1; i <= 4; ++i) {
        small.take({SignallingCodes::LINE_UPDATED, i, Line(i)});
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
                 [] { return feed::IntakeCounts(); }, [] { return base::WallTime(); }},
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
