// A service over a picture that stands still, for targets that ask it.
#ifndef FUZZ_SMALLSERVICE_H
#define FUZZ_SMALLSERVICE_H

#include "SignallingCodes.h"
#include "picture/PictureBuilder.h"
#include "service/Api.h"
#include "service/ChangeStream.h"

namespace small {

using namespace SignallingCodes;

inline pis::base::WallTime someTime() {
    return pis::base::WallTime(std::chrono::hours(500000));
}

template <typename Record>
void tell(pis::picture::PictureBuilder& builder, int code, const Record& record) {
    builder.accept({code, record.getId(), record});
}

inline void tellOfStop(pis::picture::PictureBuilder& builder, int type, int id,
                       std::initializer_list<const char*> texts) {
    pis::feed::FeedRecord record;
    record.type = type;
    record.id = id;
    for (const char* text : texts) record.fields.append(text);
    builder.acceptStop(record);
}

/// A picture with a train that is still to depart.
inline void fill(pis::picture::PictureBuilder& builder) {
    Station station(5);
    station.setName("Harbour");
    PlatformInfo platform(9);
    platform.setStationId(5);
    Trip trip(3);
    trip.setStopsListAsString("1!2");
    Service service(12);
    service.setTripId(3);
    tell(builder, LINE_UPDATED, Line(7));
    tell(builder, STATION_UPDATED, station);
    tell(builder, PLATFORM_UPDATED, platform);
    tell(builder, TRIP_UPDATED, trip);
    tell(builder, SERVICE_UPDATED, service);
    tellOfStop(builder, TRIP_STOP, 1, {"3", "9", "Y", "0", "30"});
    tellOfStop(builder, TRIP_STOP, 2, {"3", "10", "Y", "300", "300"});
    tellOfStop(builder, SERVICE_STOP, 88, {"12", "1", "0", "4294967236", "60"});
    builder.feed().ready = true;
    builder.publish();
}

struct Service {
    explicit Service(bool ready) {
        if (ready) fill(builder);
    }

    pis::picture::PublishedPicture published;
    pis::picture::PictureBuilder builder{published, someTime};
    pis::picture::ServiceClock clock{pis::picture::ClockOptions()};
    pis::service::RevisionTokens tokens{someTime()};
    pis::service::FeedReport report{tokens, clock, 90};
    pis::service::Api api{{published, clock, report, tokens, [] { return std::string("metrics 1\n"); },
                           [] { return pis::feed::IntakeCounts(); }, someTime},
                          {{"h"}, false}};
    pis::service::ChangeStream changes{
        tokens, [this](const pis::picture::Picture& picture) { return report.tick(picture, someTime()); }};
};

}  // namespace small

#endif
