// A railway that changes as the input says: as one at random does, and in ways that none ever would.
#ifndef FUZZ_FUZZEDRAILWAY_H
#define FUZZ_FUZZEDRAILWAY_H

#include <memory>

#include "Input.h"
#include "RandomRailway.h"
#include "feed/RecordParser.h"

class FuzzedRailway {
public:
    /// Small, so that inputs reach it.
    static constexpr std::size_t kLoggedChanges = 200;

    /// Begins with nothing, or with a train that is about to depart.
    explicit FuzzedRailway(Input& input)
        : _railway([&input](int most) { return input.upTo(most); }, kLoggedChanges), _input(input) {
        if (input.once(2)) addTrain();
    }
    FuzzedRailway(const FuzzedRailway&) = delete;
    FuzzedRailway& operator=(const FuzzedRailway&) = delete;

    std::shared_ptr<const pis::picture::Picture> publish() { return _railway.publish(); }
    const pis::picture::PublishedPicture& published() const { return _railway.published(); }

    /// Changes one record, or many, or the feed's status.
    void change() {
        switch (_input.upTo(20)) {
            case 1: return _railway.deleteAllTripStops();
            case 2: return _railway.changeFeed();
            case 3: return changeNumbers();
            case 4:
            case 5: return takeLine(_input.text(kLongestLine));
            default: return _railway.change();
        }
    }

private:
    static constexpr std::size_t kLongestLine = 300;

    /// As the railway itself numbers what belongs together.
    void addTrain() {
        using namespace SignallingCodes;
        pis::picture::PictureBuilder& builder = _railway.builder();
        for (const int id : {1, 2}) {
            PlatformInfo platform(id);
            platform.setStationId(id + 1);
            builder.accept({STATION_UPDATED, id + 1, Station(id + 1)});
            builder.accept({PLATFORM_UPDATED, id, platform});
        }
        builder.accept({SERVICE_UPDATED, 1, Service(1, 2, pis::picture::RandomRailway::kNow)});
        takeLine(R"({"update": 7, "id": 7, "fields": ["2", "1", "Y", "0", "60"]})");
        takeLine(R"({"update": 7, "id": 8, "fields": ["2", "2", "Y", "180", "180"]})");
        takeLine(R"({"update": 9, "id": 7, "fields": ["1", "7", "0", "0", "0"]})");
        publish();
    }

    int id() { return _input.once(10) ? _input.any<int>() : _input.upTo(pis::picture::RandomRailway::kTrips); }

    /// Numbers that no timetable has.
    void changeNumbers() {
        Service service(id(), id(), static_cast<long>(_input.any<std::uint32_t>()));
        service.setState(static_cast<Service::State>(_input.upTo(10) - 1));
        service.setFollowingStopsListAsString(_input.text(kLongestLine));
        _railway.builder().accept({SignallingCodes::SERVICE_UPDATED, service.getId(), service});
    }

    /// A line of a feed: the records of stops, the time and deletions, which the store hands on as they are.
    void takeLine(const std::string& line) {
        static pis::feed::RecordParser parser;
        pis::feed::FeedRecord record;
        if (!parser.parseCopy(line, record)) return;
        pis::picture::PictureBuilder& builder = _railway.builder();
        if (record.at) builder.feed().at = record.at;
        if (record.kind == pis::feed::FeedRecord::UPDATE) builder.acceptStop(record);
        if (record.kind == pis::feed::FeedRecord::DELETION) builder.acceptDeletion(record.type, record.id);
    }

    pis::picture::RandomRailway _railway;
    Input& _input;
};

#endif
