// Departures that are kept: as exact as if they were made anew each time, and made anew for nothing that they were not
// read from.
#include "service/DepartureCache.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "PictureTest.h"
#include "Program.h"
#include "RandomRailway.h"

namespace pis::service {

namespace {

using picture::ClockOptions;
using picture::DepartureQuery;
using picture::Picture;
using picture::RandomRailway;
using picture::ServiceClock;
using picture::ServiceMoment;

ServiceMoment momentOf(const Picture& picture) {
    return ServiceClock({ClockOptions::FEED, "day", "UTC", "03:00"}).at(picture.feed, {}).wholeMinute();
}

// --- Railways at random -------------------------------------------------------------------------

constexpr int kParts = 2;

/// Of every station and every platform of a part, and of one of each that is none.
std::vector<DepartureQuery> queriesOf(int part) {
    std::vector<DepartureQuery> queries;
    for (int id = 1; id <= RandomRailway::kStations + 1; ++id) queries.push_back({part * 1000 + id, 0, 4});
    for (int id = 1; id <= RandomRailway::kPlatforms + 1; ++id) queries.push_back({0, part * 1000 + id, 2});
    return queries;
}

class DepartureCacheAtRandom : public ::testing::Test {
protected:
    DepartureCacheAtRandom() {
        for (int i = 0; i < 800; ++i) railway.change(i % kParts);
    }

    /// Asks for every board of a part and holds it against a fresh answer. Returns how many were made anew.
    std::uint64_t ask(int part) {
        const std::uint64_t before = cache.made();
        const auto picture = railway.published().current();
        const ServiceMoment now = momentOf(*picture);
        for (const DepartureQuery& query : queriesOf(part)) {
            const std::string fresh = departuresJson(picture, query, now);
            const auto body = cache.get(picture, query, now);
            EXPECT_EQ(*body->plain, fresh);
            EXPECT_EQ(body->tag, contentHash(fresh));
        }
        return cache.made() - before;
    }

    RandomRailway railway{4711, 64};
    TextAccount account{std::size_t{1} << 30};
    BodyCache bodies{account};
    DepartureCache cache{bodies};
};

TEST_F(DepartureCacheAtRandom, AnswersAreAlwaysThoseOfThePicture) {
    std::uint64_t anew = 0;
    std::uint64_t asked = 0;
    for (int step = 0; step < (kUnderSanitizer ? 200 : 5000) && !HasFailure(); ++step) {
        if (railway.once(20)) railway.changeFeed();
        if (railway.once(400)) railway.deleteAllTripStops();
        for (int publication = railway.upTo(3); publication > 0; --publication) {
            const int part = railway.upTo(kParts) - 1;
            const int changes = railway.once(50) ? 100 : railway.upTo(2);  // a hundred are more than the log holds
            for (int i = 0; i < changes; ++i) railway.change(part);
            railway.publish();
        }
        for (int part = 0; part < kParts; ++part) {
            anew += ask(part);
            asked += queriesOf(part).size();
        }
    }
    EXPECT_LT(anew * 3, asked) << "most stand";
}

TEST_F(DepartureCacheAtRandom, ChangesElsewhereLeaveEveryAnswerStanding) {
    railway.publish();
    ask(0);
    ask(1);
    std::uint64_t anew = 0;
    for (int step = 0; step < (kUnderSanitizer ? 100 : 1000) && !HasFailure(); ++step) {
        const int part = step % kParts;
        for (int i = railway.upTo(20); i > 0; --i) railway.change(part);
        railway.publish();
        anew += ask(part);
        ASSERT_EQ(ask(1 - part), 0U) << step;
    }
    EXPECT_GT(anew, 100U) << "and something did change";
}

// --- What an answer is read from ----------------------------------------------------------------

/// Two lines that share nothing: A calls at 1, 2, 3 and B at 4 and 5; each station has a platform ten times its id.
class DepartureCacheTest : public picture::PictureTest {
protected:
    DepartureCacheTest() {
        builder.feed().ready = true;
        builder.feed().at = 25200;
        for (int id = 1; id <= 5; ++id) {
            Station station(id);
            station.setName("Station " + std::to_string(id));
            update(station);
            changePlatform(id * 10, PlatformInfo::State());
        }
        trip(1, "11!12!13");
        trip(2, "21!22");
        tripStop(11, {"1", "10", "Y", "0", "60"});
        tripStop(12, {"1", "20", "Y", "180", "200"});
        tripStop(13, {"1", "30", "Y", "400", "400"});
        tripStop(21, {"2", "40", "Y", "0", "60"});
        tripStop(22, {"2", "50", "Y", "180", "200"});
        changeService(1, 1, "");
        changeService(2, 2, "");
        changeVehicle("Skarv", "A");
        publish();
    }

    void trip(int id, const std::string& stops) {
        Trip record(id);
        record.setStopsListAsString(stops);
        update(record);
    }
    void changePlatform(int id, PlatformInfo::State state) {
        PlatformInfo platform(id);
        platform.setName("Platform " + std::to_string(id));
        platform.setStationId(id / 10);
        platform.setState(state);
        update(platform);
    }
    void changeService(int id, int tripId, const std::string& text, long start = 25200) {
        Service service(id, tripId, start);
        service.setVehicleId(7);
        service.setStateText(text);
        update(service);
    }
    void changeVehicle(const std::string& name, const std::string& location) {
        Vehicle vehicle(7);
        vehicle.setName(name);
        vehicle.setCurrentLocation(location);
        update(vehicle);
    }

    /// Which of the five stations' boards are made anew now: "124".
    std::string anew() {
        const Picture& now = publish();
        std::string stations;
        for (int id = 1; id <= 5; ++id) {
            const std::uint64_t before = cache.made();
            EXPECT_EQ(*cache.get(picture, {id, 0, 20}, momentOf(now))->plain,
                      departuresJson(picture, {id, 0, 20}, momentOf(now)));
            if (cache.made() != before) stations += std::to_string(id);
        }
        return stations;
    }

    TextAccount account{std::size_t{1} << 30};

    BodyCache bodies{account};
    DepartureCache cache{bodies};
};

TEST_F(DepartureCacheTest, StandsAsLongAsNothingThatItWasReadFromChanges) {
    EXPECT_EQ(anew(), "12345");
    EXPECT_EQ(anew(), "");
    line(9, "Headland Line");
    EXPECT_EQ(anew(), "");
    changeVehicle("Skarv", "B");
    EXPECT_EQ(anew(), "") << "where a vehicle is stands on no board";
    changeVehicle("Tarn", "B");
    EXPECT_EQ(anew(), "124") << "no train departs from the last stations";
    changePlatform(20, PlatformInfo::VEHICLE_BOARDING);
    EXPECT_EQ(anew(), "2") << "the state of a platform is for its own board";
    changeService(1, 1, "held");
    EXPECT_EQ(anew(), "12");
    serviceStop(200, {"2", "21", "25200", "60", "60"});
    EXPECT_EQ(anew(), "4");
    changeService(1, 2, "held");
    EXPECT_EQ(anew(), "12345") << "it runs another trip";
    EXPECT_EQ(cache.kept(), 5U + 5 + 5 + 2 + 4 + 3 + 4);
}

TEST_F(DepartureCacheTest, CountsTheMinuteAndWhetherAnythingIsKnown) {
    anew();
    builder.feed().at = 25200 + 59;
    EXPECT_EQ(anew(), "");
    builder.feed().at = 25200 + 60;
    EXPECT_EQ(anew(), "12345");
    builder.feed().ready = false;
    EXPECT_EQ(anew(), "12345");
    builder.feed().ready = true;
    EXPECT_EQ(anew(), "12345");
    builder.acceptDeletion(SignallingCodes::TRIP_STOP, 0);
    EXPECT_EQ(anew(), "12345");
}

TEST_F(DepartureCacheTest, IsMadeAnewWhereTheLogDoesNotReach) {
    anew();
    for (int id = 1; id <= 20; ++id) {
        line(id, "Line");
        publish();
    }
    EXPECT_EQ(anew(), "12345");
}

TEST_F(DepartureCacheTest, OneThatSaysTheSameKeepsItsCompressedForm) {
    const auto ask = [this] { return cache.get(picture, {1, 0, 20}, momentOf(publish())); };
    const auto body = ask();
    const auto packed = bodies.compressed(*body);
    builder.feed().at = 25260;
    EXPECT_EQ(ask(), body);
    EXPECT_EQ(cache.made(), 2U);
    EXPECT_EQ(bodies.compressed(*ask()), packed);
    changeService(1, 1, "held");
    EXPECT_NE(ask()->tag, body->tag);
    changeService(1, 1, "");
    EXPECT_EQ(ask()->tag, body->tag) << "the contents make it";
}

TEST_F(DepartureCacheTest, ForgetsTheLongestUnaskedWhereRoomIsShort) {
    constexpr std::size_t kRoom = 2000;
    DepartureCache small(bodies, kRoom);
    const ServiceMoment now = momentOf(*picture);
    for (int round = 0; round < 3; ++round) {
        for (int id = 1; id <= 5; ++id) {
            EXPECT_EQ(*small.get(picture, {id, 0, 20}, now)->plain, departuresJson(picture, {id, 0, 20}, now));
            EXPECT_LE(small.bytes(), kRoom);
        }
        EXPECT_EQ(small.made(), 5U * (static_cast<unsigned>(round) + 1));
    }
    small.get(picture, {5, 0, 20}, now);
    EXPECT_EQ(small.kept(), 1U);

    DepartureCache tiny(bodies, 10);
    EXPECT_EQ(*tiny.get(picture, {1, 0, 20}, now)->plain, departuresJson(picture, {1, 0, 20}, now));
    EXPECT_EQ(tiny.bytes(), 0U);
}

}  // namespace

}  // namespace pis::service
