// Faults on request: how they are asked for, and what they do to lines.
#include "simulator/FaultInjector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <stdexcept>
#include <vector>

namespace pis::simulator {

namespace {

using Texts = std::vector<std::string>;
using Line = FaultInjector::Line;

std::string faultOf(const std::string& text) {
    try {
        parseFaultPlan(text);
        return "no fault";
    } catch (const std::invalid_argument& error) {
        return error.what();
    }
}

/// What comes out of so many numbered lines.
Texts outputOf(const std::string& plan, std::uint32_t seed, int lines, FaultInjector::Counts& counts) {
    FaultInjector faults(parseFaultPlan(plan), seed);
    Texts output;
    for (int i = 0; i < lines; ++i) {
        faults.pass("line number " + std::to_string(i), Line::LIVE, 0,
                    [&output](std::string_view line) { output.emplace_back(line); });
    }
    counts = faults.counts();
    return output;
}

}  // namespace

TEST(FaultPlan, IsReadInAnyOrder) {
    const FaultPlan plan = parseFaultPlan("disconnect=30,garble=0.25,drop=1,stall=0.5,duplicate=0");
    EXPECT_EQ(plan.drop, 1);
    EXPECT_EQ(plan.duplicate, 0);
    EXPECT_EQ(plan.garble, 0.25);
    EXPECT_EQ(plan.stall, 0.5);
    EXPECT_EQ(plan.disconnect, 30);
    EXPECT_TRUE(plan.any());
    EXPECT_FALSE(FaultPlan().any());
    EXPECT_FALSE(parseFaultPlan("drop=0").any());
}

TEST(FaultPlan, SaysWhatIsWrong) {
    EXPECT_EQ(faultOf(""), "\"\" is no fault, expected drop, duplicate, garble, stall or disconnect");
    EXPECT_EQ(faultOf("drop=0.1,"), "\"\" is no fault, expected drop, duplicate, garble, stall or disconnect");
    EXPECT_EQ(faultOf("loss=0.1"), "\"loss\" is no fault, expected drop, duplicate, garble, stall or disconnect");
    EXPECT_EQ(faultOf("drop"), "drop has no value, expected drop=P");
    EXPECT_EQ(faultOf("stall"), "stall has no value, expected stall=SECONDS");
    EXPECT_EQ(faultOf("drop=0.1,drop=0.2"), "drop is there twice");
    for (const char* value : {"1.1", "-0.1", "x", "", "0.5x", "nan", "inf", " 0.5"}) {
        EXPECT_EQ(faultOf(std::string("garble=") + value),
                  "garble is \"" + std::string(value) + "\", expected a share of the lines from 0 to 1");
    }
    for (const char* value : {"0", "-1", "86401", "inf", "x"}) {
        EXPECT_EQ(faultOf(std::string("disconnect=") + value),
                  "disconnect is \"" + std::string(value) + "\", expected seconds above 0, up to 86400");
    }
}

TEST(FaultInjector, LeavesLinesAsTheyAreWithoutFaults) {
    FaultInjector::Counts counts;
    const Texts output = outputOf("drop=0", 1, 1000, counts);
    ASSERT_EQ(output.size(), 1000U);
    EXPECT_EQ(output[7], "line number 7");
    EXPECT_EQ(counts.lines, 1000U);
}

TEST(FaultInjector, HarmsTheShareThatWasAskedForAndCountsIt) {
    FaultInjector::Counts counts;
    const std::size_t left = outputOf("drop=0.1", 5, 20'000, counts).size();
    EXPECT_EQ(left, 20'000U - counts.dropped);
    EXPECT_NEAR(static_cast<double>(counts.dropped), 2000, 150);
    const std::size_t more = outputOf("duplicate=0.05", 5, 20'000, counts).size();
    EXPECT_EQ(more, 20'000U + counts.duplicated);
    EXPECT_NEAR(static_cast<double>(counts.duplicated), 1000, 110);
    const Texts output = outputOf("garble=0.2", 5, 20'000, counts);
    ASSERT_EQ(output.size(), 20'000U);
    EXPECT_NEAR(static_cast<double>(counts.garbled), 4000, 220);
    std::size_t changed = 0;
    for (std::size_t i = 0; i < output.size(); ++i) changed += output[i] != "line number " + std::to_string(i) ? 1 : 0;
    EXPECT_LE(changed, counts.garbled);
    EXPECT_GT(changed, counts.garbled * 9 / 10);  // a byte changed into itself is no harm
    EXPECT_TRUE(outputOf("drop=1", 5, 100, counts).empty());
    EXPECT_EQ(outputOf("duplicate=1", 5, 100, counts).size(), 200U);
}

TEST(FaultInjector, RepeatsItselfForTheSameSeed) {
    FaultInjector::Counts counts;
    const char* const kPlan = "drop=0.1,duplicate=0.1,garble=0.1";
    EXPECT_EQ(outputOf(kPlan, 5, 2000, counts), outputOf(kPlan, 5, 2000, counts));
    EXPECT_NE(outputOf(kPlan, 5, 2000, counts), outputOf(kPlan, 6, 2000, counts));
}

TEST(FaultInjector, CutsLinesShortOrChangesBytesOrPutsSomeInAndNeverMakesALineEnd) {
    const std::string line(40, '-');
    FaultInjector faults(parseFaultPlan("garble=1"), 5);
    std::set<std::size_t> lengths, changes, additions;
    std::set<char> bytes;
    for (int i = 0; i < 30'000; ++i) {
        faults.pass(line, Line::LIVE, 0, [&](std::string_view output) {
            bytes.insert(output.begin(), output.end());
            const auto foreign = static_cast<std::size_t>(
                std::count_if(output.begin(), output.end(), [](char byte) { return byte != '-'; }));
            if (output.size() < line.size()) {
                lengths.insert(output.size());
                EXPECT_EQ(foreign, 0U);
            } else if (output.size() == line.size()) {
                changes.insert(foreign);
            } else {
                additions.insert(output.size() - line.size());
                EXPECT_LE(foreign, output.size() - line.size());
            }
        });
    }
    EXPECT_EQ(lengths.size(), line.size());
    EXPECT_EQ(changes, (std::set<std::size_t>{0, 1, 2, 3, 4}));
    EXPECT_EQ(additions, (std::set<std::size_t>{1, 2, 3, 4}));
    EXPECT_EQ(bytes.size(), 255U);
    EXPECT_EQ(bytes.count('\n'), 0U);
}

TEST(FaultInjector, LetsWholeStatesPassUnharmed) {
    FaultInjector faults(parseFaultPlan("drop=1,garble=1,duplicate=1"), 1);
    Texts output;
    const auto take = [&output](std::string_view line) { output.emplace_back(line); };
    faults.pass("state", Line::WHOLE_STATE, 0, take);
    faults.pass("live", Line::LIVE, 0, take);
    faults.pass("", Line::LIVE, 0, take);
    EXPECT_EQ(output, Texts{"state"});
}

TEST(FaultInjector, HoldsLinesBackWhileItStallsAndKeepsTheirOrder) {
    FaultInjector faults(parseFaultPlan("stall=2"), 1);
    Texts output;
    const auto take = [&output](std::string_view line) { output.emplace_back(line); };
    faults.pass("a", Line::LIVE, 0, take);
    faults.pass("b", Line::LIVE, 9.9, take);
    EXPECT_TRUE(std::isinf(faults.nextChange(9.9)));
    faults.pass("c", Line::LIVE, 10, take);
    faults.pass("d", Line::WHOLE_STATE, 11.5, take);
    EXPECT_EQ(output, (Texts{"a", "b"}));
    EXPECT_EQ(faults.heldBytes(), 2U);
    EXPECT_DOUBLE_EQ(faults.nextChange(11.5), 12);
    faults.release(11.9, take);
    EXPECT_EQ(output.size(), 2U);
    faults.release(12, take);
    EXPECT_EQ(output, (Texts{"a", "b", "c", "d"}));
    EXPECT_EQ(faults.heldBytes(), 0U);
    faults.pass("e", Line::LIVE, 22, take);
    faults.pass("f", Line::LIVE, 24.5, take);  // after the second stall, which nobody released
    EXPECT_EQ(output, (Texts{"a", "b", "c", "d", "e", "f"}));
    EXPECT_EQ(faults.counts().held, 3U);
}

TEST(FaultInjector, AsksForTheCut) {
    const FaultInjector faults(parseFaultPlan("disconnect=30"), 1);
    EXPECT_FALSE(faults.cut(29.9));
    EXPECT_TRUE(faults.cut(30));
    EXPECT_DOUBLE_EQ(faults.nextChange(3), 30);
    EXPECT_FALSE(FaultInjector(FaultPlan(), 1).cut(1e9));
}

}  // namespace pis::simulator
