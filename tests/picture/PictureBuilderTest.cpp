// What the builder makes of event items, stop records and deletions: rows, revisions, joins, indexes and
// the log of changes.
#include "picture/PictureBuilder.h"

#include <vector>

#include "PictureTest.h"

namespace pis::picture {

namespace {

using namespace SignallingCodes;

using Names = std::vector<std::string>;

/// The changes after a revision, "lines 7" or "lines 7 gone" each.
Names changesSince(const Picture& picture, Revision revision, int station = ChangeLog::kEveryStation) {
    const auto changes = picture.changesSince(revision, station);
    if (!changes) return {"too long ago"};
    Names names;
    for (const Change& change : changes->latest) {
        names.push_back(std::string(tableName(change.table)) + " " + std::to_string(change.id) +
                        (change.row == nullptr ? " gone" : ""));
    }
    return names;
}

class BuilderTest : public PictureTest {};

// --- Rows and revisions -------------------------------------------------------------------------

TEST_F(BuilderTest, AnEmptyPictureStandsBeforeTheFirst) {
    ASSERT_NE(published.current(), nullptr);
    EXPECT_EQ(published.current()->revision, 0U);
    EXPECT_FALSE(builder.hasChanges());
}

TEST_F(BuilderTest, ARowIsTheDumpWithTheTimeOfItsChange) {
    line(7, "North Line", "N");
    EXPECT_TRUE(builder.hasChanges());
    publish();
    EXPECT_FALSE(builder.hasChanges());
    EXPECT_EQ(json(records::Table::LINES, 7),
              R"({"table":"lines","id":7,"name":"North Line","abrv":"N","updated_at":"2026-11-20T13:25:08.123Z"})");
    EXPECT_EQ(picture->find(records::Table::LINES, 7)->revision, 1U);
    EXPECT_EQ(picture->revision, 1U);
    EXPECT_EQ(picture->revisionOf(records::Table::LINES), 1U);
    EXPECT_EQ(picture->revisionOf(records::Table::TRIPS), 0U);
}

TEST_F(BuilderTest, WhatDidNotChangeKeepsItsRevisionAndTime) {
    line(1, "North");
    line(2, "South");
    publish();
    const std::string south = json(records::Table::LINES, 2);
    wall += std::chrono::seconds(52);
    line(1, "Up North");
    publish();
    EXPECT_EQ(json(records::Table::LINES, 2), south);
    EXPECT_EQ(picture->find(records::Table::LINES, 2)->revision, 1U);
    EXPECT_EQ(picture->find(records::Table::LINES, 1)->revision, 2U);
    EXPECT_NE(json(records::Table::LINES, 1).find(R"("updated_at":"2026-11-20T13:26:00.123Z"})"), std::string::npos);
}

TEST_F(BuilderTest, ARecordEqualToWhatIsHeldMakesNoRevision) {
    Vehicle vehicle(4);
    vehicle.setName("Skarv");
    update(vehicle);
    tripStop(31, {"3", "9", "Y", "0", "60"});
    serviceStop(88, {"12", "31", "25200", "0", "60"});
    publish();
    update(vehicle);
    tripStop(31, {"3", "9", "Yes", "00", "60 s"});
    serviceStop(88, {"12", "31", "25200", "", "60"});
    EXPECT_FALSE(builder.hasChanges());
    EXPECT_EQ(publish().revision, 1U);
}

TEST_F(BuilderTest, WithoutChangesTheFeedsStatusGoesOutUnderTheSameRevision) {
    line(1, "North");
    publish();
    builder.feed().linkName = "file:-";
    builder.feed().link = feed::FeedStatus::ENDED;
    publish();
    EXPECT_EQ(picture->revision, 1U);
    EXPECT_EQ(picture->feed.linkName, "file:-");
    EXPECT_STREQ(linkStateName(picture->feed.link), "ended");
}

TEST_F(BuilderTest, SeveralChangesOfARecordAreOne) {
    line(1, "North");
    line(1, "South");
    line(1, "East");
    publish();
    EXPECT_EQ(picture->revision, 1U);
    EXPECT_EQ(changesSince(*picture, 0), Names{"lines 1"});
    EXPECT_NE(json(records::Table::LINES, 1).find("East"), std::string::npos);
}

TEST_F(BuilderTest, ARecordThatEndsAsItWasPublishedIsNoChange) {
    line(1, "North");
    publish();
    line(1, "South");
    line(2, "new");
    deleteLine(2);
    line(1, "North");
    EXPECT_FALSE(builder.hasChanges());
    EXPECT_EQ(publish().revision, 1U);
    deleteLine(1);
    EXPECT_TRUE(builder.hasChanges());
    line(1, "North");
    EXPECT_FALSE(builder.hasChanges());
}

TEST_F(BuilderTest, AnEarlierPictureStaysAsItWas) {
    for (int id = 1; id <= 100; ++id) line(id, "North");
    publish();
    const std::shared_ptr<const Picture> before = picture;
    for (int id = 1; id <= 50; ++id) deleteLine(id);
    line(100, "South");
    publish();
    EXPECT_EQ(before->size(records::Table::LINES), 100U);
    EXPECT_EQ(before->rowsOf(records::Table::LINES).back()->id, 100);
    EXPECT_NE(before->find(records::Table::LINES, 100)->json.find("North"), std::string::npos);
    EXPECT_EQ(picture->size(records::Table::LINES), 50U);
    EXPECT_EQ(picture->rowsOf(records::Table::LINES).front()->id, 51);
}

TEST_F(BuilderTest, AServiceThatItsTripCompletesChangesWithoutAnObserver) {
    Service service(12);
    service.setTripId(3);
    update(service);
    publish();
    service.setName("East - West");  // the event item shows it; nobody else is told
    service.setStopsListAsString("31!32");
    update(service);
    publish();
    EXPECT_EQ(picture->revision, 2U);
    EXPECT_NE(json(records::Table::SERVICES, 12).find("East - West"), std::string::npos);
}

TEST_F(BuilderTest, EveryMemberThatIsShownCounts) {
    PlatformInfo platform(9);
    update(platform);
    publish();
    platform.setStateText("boarding");
    update(platform);
    EXPECT_TRUE(builder.hasChanges());
    publish();
    Service service(12);
    update(service);
    publish();
    static_cast<Trip&>(service).setLineId(77);  // the one that a service hides, and no dump shows
    update(service);
    EXPECT_FALSE(builder.hasChanges());
    service.setLineId(77);
    update(service);
    EXPECT_TRUE(builder.hasChanges());
}

TEST_F(BuilderTest, StatusEventsAndItemsWithoutARecordArePassedOver) {
    builder.accept({SIGNALLING_SERVER_ONLINE, 0, {}});
    builder.accept({LINE_UPDATED, 5, {}});
    builder.accept({4711, 5, Line(5)});
    builder.accept({LINE_DELETED, 5, {}});
    EXPECT_FALSE(builder.hasChanges());
}

// --- Stops --------------------------------------------------------------------------------------

TEST_F(BuilderTest, UnusableFieldsAreDefaults) {
    tripStop(31, {"3", "9", "Y", "10", "20"});
    serviceStop(88, {"12", "31", "25200", "30", "40"});
    publish();
    tripStop(31, {"-", "(null)", "yes", "", " -5x"});
    serviceStop(88, {"99999999999", "(null"});
    publish();
    EXPECT_EQ(json(records::Table::TRIP_STOPS, 31),
              R"({"table":"trip_stops","id":31,"name":"","abrv":"","trip_id":0,"platform_id":0,"is_stopping":false,)"
              R"("sch_arv_offset":0,"sch_dep_offset":-5,"updated_at":"2026-11-20T13:25:08.123Z"})");
    EXPECT_EQ(json(records::Table::SERVICE_STOPS, 88),
              R"({"table":"service_stops","id":88,"service_id":2147483647,"trip_stop_id":0,"service_start_time":0,)"
              R"("arv_delay":0,"dep_delay":0,"trip_id":0,"platform_id":0,"is_stopping":false,"sch_arv_offset":0,)"
              R"("sch_dep_offset":0,"updated_at":"2026-11-20T13:25:08.123Z"})");
}

TEST_F(BuilderTest, IdZeroAndOtherTypesArePassedOver) {
    tripStop(0, {"3", "9"});
    serviceStop(0, {"12", "31"});
    acceptStop(SignallingCodes::LINE, 5, {"North"});
    EXPECT_FALSE(builder.hasChanges());
}

TEST_F(BuilderTest, AServiceStopShowsItsTripStop) {
    tripStop(31, {"3", "9", "Y", "10", "20"});
    serviceStop(88, {"12", "31", "25200", "30", "4294967236"});
    publish();
    EXPECT_EQ(json(records::Table::SERVICE_STOPS, 88),
              R"({"table":"service_stops","id":88,"service_id":12,"trip_stop_id":31,"service_start_time":25200,)"
              R"("arv_delay":30,"dep_delay":2147483647,"trip_id":3,"platform_id":9,"is_stopping":true,)"
              R"("sch_arv_offset":10,"sch_dep_offset":20,"updated_at":"2026-11-20T13:25:08.123Z"})");
    serviceStop(88, {"12", "31", "25200", "30", "-60"});
    publish();
    EXPECT_NE(json(records::Table::SERVICE_STOPS, 88).find(R"("dep_delay":-60,)"), std::string::npos);
    EXPECT_EQ(picture->table<ServiceStop>().find(88)->get()->record.getPlatformId(), 9);
}

TEST_F(BuilderTest, TheJoinFollowsTheTripStop) {
    serviceStop(88, {"12", "31", "25200"});
    serviceStop(89, {"13", "31", "25800"});
    serviceStop(90, {"13", "32", "25800"});
    publish();
    EXPECT_NE(json(records::Table::SERVICE_STOPS, 88).find(R"("platform_id":0,)"), std::string::npos);

    tripStop(31, {"3", "9"});
    publish();
    EXPECT_EQ(changesSince(*picture, 1), (Names{"trip_stops 31", "service_stops 88", "service_stops 89"}));
    EXPECT_NE(json(records::Table::SERVICE_STOPS, 88).find(R"("platform_id":9,)"), std::string::npos);

    tripStop(31, {"3", "10"});
    publish();
    EXPECT_EQ(changesSince(*picture, 2), (Names{"trip_stops 31", "service_stops 88", "service_stops 89"}));
    EXPECT_NE(json(records::Table::SERVICE_STOPS, 89).find(R"("platform_id":10,)"), std::string::npos);

    builder.acceptDeletion(TRIP_STOP, 31);
    publish();
    EXPECT_EQ(changesSince(*picture, 3), (Names{"trip_stops 31 gone", "service_stops 88", "service_stops 89"}));
    EXPECT_NE(json(records::Table::SERVICE_STOPS, 89).find(R"("platform_id":0,)"), std::string::npos);
}

TEST_F(BuilderTest, AServiceStopMayGoToAnotherTripStop) {
    tripStop(31, {"3", "9"});
    tripStop(32, {"3", "10"});
    serviceStop(88, {"12", "31"});
    publish();
    serviceStop(88, {"12", "32"});
    publish();
    EXPECT_NE(json(records::Table::SERVICE_STOPS, 88).find(R"("platform_id":10,)"), std::string::npos);
    tripStop(31, {"3", "11"});
    publish();
    EXPECT_EQ(changesSince(*picture, 2), Names{"trip_stops 31"}) << "nobody joins it any more";
}

TEST_F(BuilderTest, ATripStopThatComesBackAsItWasChangesNoServiceStop) {
    tripStop(31, {"3", "9"});
    serviceStop(88, {"12", "31"});
    publish();
    tripStop(31, {"3", "10"});
    builder.acceptDeletion(ALL_ELEMENTS, 31);
    tripStop(31, {"3", "9"});
    EXPECT_FALSE(builder.hasChanges());
    EXPECT_EQ(publish().revision, 1U);
}

// --- Deletions ----------------------------------------------------------------------------------

class DeletionOfStops : public BuilderTest {
protected:
    DeletionOfStops() {
        line(31, "North");
        for (const int id : {31, 32}) tripStop(id, {"3", "9"});
        for (const int id : {31, 32}) serviceStop(id, {"12", "7"});
        publish();
    }
    Names afterDeletion(int type, int id) {
        builder.acceptDeletion(type, id);
        return changesSince(publish(), 1);
    }
};

TEST_F(DeletionOfStops, OfOneTripStop) {
    EXPECT_EQ(afterDeletion(TRIP_STOP, 31), Names{"trip_stops 31 gone"});
    EXPECT_EQ(json(records::Table::TRIP_STOPS, 31), "");
    EXPECT_NE(json(records::Table::TRIP_STOPS, 32), "");
}

TEST_F(DeletionOfStops, OfOneServiceStop) {
    EXPECT_EQ(afterDeletion(SERVICE_STOP, 32), Names{"service_stops 32 gone"});
}

TEST_F(DeletionOfStops, OfOneIdInEveryTable) {
    EXPECT_EQ(afterDeletion(ALL_ELEMENTS, 31), (Names{"trip_stops 31 gone", "service_stops 31 gone"}));
}

TEST_F(DeletionOfStops, OfATable) {
    EXPECT_EQ(afterDeletion(TRIP_STOP, 0), (Names{"trip_stops 31 gone", "trip_stops 32 gone"}));
    EXPECT_TRUE(picture->table<TripStop>().empty());
}

TEST_F(DeletionOfStops, OfEverything) {
    EXPECT_EQ(afterDeletion(ALL_ELEMENTS, 0),
              (Names{"trip_stops 31 gone", "trip_stops 32 gone", "service_stops 31 gone", "service_stops 32 gone"}));
    EXPECT_EQ(picture->size(records::Table::LINES), 1U) << "the line goes with its event item";
}

TEST_F(DeletionOfStops, OfWhatIsNotThere) {
    for (const int type : {0, 2, 7, 8, 9, 10, 13, 98, -1}) builder.acceptDeletion(type, 4711);
    for (const int type : {2, 3, 4, 5, 6, 8, 10, 13, 98, -1}) builder.acceptDeletion(type, 0);
    EXPECT_FALSE(builder.hasChanges());
}

TEST_F(DeletionOfStops, OfWhatIsNotPublishedYet) {
    tripStop(33, {"3", "9"});
    tripStop(31, {"3", "10"});
    EXPECT_EQ(afterDeletion(TRIP_STOP, 0), (Names{"trip_stops 31 gone", "trip_stops 32 gone"}));
    tripStop(34, {"3", "9"});
    builder.acceptDeletion(TRIP_STOP, 34);
    EXPECT_FALSE(builder.hasChanges());
}

TEST_F(DeletionOfStops, WhatComesBackIsHeldAgain) {
    builder.acceptDeletion(ALL_ELEMENTS, 0);
    tripStop(31, {"3", "9"});
    tripStop(32, {"3", "10"});
    publish();
    EXPECT_EQ(changesSince(*picture, 1), (Names{"trip_stops 32", "service_stops 31 gone", "service_stops 32 gone"}));
}

TEST_F(DeletionOfStops, LinesGoWithTheirEventItem) {
    deleteLine(31);
    EXPECT_EQ(changesSince(publish(), 1), Names{"lines 31 gone"});
    EXPECT_EQ(picture->find(records::Table::LINES, 31), nullptr);
}

// --- Indexes ------------------------------------------------------------------------------------

TEST_F(BuilderTest, IndexesFollowTheRecords) {
    PlatformInfo platform(9);
    platform.setStationId(5);
    update(platform);
    update([] {
        PlatformInfo other(8);
        other.setStationId(5);
        return other;
    }());
    Service service(12);
    service.setTripId(3);
    update(service);
    tripStop(31, {"3", "9"});
    serviceStop(88, {"12", "31"});
    serviceStop(87, {"12", "31"});
    publish();
    EXPECT_EQ(idsUnder(picture->platformsOfStation, 5), (std::vector<int>{8, 9}));
    EXPECT_EQ(idsUnder(picture->tripStopsAtPlatform, 9), std::vector<int>{31});
    EXPECT_EQ(idsUnder(picture->tripStopsOfTrip, 3), std::vector<int>{31});
    EXPECT_EQ(idsUnder(picture->servicesOfTrip, 3), std::vector<int>{12});
    EXPECT_EQ(idsUnder(picture->stopsOfService, 12), (std::vector<int>{87, 88}));

    platform.setStationId(6);
    update(platform);
    service.setTripId(0);
    update(service);
    builder.acceptDeletion(0, 0);
    publish();
    EXPECT_EQ(idsUnder(picture->platformsOfStation, 5), std::vector<int>{8});
    EXPECT_EQ(idsUnder(picture->platformsOfStation, 6), std::vector<int>{9});
    EXPECT_TRUE(picture->tripStopsAtPlatform.empty());
    EXPECT_TRUE(picture->tripStopsOfTrip.empty());
    EXPECT_TRUE(picture->servicesOfTrip.empty()) << "nothing stands under 0";
    EXPECT_TRUE(picture->stopsOfService.empty());
}

TEST_F(BuilderTest, StationsAreToldWhatComesToBelongToThemAndWhatGoes) {
    PlatformInfo platform(9);
    platform.setStationId(5);
    Service service(12);
    service.setTripId(3);
    const auto told = [this](int station) {
        publish();
        return changesSince(*picture, picture->revision - 1, station);
    };
    update(platform);
    EXPECT_EQ(told(5), Names{"platforms 9"});
    platform.setStateText("boarding");
    update(platform);
    EXPECT_EQ(told(5), Names{"platforms 9"});
    update(service);
    EXPECT_EQ(told(5), Names{});
    tripStop(31, {"3", "9"});
    EXPECT_EQ(told(5), (Names{"trip_stops 31", "services 12"})) << "the service has not changed, but calls there";
    serviceStop(88, {"12", "31"});
    EXPECT_EQ(told(5), Names{"service_stops 88"});
    platform.setStationId(6);
    update(platform);
    EXPECT_EQ(told(6), (Names{"platforms 9", "trip_stops 31", "services 12", "service_stops 88"}));
    EXPECT_EQ(changesSince(*picture, picture->revision - 1, 5),
              (Names{"platforms 9 gone", "trip_stops 31 gone", "services 12 gone", "service_stops 88 gone"}));
    serviceStop(88, {"12", "32"});
    EXPECT_EQ(told(6), Names{"service_stops 88 gone"});
    service.setTripId(4);
    update(service);
    EXPECT_EQ(told(6), Names{"services 12 gone"});
    tripStop(31, {"4", "9"});
    EXPECT_EQ(told(6), (Names{"trip_stops 31", "services 12"}));
    builder.accept({PLATFORM_DELETED, 9, platform});
    EXPECT_EQ(told(6), (Names{"platforms 9 gone", "trip_stops 31 gone", "services 12 gone"}));
}

// --- Changes since ------------------------------------------------------------------------------

TEST_F(BuilderTest, ChangesComeOnceEachInTheOrderOfTheirLatest) {
    line(1, "a");
    line(2, "a");
    publish();
    line(1, "b");
    publish();
    line(3, "a");
    deleteLine(2);
    publish();
    EXPECT_EQ(changesSince(*picture, 0), (Names{"lines 1", "lines 2 gone", "lines 3"}));
    EXPECT_EQ(picture->changesSince(0)->coalesced, 2U);
    EXPECT_EQ(changesSince(*picture, 1), (Names{"lines 1", "lines 2 gone", "lines 3"}));
    EXPECT_EQ(changesSince(*picture, 2), (Names{"lines 2 gone", "lines 3"}));
    EXPECT_EQ(changesSince(*picture, 3), Names{});
    EXPECT_EQ(changesSince(*picture, 4), Names{"too long ago"}) << "a revision still to come";
}

TEST_F(BuilderTest, TheSameIdInTwoTablesIsTwoRecords) {
    line(31, "a");
    tripStop(31, {"3"});
    publish();
    EXPECT_EQ(changesSince(*picture, 0), (Names{"lines 31", "trip_stops 31"}));
    EXPECT_EQ(picture->changesSince(0)->coalesced, 0U);
}

TEST_F(BuilderTest, TheLogKeepsTheLatestRevisions) {
    for (int revision = 1; revision <= 10; ++revision) {
        line(1, std::to_string(revision));
        line(2, std::to_string(revision));
        publish();
    }
    EXPECT_EQ(picture->log.reachesBackTo(), 6U) << "four revisions of two changes each";
    EXPECT_EQ(changesSince(*picture, 5), Names{"too long ago"});
    EXPECT_EQ(changesSince(*picture, 6), (Names{"lines 1", "lines 2"}));
    EXPECT_EQ(picture->changesSince(6)->coalesced, 6U);
}

TEST_F(BuilderTest, ARevisionLargerThanTheLogIsNotKept) {
    line(100, "a");
    publish();
    for (int id = 1; id <= 9; ++id) line(id, "a");
    publish();
    EXPECT_EQ(picture->log.reachesBackTo(), 2U);
    EXPECT_EQ(changesSince(*picture, 1), Names{"too long ago"});
    EXPECT_EQ(changesSince(*picture, 2), Names{});
    line(1, "b");
    publish();
    EXPECT_EQ(changesSince(*picture, 2), Names{"lines 1"});
}

TEST_F(BuilderTest, TheLogIsBoundedInBytes) {
    constexpr std::size_t kBytes = 100000;
    PictureBuilder small(
        published, [] { return base::WallTime(); }, PictureBuilder::kLoggedChanges, kBytes);
    Line renamed(1);
    for (int i = 0; i < 50; ++i) {
        renamed.setName(std::string(10000, static_cast<char>('a' + i % 26)));
        small.accept({LINE_UPDATED, 1, renamed});
        small.publish();
    }
    picture = published.current();
    EXPECT_EQ(picture->revision, 50U);
    EXPECT_GE(picture->log.reachesBackTo(), 50 - kBytes / 10000);
    EXPECT_LT(picture->log.reachesBackTo(), 50U) << "some of it is kept";
    EXPECT_EQ(changesSince(*picture, picture->log.reachesBackTo()), Names{"lines 1"});
}

TEST_F(BuilderTest, LargeRevisionsComeInParts) {
    PictureBuilder large(published, [] { return base::WallTime(); });
    for (int id = 1; id <= 600; ++id) large.accept({LINE_UPDATED, id, Line(id)});
    large.publish();
    picture = published.current();
    std::vector<LogPlace> places;
    std::size_t changes = 0;
    picture->log.forEachAfter(ChangeLog::kEveryStation, {},
                              [&](const LogPlace& place, const std::vector<Change>& part) {
                                  places.push_back(place);
                                  changes += part.size();
                                  return true;
                              });
    EXPECT_EQ(changes, 600U);
    EXPECT_EQ(places, (std::vector<LogPlace>{{0, 1}, {0, 2}, {0, 3}}));
    int left = 0;
    picture->log.forEachAfter(ChangeLog::kEveryStation, {0, 2}, [&left](const LogPlace&, const std::vector<Change>&) {
        ++left;
        return true;
    });
    EXPECT_EQ(left, 1);
}

TEST(PublishedPicture, TellsItsListenerAfterEachPublication) {
    PublishedPicture published;
    PictureBuilder builder(published, [] { return base::WallTime(); });
    std::vector<Revision> seen;
    published.setListener([&] { seen.push_back(published.current()->revision); });
    builder.accept({LINE_UPDATED, 1, Line(1)});
    builder.publish();
    builder.publish();
    EXPECT_EQ(seen, (std::vector<Revision>{1, 1}));
    EXPECT_NE(
        published.current()->find(records::Table::LINES, 1)->json.find(R"("updated_at":"1970-01-01T00:00:00.000Z")"),
        std::string::npos);
}

TEST(Tables, AreFoundByTheirNames) {
    for (const records::Table table : records::kEveryTable) EXPECT_EQ(records::tableNamed(tableName(table)), table);
    EXPECT_EQ(records::tableNamed("stops"), std::nullopt);
}

}  // namespace

}  // namespace pis::picture
