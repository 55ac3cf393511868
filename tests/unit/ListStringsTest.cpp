// Splitting of list strings: separators, quotes, backslashes, blanks, the marker for empty tokens,
// and the append that the splitter is built on.
#include <gtest/gtest.h>

#include <deque>
#include <iostream>
#include <list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

// Containers of clients, with the operator where a client may have it: here, before the header is seen, ...
template <typename Item>
std::deque<Item>& operator<<(std::deque<Item>& items, const Item& item) {
    items.push_back(item);
    return items;
}

#include "stringUtils.h"

// ... behind the header, ...
std::list<std::string>& operator<<(std::list<std::string>& items, const std::string& item) {
    items.push_front(item);
    return items;
}

// ... next to a container of its own, for any string by reference, ...
namespace elsewhere {

struct Longest {
    std::string item;
    std::size_t seen = 0;
    void clear() { *this = Longest(); }
    std::size_t size() const { return seen; }
};

Longest& operator<<(Longest& longest, std::string& item) {
    ++longest.seen;
    if (item.size() > longest.item.size()) longest.item.swap(item);
    return longest;
}

}  // namespace elsewhere

namespace {

// ... or as a member.
class Joined {
public:
    void clear() { _text.clear(), _count = 0; }
    int size() const { return _count; }
    template <typename Item>
    Joined& operator<<(Item&& item) {
        _text += '<' + std::forward<Item>(item) + '>';
        ++_count;
        return *this;
    }
    const std::string& text() const { return _text; }

private:
    std::string _text;
    int _count = 0;
};

/// The tokens as "[11][12]". The container is full beforehand, and the result must be its new size.
std::string tokensOf(const char* text, char delimiter = '!', bool nullAsString = false) {
    std::vector<std::string> results = {"left", "over"};
    const int count = splitStr(text, delimiter, results, nullAsString);
    EXPECT_EQ(count, static_cast<int>(results.size())) << text;
    std::string shown;
    for (const std::string& token : results) shown += "[" + token + "]";
    return shown;
}

std::string markedTokensOf(const char* text) {
    return tokensOf(text, '!', true);
}

TEST(ListStrings, EmptyTextGivesNoToken) {
    EXPECT_EQ(tokensOf(""), "");
    EXPECT_EQ(markedTokensOf(""), "");
}

TEST(ListStrings, TextWithoutASeparatorIsOneToken) {
    EXPECT_EQ(tokensOf("11"), "[11]");
}

TEST(ListStrings, SplitsAtTheSeparator) {
    EXPECT_EQ(tokensOf("11!12"), "[11][12]");
    EXPECT_EQ(tokensOf("11!12!13"), "[11][12][13]");
}

TEST(ListStrings, SplitsAtWhicheverSeparatorIsGiven) {
    EXPECT_EQ(tokensOf("11!12,13", ','), "[11!12][13]");
    EXPECT_EQ(tokensOf("11 12", ' '), "[11][12]");
    EXPECT_EQ(tokensOf("11\t\t12", '\t'), "[11][][12]");
}

TEST(ListStrings, SeparatorAtTheEndGivesAnEmptyLastToken) {
    EXPECT_EQ(tokensOf("11!"), "[11][]");
}

TEST(ListStrings, SeparatorAtTheStartGivesAnEmptyFirstToken) {
    EXPECT_EQ(tokensOf("!11"), "[][11]");
}

TEST(ListStrings, TwoSeparatorsEncloseAnEmptyToken) {
    EXPECT_EQ(tokensOf("11!!12"), "[11][][12]");
}

TEST(ListStrings, SeparatorsAloneGiveOneTokenMore) {
    EXPECT_EQ(tokensOf("!"), "[][]");
    EXPECT_EQ(tokensOf("!!"), "[][][]");
}

TEST(ListStrings, MarkerStandsForEveryEmptyToken) {
    EXPECT_EQ(markedTokensOf("11!!12"), "[11][<NULL>][12]");
    EXPECT_EQ(markedTokensOf("!11"), "[<NULL>][11]");
    EXPECT_EQ(markedTokensOf("11!"), "[11][<NULL>]");
    EXPECT_EQ(markedTokensOf("11! \t!12"), "[11][<NULL>][12]");
}

TEST(ListStrings, MarkerLeavesOtherTokensAlone) {
    EXPECT_EQ(markedTokensOf("11!12"), "[11][12]");
}

TEST(ListStrings, QuotedEmptyTokenIsNotMarked) {
    EXPECT_EQ(markedTokensOf("11!\"\"!12"), "[11][][12]");
    EXPECT_EQ(markedTokensOf("\"\"!12"), "[][12]");
    EXPECT_EQ(markedTokensOf("11!\"\""), "[11][]");
    EXPECT_EQ(markedTokensOf("11!\" \"!12"), "[11][][12]");
}

TEST(ListStrings, QuotesOfOneTokenDoNotCountForTheNext) {
    EXPECT_EQ(markedTokensOf("\"\"!!12"), "[][<NULL>][12]");
    EXPECT_EQ(markedTokensOf("\"\"!"), "[][<NULL>]");
}

TEST(ListStrings, QuotesAloneAreOneEmptyToken) {
    EXPECT_EQ(tokensOf("\"\""), "[]");
    EXPECT_EQ(markedTokensOf("\"\""), "[]");
    EXPECT_EQ(tokensOf("\""), "[]");
}

TEST(ListStrings, LeadingBlanksAndTabsAreRemoved) {
    EXPECT_EQ(tokensOf("  11! \t 12"), "[11][12]");
}

TEST(ListStrings, LeadingBlanksAreRemovedInsideQuotesToo) {
    EXPECT_EQ(tokensOf("\" \t11\"!\"  12\""), "[11][12]");
    EXPECT_EQ(tokensOf(" \" 11\""), "[11]");
}

TEST(ListStrings, TrailingBlanksAndTabsAreKept) {
    EXPECT_EQ(tokensOf("11 !12\t "), "[11 ][12\t ]");
}

TEST(ListStrings, BlanksWithinATokenAreKept) {
    EXPECT_EQ(tokensOf("a  b"), "[a  b]");
}

TEST(ListStrings, OtherLeadingWhiteSpaceIsKept) {
    EXPECT_EQ(tokensOf("\n11!\r12"), "[\n11][\r12]");
}

TEST(ListStrings, BlanksAloneGiveNoToken) {
    EXPECT_EQ(tokensOf(" \t "), "");
    EXPECT_EQ(markedTokensOf(" "), "");
}

TEST(ListStrings, SeparatorInsideQuotesDoesNotSplitAndTheQuotesGo) {
    EXPECT_EQ(tokensOf("\"11!12\"!13"), "[11!12][13]");
    EXPECT_EQ(tokensOf("a\"!\"b!c"), "[a!b][c]");
}

TEST(ListStrings, QuoteThatIsNeverClosedRunsToTheEnd) {
    EXPECT_EQ(tokensOf("11!\"12!13"), "[11][12!13]");
}

TEST(ListStrings, BackslashBeforeAQuoteYieldsTheQuote) {
    EXPECT_EQ(tokensOf("\\\"11!12\\\""), "[\"11][12\"]");
    EXPECT_EQ(tokensOf("\"a\\\"!b\""), "[a\"!b]");
}

TEST(ListStrings, TwoBackslashesYieldOne) {
    EXPECT_EQ(tokensOf("a\\\\b"), "[a\\b]");
    EXPECT_EQ(tokensOf("\\\\"), "[\\]");
    EXPECT_EQ(tokensOf("\\\\\\\\"), "[\\\\]");
}

TEST(ListStrings, ThreeBackslashesBeforeAQuoteYieldBackslashAndQuote) {
    EXPECT_EQ(tokensOf("\\\\\\\"11"), "[\\\"11]");
}

TEST(ListStrings, BackslashBeforeAnotherCharacterIsDropped) {
    EXPECT_EQ(tokensOf("\\1\\1!12"), "[11][12]");
    EXPECT_EQ(tokensOf("11\\"), "[11]");
    EXPECT_EQ(tokensOf("\\"), "");
}

TEST(ListStrings, BackslashBeforeTheSeparatorDoesNotStopItFromSplitting) {
    EXPECT_EQ(tokensOf("11\\!12"), "[11][12]");
}

TEST(ListStrings, BackslashIsForgottenAfterTheNextCharacter) {
    EXPECT_EQ(tokensOf("\\a\"1!2\""), "[a1!2]");     // after a character that is kept
    EXPECT_EQ(tokensOf("\\ \"1!2\""), "[1!2]");      // after a leading blank that is dropped
    EXPECT_EQ(tokensOf("\\!\"1!2\""), "[][1!2]");    // after the separator
    EXPECT_EQ(tokensOf("\\\"\"1!2\""), "[\"1!2]");   // after a quote
    EXPECT_EQ(tokensOf("\\\\\"1!2\""), "[\\1!2]");   // after a backslash
    EXPECT_EQ(tokensOf("\"1\\!2\"!3"), "[1!2][3]");  // after a separator inside quotes
    EXPECT_EQ(tokensOf("\\a\\\"1!2"), "[a\"1][2]");  // and counts anew when it comes again
    EXPECT_EQ(tokensOf("\"\\\" 1\""), "[\" 1]");     // a blank after a literal quote leads no longer
    EXPECT_EQ(tokensOf("\\\\ 1!\\\" 1"), "[\\ 1][\" 1]");
}

TEST(ListStrings, BackslashAndQuoteAreNeverSeparators) {
    EXPECT_EQ(tokensOf("a\\b", '\\'), "[ab]");
    EXPECT_EQ(tokensOf("a\"b\"c", '"'), "[abc]");
}

TEST(ListStrings, BytesAboveAsciiAreOrdinaryCharacters) {
    EXPECT_EQ(tokensOf("\xc3\xb8st!\xff"), "[\xc3\xb8st][\xff]");
}

TEST(ListStrings, ContainerIsEmptiedFirstAndItsSizeReturned) {
    std::vector<std::string> results = {"1", "2", "3"};
    EXPECT_EQ(splitStr("", '!', results, false), 0);
    EXPECT_TRUE(results.empty());
    EXPECT_EQ(splitStr("11!12!", '!', results, false), 3);
    EXPECT_EQ(results, (std::vector<std::string>{"11", "12", ""}));
}

TEST(ListStrings, LongListIsSplitWhole) {
    std::string list = "1";
    for (int id = 2; id <= 10000; ++id) list += "!" + std::to_string(id);
    std::vector<std::string> results;
    EXPECT_EQ(splitStr(list.c_str(), '!', results, false), 10000);
    EXPECT_EQ(results.back(), "10000");
}

TEST(ListStringAppend, AddsAtTheEndAndCanBeChained) {
    std::vector<std::string> items = {"11"};
    const std::string next = "12";
    std::vector<std::string>& returned = items << next << std::string("13");
    EXPECT_EQ(&returned, &items);
    EXPECT_EQ(items, (std::vector<std::string>{"11", "12", "13"}));
}

TEST(ListStringAppend, WritesNothingAnywhere) {
    std::ostringstream written;
    std::streambuf* const out = std::cout.rdbuf(written.rdbuf());
    std::streambuf* const err = std::cerr.rdbuf(written.rdbuf());
    std::vector<std::string> items;
    items << std::string("11");
    std::cout.rdbuf(out);
    std::cerr.rdbuf(err);
    EXPECT_EQ(written.str(), "");
}

// --- Other containers -----------------------------------------------------------------------------

TEST(ListStringsInAnyContainer, AnOperatorThatStandsBeforeTheHeader) {
    std::deque<std::string> results{"left", "over"};
    EXPECT_EQ(splitStr("11!\"12!13\"!", '!', results, true), 3);
    EXPECT_EQ(results, (std::deque<std::string>{"11", "12!13", "<NULL>"}));
}

TEST(ListStringsInAnyContainer, AnOperatorThatStandsBehindTheHeader) {
    std::list<std::string> results{"left", "over"};
    EXPECT_EQ(splitStr("11!12!13", '!', results, false), 3);
    EXPECT_EQ(results, (std::list<std::string>{"13", "12", "11"}));
}

TEST(ListStringsInAnyContainer, AnOperatorInTheNamespaceOfTheContainer) {
    elsewhere::Longest longest;
    EXPECT_EQ(splitStr("11!1234!!12", '!', longest, true), 4);
    EXPECT_EQ(longest.item, "<NULL>");
}

TEST(ListStringsInAnyContainer, AnOperatorThatIsAMember) {
    Joined joined;
    joined << std::string("left over");
    EXPECT_EQ(splitStr("11!!12", '!', joined, false), 3);
    EXPECT_EQ(joined.text(), "<11><><12>");
}

}  // namespace
