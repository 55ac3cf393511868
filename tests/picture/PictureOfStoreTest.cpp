// The picture against the store: random feeds go into the store on the real platform and, by its event
// queue, into a builder. Whenever a picture is published it must show what the store's tables show, and
// its log of changes and its indexes must agree with its rows.
#include <algorithm>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "PictureTest.h"
#include "StoreAccess.h"
#include "feed/StopRecords.h"
#include "feed/StoreEntry.h"
#include "platform/EventQueue.h"
#include "platform/HostLog.h"
#include "records/TableDump.h"

namespace pis::picture {

namespace {

using Lines = std::multiset<std::string>;
using Shadow = std::map<std::pair<records::Table, int>, std::string>;

constexpr int kSteps = 2000;
constexpr int kCodes[] = {2, 3, 4, 5, 6, 7, 7, 7, 8, 8, 9, 9, 9, 10, 11, 12, 12, 13, 98, 99, 0};
constexpr int kDeleted[] = {0, 2, 3, 4, 5, 6, 7, 7, 8, 9, 9, 10, 13, 98, -1};
const std::vector<std::optional<std::string>> kTexts = {
    std::nullopt, "",   "(null)", "1",     "2",   "3",     "4",          "5",          "6",
    "Y",          "N",  "Yes",    "y",     "0",   "-60",   "4294967236", "2147483648", "-2147483649",
    "12abc",      " 3", "+4",     "1!2!3", "4!x", "North", "Lännavik",   "\xff"};

class PictureOfStore : public PictureTest, public ::testing::WithParamInterface<int> {
protected:
    PictureOfStore() {
        platform::HostLog::setLevel(-1);
        renewStore();
    }
    ~PictureOfStore() override { renewStore(); }

    /// An empty store and an empty queue.
    static void renewStore() {
        gPassengerInformationServer.~PassengerInformationServer();
        new (&gPassengerInformationServer) PassengerInformationServer();
        while (platform::EventQueue::instance().pop()) continue;
    }

    void deliver(int type, int id, const feed::FieldTexts& fields) {
        feed::FeedRecord record;
        record.type = type;
        record.id = id;
        record.fields = fields;
        _entry.update(record);
        passEvents();
        builder.acceptStop(record);
    }

    void remove(int type, int id) {
        store.deletePassengerInformation(type, id);
        passEvents();
        builder.acceptDeletion(type, id);
    }

    void passEvents() {
        while (const auto item = platform::EventQueue::instance().pop()) builder.accept(*item);
    }

    template <typename Record>
    static std::string signedLine(const Record& record) {
        return records::dumpLine(record, records::Times::SIGNED);
    }

    /// What the store's tables show, and of the service stops what their trip stops say now.
    Lines linesOfStore() {
        Lines lines;
        records::forEachTableOf(store, {}, [&lines](const auto& table) {
            for (const auto& record : table) lines.insert(signedLine(record));
        });
        std::map<int, TripStop> tripStops;
        for (const TripStop& stop : store.getTripStops()) tripStops.emplace(stop.getId(), stop);
        for (ServiceStop stop : serviceStopsOf(store)) {
            const auto tripStop = tripStops.find(stop.getTripStopId());
            const TripStop joined = tripStop != tripStops.end() ? tripStop->second : TripStop(0);
            feed::join(stop, joined);
            lines.insert(signedLine(stop));
        }
        return lines;
    }

    static std::string withoutTime(const std::string& json) {
        return json.substr(0, json.rfind(R"(,"updated_at":)")) + "}";
    }

    static Lines linesOf(const Picture& picture) {
        Lines lines;
        for (const records::Table table : records::kEveryTable) {
            for (const auto& row : picture.rowsOf(table)) lines.insert(withoutTime(row->json));
        }
        return lines;
    }

    static Shadow shadowOf(const Picture& picture) {
        Shadow shadow;
        for (const records::Table table : records::kEveryTable) {
            for (const auto& row : picture.rowsOf(table)) shadow[{table, row->id}] = row->json;
        }
        return shadow;
    }

    /// Brings a reader's copy of an earlier revision up to date.
    static void follow(Shadow& shadow, const Changes& changes) {
        for (const Change& change : changes.latest) {
            if (change.row != nullptr) {
                shadow[{change.table, change.id}] = change.row->json;
            } else {
                shadow.erase({change.table, change.id});
            }
        }
    }

    template <typename Record>
    static std::map<int, std::vector<int>> indexBy(const TableOf<Record>& table, int (Record::*key)() const) {
        std::map<int, std::vector<int>> index;
        table.forEach([&](int id, const auto& row) {
            if ((row->record.*key)() != 0) index[(row->record.*key)()].push_back(id);
        });
        return index;
    }

    static std::map<int, std::vector<int>> contentsOf(const PersistentMap<int, Ids>& index) {
        std::map<int, std::vector<int>> contents;
        index.forEach([&contents](int key, const Ids& ids) { contents[key] = *ids; });
        return contents;
    }

    void expectIndexesToAgree() const {
        ASSERT_EQ(contentsOf(picture->platformsOfStation),
                  indexBy(picture->table<PlatformInfo>(), &PlatformInfo::getStationId));
        ASSERT_EQ(contentsOf(picture->tripStopsAtPlatform),
                  indexBy(picture->table<TripStop>(), &TripStop::getPlatformId));
        ASSERT_EQ(contentsOf(picture->tripStopsOfTrip), indexBy(picture->table<TripStop>(), &TripStop::getTripId));
        ASSERT_EQ(contentsOf(picture->servicesOfTrip), indexBy(picture->table<Service>(), &Service::getTripId));
        ASSERT_EQ(contentsOf(picture->stopsOfService),
                  indexBy(picture->table<ServiceStop>(), &ServiceStop::getServiceId));
    }

    PassengerInformationServer& store = gPassengerInformationServer;

private:
    feed::StoreEntry _entry{store};
};

TEST_P(PictureOfStore, ShowsWhatTheStoreShows) {
    std::mt19937 random(static_cast<std::uint32_t>(GetParam()));
    const auto below = [&random](std::size_t bound) { return random() % bound; };
    const std::size_t ids = GetParam() % 2 == 0 ? 6 : 300;
    Shadow reader = {};
    Revision readerKnows = 0;
    std::vector<std::pair<std::shared_ptr<const Picture>, Shadow>> kept;
    Shadow shown = shadowOf(publish());
    for (int step = 0; step < kSteps; ++step) {
        wall += std::chrono::milliseconds(7);
        const int id = below(50) == 0 ? 0 : static_cast<int>(below(ids)) + 1;
        if (below(12) == 0) {
            remove(kDeleted[below(std::size(kDeleted))], below(40) == 0 ? 0 : id);
        } else {
            feed::FieldTexts fields;
            for (std::size_t count = below(11); count > 0; --count) {
                const auto& text = kTexts[below(kTexts.size())];
                text ? fields.append(*text) : fields.appendMissing();
            }
            deliver(kCodes[below(std::size(kCodes))], id, fields);
        }
        if (below(5) != 0) continue;

        const Revision before = picture->revision;
        const bool expectsChanges = builder.hasChanges();
        publish();
        ASSERT_EQ(linesOf(*picture), linesOfStore()) << "step " << step;
        const Shadow shownBefore = std::exchange(shown, shadowOf(*picture));
        ASSERT_EQ(picture->revision, before + (shown != shownBefore ? 1 : 0)) << "step " << step;
        ASSERT_EQ(expectsChanges, shown != shownBefore) << "step " << step;
        expectIndexesToAgree();

        if (below(3) == 0) {
            if (const auto changes = picture->changesSince(readerKnows)) {
                follow(reader, *changes);
            } else {
                reader = shown;
            }
            ASSERT_EQ(reader, shown) << "step " << step;
            readerKnows = picture->revision;
        }
        if (below(10) == 0) kept.emplace_back(picture, shown);
    }
    for (const auto& [earlier, shadow] : kept) ASSERT_EQ(shadowOf(*earlier), shadow);
    ASSERT_GT(kept.size(), 10U);
}

INSTANTIATE_TEST_SUITE_P(Feeds, PictureOfStore, ::testing::Values(1, 2, 3, 4));

using PictureOfOneService = PictureOfStore;

TEST_F(PictureOfOneService, ShowsServiceStopsAsTheStoreHoldsThemWhereTheTripStopCameFirst) {
    deliver(7, 31, fieldsOf({"3", "9", "Y", "10", "20"}));
    deliver(9, 88, fieldsOf({"12", "31", "25200", "-60", "60"}));
    deliver(9, 89, fieldsOf({"12", "32", "25200"}));
    publish();
    for (const ServiceStop& stop : serviceStopsOf(store)) {
        EXPECT_EQ(withoutTime(json(records::Table::SERVICE_STOPS, stop.getId())), signedLine(stop));
    }
    EXPECT_EQ(picture->size(records::Table::SERVICE_STOPS), serviceStopsOf(store).size());
}

TEST_F(PictureOfOneService, ShowsAServiceCompletedFromItsTrip) {
    deliver(8, 12, fieldsOf({"3", "25200"}));
    publish();
    EXPECT_NE(json(records::Table::SERVICES, 12).find("Unknown Service"), std::string::npos);
    deliver(6, 3, fieldsOf({"East - West", "1"}));
    deliver(8, 12, fieldsOf({"3", "25200"}));
    publish();
    EXPECT_NE(json(records::Table::SERVICES, 12).find("East - West"), std::string::npos);
    EXPECT_EQ(linesOf(*picture), linesOfStore());
}

}  // namespace

}  // namespace pis::picture
