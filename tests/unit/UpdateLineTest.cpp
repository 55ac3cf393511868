// Line elements (type 2): name and abbreviation, with defaults that the handler itself sets.
#include "StoreTest.h"

namespace {

class UpdateLine : public StoreTest {
protected:
    UpdateLine() { store.registerObserver(&observer); }

    static std::string changed(const std::string& line) {
        return "enter\ndebug 2 updateLine: lineId >7< updated\nobserver onLineUpdated " + line +
               "\nevent 26 7\nleave\n";
    }

    RecordingObserver observer;
};

TEST_F(UpdateLine, AppendsANewLine) {
    update(2, 5, "South", "S");
    EXPECT_EQ(transcriptOfUpdate(2, 7, "North", "N"),
              "enter\n"
              "debug 2 updateLine: lineId >7< added to list. Total Lines >2<\n"
              "observer onLineUpdated line 7 \"North\" \"N\"\n"
              "event 26 7\n"
              "leave\n");
    EXPECT_EQ(describe(store), "line 5 \"South\" \"S\"\nline 7 \"North\" \"N\"\n");
}

TEST_F(UpdateLine, AnEmptyListGivesUnknownLineUnk) {
    EXPECT_EQ(transcriptOfUpdate(2, 7),
              "enter\n"
              "debug 2 updateLine: lineId >7< added to list. Total Lines >1<\n"
              "observer onLineUpdated line 7 \"Unknown Line\" \"UNK\"\n"
              "event 26 7\n"
              "leave\n");
}

TEST_F(UpdateLine, EachFieldAloneIsAChange) {
    update(2, 7, "North", "N");
    EXPECT_EQ(transcriptOfUpdate(2, 7, "South", "N"), changed("line 7 \"South\" \"N\""));
    EXPECT_EQ(transcriptOfUpdate(2, 7, "South", "S"), changed("line 7 \"South\" \"S\""));
    EXPECT_EQ(describe(store), "line 7 \"South\" \"S\"\n");
}

TEST_F(UpdateLine, TextsAreComparedExactly) {
    update(2, 7, "North", "N");
    EXPECT_EQ(transcriptOfUpdate(2, 7, "north", "N"), changed("line 7 \"north\" \"N\""));
    EXPECT_EQ(transcriptOfUpdate(2, 7, "north ", "N"), changed("line 7 \"north \" \"N\""));
    EXPECT_EQ(transcriptOfUpdate(2, 7, "north ", "n"), changed("line 7 \"north \" \"n\""));
}

TEST_F(UpdateLine, AMissingNameResetsTheStoredNameToTheDefault) {
    update(2, 7, "North", "N");
    EXPECT_EQ(transcriptOfUpdate(2, 7, "(null)", "NL"), changed("line 7 \"Unknown Line\" \"NL\""));
    EXPECT_EQ(describe(store), "line 7 \"Unknown Line\" \"NL\"\n");
}

TEST_F(UpdateLine, AMissingAbbreviationResetsTheStoredOneToTheDefault) {
    update(2, 7, "North", "N");
    EXPECT_EQ(transcriptOfUpdate(2, 7, "North", ""), changed("line 7 \"North\" \"UNK\""));
    update(2, 7, "North", "N");
    EXPECT_EQ(transcriptOfUpdate(2, 7, "North"), changed("line 7 \"North\" \"UNK\""));
}

TEST_F(UpdateLine, ARepeatedRecordOnlyPostsEvent26) {
    update(2, 7, "North", "N");
    EXPECT_EQ(transcriptOfUpdate(2, 7, "North", "N"), "enter\nevent 26 7\nleave\n");
}

TEST_F(UpdateLine, RepeatedDefaultsOnlyPostEvent26) {
    update(2, 7);
    EXPECT_EQ(transcriptOfUpdate(2, 7, null, null), "enter\nevent 26 7\nleave\n");
    EXPECT_EQ(transcriptOfUpdate(2, 7, "Unknown Line", "UNK"), "enter\nevent 26 7\nleave\n");
}

TEST_F(UpdateLine, IgnoresIdZeroAndAMissingListWithoutATrace) {
    EXPECT_EQ(transcriptOfUpdate(2, 0, "North", "N"), "");
    EXPECT_EQ(host.during([&] { store.updatePassengerInformation(1, 2, 7, nullptr); }), "");
    EXPECT_EQ(describe(store), "");
}

TEST_F(UpdateLine, TheEventPointsAtTheLineInTheTable) {
    update(2, 5, "South", "S");
    update(2, 7, "North", "N");
    EXPECT_EQ(host.events().back().record, &linesOf(store)[1]);
    EXPECT_EQ(host.events().front().id, 5);
}

}  // namespace
