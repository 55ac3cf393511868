// Changes as their readers are sent them, without a socket: the whole in pieces, steps from revision to revision, and
// who shares what.
#include "service/ChangeStream.h"

#include "PictureTest.h"
#include "Program.h"
#include "RandomRailway.h"
#include "WireReader.h"
#include "service/Chunks.h"

namespace pis::service {

namespace {

using records::Table;
using State = ChangeStream::Piece::State;

// --- One by one ---

class ChangeStreamTest : public picture::PictureTest {
protected:
    ChangeStream::Piece next(ChangeStream::Reader& reader) { return stream.next(reader, published.current()); }

    /// What a reader is sent until it knows the picture.
    std::string events(ChangeStream::Reader& reader) {
        std::string text;
        for (ChangeStream::Piece piece;; text += textIn(*piece.chunk)) {
            piece = next(reader);
            if (piece.state == State::LATEST) return text.append(textIn(*piece.chunk));
        }
    }
    std::string events(const ChangeFilter& filter, std::optional<picture::Revision> knows) {
        ChangeStream::Reader reader(filter, knows);
        return events(reader);
    }

    void lines(int count, int first = 1) {
        for (int id = first; id < first + count; ++id) line(id, std::string(100, 'x'));
    }

    static bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

    RevisionTokens tokens{base::WallTime(std::chrono::seconds(1700000000))};
    int ticks = 0;
    ChangeStream::Clock::time_point now{};
    TextAccount account{std::size_t{1} << 20};
    DocumentTexts documents{account, 2000};
    ChangeStream stream{tokens, account, documents,
                        [this](const picture::Picture&) { return "tick " + std::to_string(++ticks); },
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
    ChangeStream::Reader reader({}, 1);
    const ChangeStream::Piece piece = next(reader);
    const std::string text(textIn(*piece.chunk));
    EXPECT_EQ(State::LATEST, piece.state);
    EXPECT_EQ(1U, piece.coalesced);
    EXPECT_FALSE(holds(text, "reset"));
    EXPECT_TRUE(holds(text, "event: update\ndata: " + json(Table::LINES, 2) + "\n\n"));
    EXPECT_TRUE(holds(text, "event: remove\ndata: {\"table\":\"lines\",\"id\":1}\n\n"));
}

TEST_F(ChangeStreamTest, AResetForWhoKnowsTooLittleOrTooMuch) {
    for (int revision = 1; revision <= 10; ++revision) {
        line(1, std::to_string(revision));
        line(2, std::to_string(revision));
        publish();
    }
    EXPECT_EQ(6U, picture->log.reachesBackTo());
    EXPECT_EQ(0U, events({}, 5).find("event: reset\n"));
    EXPECT_EQ(0U, events({}, 6).find("event: update\n"));
    EXPECT_EQ(0U, events({}, 11).find("event: reset\n"));
}

TEST_F(ChangeStreamTest, ReadersThatStandAlikeShareAPieceForAMoment) {
    line(1, "North");
    publish();
    const auto latest = [this] {
        ChangeStream::Reader reader({}, 1);
        return next(reader).chunk;
    };
    const auto first = latest();
    EXPECT_EQ(first, latest());
    now += ChangeStream::kFresh;
    const auto later = latest();
    EXPECT_NE(first, later) << "clock and silence are told as they are";
    EXPECT_TRUE(holds(*later, "tick 2"));
    line(2, "South");
    publish();
    EXPECT_NE(later, latest());
}

TEST_F(ChangeStreamTest, TheWholeComesInPiecesThatAllShare) {
    lines(100);
    publish();
    ChangeStream::Reader one({}, std::nullopt);
    ChangeStream::Reader other({}, std::nullopt);
    std::string text;
    int pieces = 0;
    for (ChangeStream::Piece piece;; ++pieces) {
        piece = next(one);
        EXPECT_EQ(piece.chunk, next(other).chunk);
        EXPECT_LT(piece.chunk->size(), 2500U);
        text += textIn(*piece.chunk);
        if (piece.state == State::LATEST) break;
    }
    EXPECT_GT(pieces, 8);
    Rows rows;
    const std::size_t data = text.find("data: ") + 6;
    addRowsAt(rows, text.substr(data, text.find("\n\n") - data), "/tables/lines");
    EXPECT_EQ(100U, rows["lines"].size());
}

TEST_F(ChangeStreamTest, WhoComesWhileOthersAreGivenAPictureIsGivenTheSameOne) {
    lines(100);
    publish();
    ChangeStream::Reader first({}, std::nullopt);
    const SharedText beginning = next(first).chunk;
    line(1, "later");
    publish();
    ChangeStream::Reader second({}, std::nullopt);
    EXPECT_EQ(beginning, next(second).chunk);
    EXPECT_TRUE(holds(events(second), "event: update\ndata: " + json(Table::LINES, 1)));

    events(first);
    ChangeStream::Reader third({}, std::nullopt);
    EXPECT_NE(beginning, next(third).chunk) << "nobody is being given that one any more";
}

TEST_F(ChangeStreamTest, WhoTakesTheWholeTooSlowlyIsLeftBehind) {
    lines(100);
    publish();
    ChangeStream::Reader slow({}, std::nullopt);
    EXPECT_EQ(State::MORE, next(slow).state);
    for (int i = 0; i < 20; ++i) {
        line(1, std::to_string(i));
        publish();
    }
    const ChangeStream::Piece piece = next(slow);
    EXPECT_EQ(State::LEFT_BEHIND, piece.state);
    EXPECT_EQ(nullptr, piece.chunk);
}

TEST_F(ChangeStreamTest, WithoutRoomNoTextIsMade) {
    TextAccount small(3000);
    DocumentTexts pieces(small, 2000);
    ChangeStream narrow(tokens, small, pieces, [](const picture::Picture&) { return "tick"; });
    lines(100);
    publish();
    ChangeStream::Reader reader({}, std::nullopt);
    SharedText held = narrow.next(reader, picture).chunk;
    SharedText more = narrow.next(reader, picture).chunk;
    EXPECT_EQ(State::WAIT, narrow.next(reader, picture).state);
    ChangeStream::Reader other({}, 1);
    EXPECT_EQ(State::WAIT, narrow.next(other, picture).state);
    held.reset();
    EXPECT_EQ(State::MORE, narrow.next(reader, picture).state) << "where it had stopped";
    EXPECT_LT(small.bytes(), 6000U);
}

TEST_F(ChangeStreamTest, OneStationHearsWhatComesAndWhatGoes) {
    PlatformInfo platform(9);
    platform.setStationId(5);
    update(platform);
    update(Station(5));
    update(Trip(3));
    Service service(12, 3, 0);
    update(service);
    tripStop(31, {"3", "9"});
    serviceStop(88, {"12", "31"});
    publish();

    ChangeFilter filter;
    filter.stationId = 5;
    ChangeStream::Reader reader(filter, 1);
    tripStop(31, {"3", "10"});
    publish();
    std::string text = events(reader);
    for (const char* gone :
         {R"("trips","id":3)", R"("trip_stops","id":31)", R"("services","id":12)", R"("service_stops","id":88)"}) {
        EXPECT_TRUE(holds(text, std::string("event: remove\ndata: {\"table\":") + gone)) << gone;
    }
    EXPECT_FALSE(holds(text, "reset"));
    tripStop(31, {"3", "9"});
    publish();
    text = events(reader);
    EXPECT_TRUE(holds(text, json(Table::SERVICES, 12))) << "it has not changed itself, but it belongs here again";
    EXPECT_TRUE(holds(text, json(Table::SERVICE_STOPS, 88)));
    line(1, "North");
    publish();
    EXPECT_EQ(0U, events(reader).find("event: revision\n"));
}

TEST_F(ChangeStreamTest, WhereNothingIsNewForAReaderNothingIsSentButTheTime) {
    update(Station(5));
    publish();
    ChangeFilter filter;
    filter.stationId = 5;
    ChangeStream::Reader reader(filter, 1);
    line(1, "North");
    publish();
    const ChangeStream::Piece nothing = stream.next(reader, picture, false);
    EXPECT_EQ(nullptr, nothing.chunk);
    EXPECT_EQ(State::LATEST, nothing.state);
    EXPECT_EQ(0U, events(reader).find("event: revision\nid: " + tokens.of(2)));
    Station renamed(5);
    renamed.setName("Harbour");
    update(renamed);
    publish();
    EXPECT_NE(nullptr, stream.next(reader, picture, false).chunk);
}

// --- At random ---

class RandomStreams : public ::testing::TestWithParam<unsigned> {};

/// Each round changes some records; readers read on at times, break off at times, and come back with what they know.
TEST_P(RandomStreams, EveryReaderEndsWithWhatItsFilterTakes) {
    constexpr int kRounds = kUnderSanitizer ? 300 : 2500;
    constexpr std::size_t kLogged = 400;
    picture::RandomRailway railway(GetParam(), kLogged);
    const RevisionTokens tokens(base::WallTime(std::chrono::seconds(1700000000)));
    TextAccount account(std::size_t{1} << 24);
    DocumentTexts documents(account, 3000);
    ChangeStream stream(tokens, account, documents, [](const picture::Picture&) { return "{}"; });

    std::vector<WireReader> readers;
    for (int station = 0; station <= picture::RandomRailway::kStations; ++station) {
        ChangeFilter filter;
        filter.stationId = station;
        readers.emplace_back(filter);
        for (const Table table : {Table::LINES, Table::SERVICES, Table::PLATFORMS}) {
            filter.tables.reset(records::indexOf(table));
        }
        readers.emplace_back(filter);
    }
    int compared = 0;
    for (int round = 0; round < kRounds; ++round) {
        for (int changes = railway.upTo(4); changes > 0; --changes) railway.change();
        if (railway.once(200)) railway.deleteAllTripStops();
        const auto picture = railway.publish();
        for (WireReader& reader : readers) {
            if (railway.once(3)) continue;
            if (railway.once(10)) reader.reconnect(tokens);
            bool isLatest = false;
            for (int pieces = railway.upTo(6); pieces > 0 && !isLatest; --pieces)
                isLatest = reader.read(stream, picture);
            if (!isLatest || !railway.once(12)) continue;
            ++compared;
            ASSERT_EQ("", differenceOf(wanted(*picture, reader.filter), reader.rows()))
                << "round " << round << ", " << reader.filter.key();
        }
    }
    const auto last = railway.publish();
    for (WireReader& reader : readers) {
        while (!reader.read(stream, last)) continue;
        EXPECT_EQ("", differenceOf(wanted(*last, reader.filter), reader.rows())) << reader.filter.key();
        EXPECT_LE(reader.resets, 1 + reader.leftBehind) << "a reset only where the log does not reach";
    }
    EXPECT_GT(compared, kRounds / 2);
    EXPECT_LT(account.bytes(), account.most());
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomStreams, ::testing::Range(1U, 5U));

}  // namespace

}  // namespace pis::service
