// Departures of railways at random against the model that looks at everything.
#include "DepartureModel.h"

#include <gtest/gtest.h>

#include "RandomRailway.h"

namespace pis::picture {

namespace {

/// The moments at which boards are asked: by the feed's clock and by the wall's, at noon and in the night.
std::vector<ServiceMoment> momentsOf(const Picture& picture) {
    const ServiceClock feed({ClockOptions::FEED, "day", "UTC", "03:00"});
    const ServiceClock wall({ClockOptions::WALL, "day", "Europe/Oslo", "03:00"});
    const auto at = [](int seconds) { return base::WallTime(std::chrono::seconds(1795129200 + seconds)); };
    return {feed.at(picture.feed, {}).wholeMinute(), wall.at({}, at(RandomRailway::kNow)),
            wall.at({}, at(RandomRailway::kNow + 43200))};
}

/// Of every station and platform, and of one that is none.
std::vector<DepartureQuery> everyQuery() {
    std::vector<DepartureQuery> queries;
    for (int id = 1; id <= RandomRailway::kStations + 1; ++id) queries.push_back({id, 0, 20});
    for (int id = 1; id <= RandomRailway::kPlatforms + 1; ++id) queries.push_back({0, id, 3});
    queries.push_back({0, 1, 0});
    return queries;
}

TEST(DepartureModel, OfRailwaysAtRandom) {
    const std::vector<DepartureQuery> queries = everyQuery();
    int departures = 0;
    for (unsigned seed = 1; seed <= 10; ++seed) {
        RandomRailway railway(seed);
        for (int round = 0; round < 12; ++round) {
            for (int i = 0; i < (round == 0 ? 400 : 30); ++i) railway.change();
            railway.changeFeed();
            const auto picture = railway.publish();
            for (const ServiceMoment& now : momentsOf(*picture)) {
                const std::vector<std::string> expected = modelOfDepartures(*picture, queries, now);
                for (std::size_t i = 0; i < queries.size(); ++i) {
                    ASSERT_EQ(departuresJson(picture, queries[i], now), expected[i]) << "seed " << seed;
                    departures += expected[i].find("service_id") != std::string::npos ? 1 : 0;
                }
            }
        }
    }
    EXPECT_GT(departures, 2500) << "the boards are not empty";
}

}  // namespace

}  // namespace pis::picture
