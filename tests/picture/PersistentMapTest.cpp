// The map against std::map: the same operations give the same contents, and copies taken along the way
// stay as they were.
#include "picture/PersistentMap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace pis::picture {

namespace {

using Map = PersistentMap<int, std::shared_ptr<const std::string>>;
using Model = std::map<int, std::string>;

Model contentsOf(const Map& map) {
    Model contents;
    map.forEach([&contents](int key, const auto& value) {
        EXPECT_TRUE(contents.empty() || contents.rbegin()->first < key) << "keys come in ascending order, each once";
        contents.emplace(key, *value);
    });
    EXPECT_EQ(contents.size(), map.size());
    return contents;
}

std::shared_ptr<const std::string> text(std::string value) {
    return std::make_shared<const std::string>(std::move(value));
}

TEST(PersistentMap, IsEmptyAtFirst) {
    Map map;
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(map.find(1), nullptr);
    EXPECT_FALSE(map.erase(1));
    EXPECT_TRUE(contentsOf(map).empty());
}

TEST(PersistentMap, InsertsReplacesAndRemoves) {
    Map map;
    map.set(7, text("seven"));
    map.set(-3, text("minus three"));
    map.set(7, text("SEVEN"));
    EXPECT_EQ(contentsOf(map), (Model{{-3, "minus three"}, {7, "SEVEN"}}));
    EXPECT_TRUE(map.erase(-3));
    EXPECT_FALSE(map.erase(-3));
    EXPECT_EQ(contentsOf(map), (Model{{7, "SEVEN"}}));
    EXPECT_TRUE(map.erase(7));
    EXPECT_TRUE(map.empty());
    map.set(1, text("again"));
    EXPECT_EQ(contentsOf(map), (Model{{1, "again"}}));
}

TEST(PersistentMap, HoldsTheOutermostKeys) {
    Map map;
    for (int key = -100; key < 100; ++key) map.set(key, text("inner"));
    map.set(std::numeric_limits<int>::max(), text("highest"));
    map.set(std::numeric_limits<int>::min(), text("lowest"));
    ASSERT_NE(map.find(std::numeric_limits<int>::min()), nullptr);
    EXPECT_EQ(**map.find(std::numeric_limits<int>::min()), "lowest");
    EXPECT_EQ(**map.find(std::numeric_limits<int>::max()), "highest");
    EXPECT_EQ(map.size(), 202U);
}

TEST(PersistentMap, VisitsFromAKeyOn) {
    Map map;
    for (int key = 0; key < 1000; key += 2) map.set(key, text("even"));
    const auto keysFrom = [&map](int from) {
        std::vector<int> keys;
        map.forEachFrom(from, [&keys](int key, const auto&) {
            keys.push_back(key);
            return true;
        });
        return keys;
    };
    EXPECT_EQ(keysFrom(-5).size(), 500U);
    EXPECT_EQ(keysFrom(994), (std::vector<int>{994, 996, 998}));
    EXPECT_EQ(keysFrom(995), (std::vector<int>{996, 998}));
    EXPECT_EQ(keysFrom(999), std::vector<int>{});
    for (int from = 0; from < 999; ++from) ASSERT_EQ(keysFrom(from).front(), (from + 1) / 2 * 2);

    std::vector<int> firstThree;
    map.forEachFrom(499, [&firstThree](int key, const auto&) {
        firstThree.push_back(key);
        return firstThree.size() < 3;
    });
    EXPECT_EQ(firstThree, (std::vector<int>{500, 502, 504}));
}

TEST(PersistentMap, ACopyTakenAfterFreezeNeverChanges) {
    Map map;
    for (int key = 0; key < 100; ++key) map.set(key, text("first"));
    map.freeze();
    const Map copy = map;
    const Model before = contentsOf(copy);
    for (int key = 0; key < 100; ++key) map.set(key, text("second"));
    for (int key = 0; key < 90; ++key) map.erase(key);
    map.set(1000, text("new"));
    EXPECT_EQ(contentsOf(copy), before);
    EXPECT_EQ(map.size(), 11U);
}

TEST(PersistentMap, ACopyMayGoItsOwnWay) {
    Map one;
    for (int key = 0; key < 100; ++key) one.set(key, text("common"));
    one.freeze();
    Map other = one;
    one.set(1, text("one"));
    other.set(1, text("other"));
    other.erase(2);
    EXPECT_EQ(**one.find(1), "one");
    EXPECT_EQ(**other.find(1), "other");
    EXPECT_NE(one.find(2), nullptr);
}

TEST(PersistentMap, ACopySharesWhatDidNotChange) {
    Map map;
    for (int key = 0; key < 1000; ++key) map.set(key, text("shared"));
    map.freeze();
    const Map copy = map;
    map.set(0, text("changed"));
    EXPECT_NE(map.find(0), copy.find(0));
    EXPECT_EQ(map.find(999), copy.find(999)) << "the very same value in the very same node";
}

/// Thousands of random operations on keys from a range, with copies kept along the way.
void compareWithModel(std::uint32_t seed, int keys, int steps) {
    std::mt19937 random(seed);
    const auto below = [&random](int bound) { return static_cast<int>(random() % static_cast<std::uint32_t>(bound)); };
    Map map;
    Model model;
    std::vector<std::pair<Map, Model>> kept;
    bool growing = true;
    for (int step = 0; step < steps; ++step) {
        if (step % 1000 == 0) growing = step % 3000 != 2000;
        const int key = below(keys) - keys / 2;
        if (below(10) < (growing ? 7 : 1)) {
            const std::string value = std::to_string(step);
            map.set(key, text(value));
            model[key] = value;
        } else {
            ASSERT_EQ(map.erase(key), model.erase(key) == 1) << "key " << key;
        }
        const auto* found = map.find(key);
        const auto expected = model.find(key);
        ASSERT_EQ(found != nullptr, expected != model.end());
        ASSERT_TRUE(found == nullptr || **found == expected->second);
        ASSERT_EQ(map.size(), model.size());
        if (below(50) == 0) map.freeze();
        if (step % 500 == 499) {
            ASSERT_EQ(contentsOf(map), model) << "step " << step;
            map.freeze();
            kept.emplace_back(map, model);
        }
    }
    for (const auto& [copy, contents] : kept) ASSERT_EQ(contentsOf(copy), contents);
    for (const auto& [key, value] : Model(model)) {
        ASSERT_TRUE(map.erase(key));
        model.erase(key);
    }
    EXPECT_TRUE(map.empty());
    EXPECT_EQ(contentsOf(map), model);
}

TEST(PersistentMap, IsWhatAPlainMapIsWithFewKeys) {
    compareWithModel(1, 60, 10000);
}

TEST(PersistentMap, IsWhatAPlainMapIsWithManyKeys) {
    compareWithModel(2, 4000, 30000);
}

TEST(PersistentMap, IsWhatAPlainMapIsWithHardlyAnyKeyTwice) {
    compareWithModel(3, 1000000, 20000);
}

TEST(PersistentMap, AscendingKeysComeAtTheEndAndGoAtTheFront) {
    PersistentMap<std::uint64_t, int> log;
    for (std::uint64_t revision = 1; revision <= 20000; ++revision) {
        log.set(revision, static_cast<int>(revision));
        ASSERT_EQ(revision > 100 && log.erase(revision - 100), revision > 100);
        log.freeze();
    }
    EXPECT_EQ(log.size(), 100U);
    std::uint64_t next = 19901;
    log.forEach([&next](std::uint64_t revision, int) { EXPECT_EQ(revision, next++); });
}

}  // namespace

}  // namespace pis::picture
