// A picture of the size of a big city's metro, some 51,000 rows: 34,000 service stops of 1,134 services on 504 trips,
// 180 stations, the day at eight in the morning.
#ifndef BENCHMARKS_METROPICTURE_H
#define BENCHMARKS_METROPICTURE_H

#include <memory>
#include <vector>

#include "picture/PictureBuilder.h"

/// Seven lines of thirty stations, each a train every seven minutes. Six stations in the middle of a line are among
/// twelve that the lines share: at each of those half of the lines meet. One trip is run by two or three services.
class MetroPicture {
public:
    static constexpr int kNow = 8 * 3600;
    static constexpr int kStations = 180;

    MetroPicture();

    std::shared_ptr<const pis::picture::Picture> current() const { return _published.current(); }

    /// One record of a running feed: by turns a platform's state, a service's, where a vehicle is, and every tenth a
    /// delay. Published at once.
    void publishRecord();

    /// The time of the feed.
    void setTime(double at) { _builder.feed().at = at; }

private:
    static constexpr int kLines = 7;
    static constexpr int kStopsOfTrip = 30;
    static constexpr int kTripsOfLine = 72;
    static constexpr int kTrips = kLines * kTripsOfLine;
    static constexpr int kServicesOfLine = 162;
    static constexpr int kServices = kLines * kServicesOfLine;
    static constexpr int kMiddle = 12;
    static constexpr int kFirstInMiddle = 12;  // of a line's thirty
    static constexpr int kInMiddle = 6;

    static int lineOf(int trip) { return (trip - 1) / kTripsOfLine; }
    static int tripOf(int service) {
        const int line = (service - 1) / kServicesOfLine;
        return 1 + line * kTripsOfLine + (service - 1) % kTripsOfLine;
    }
    static bool isBackwards(int trip) { return trip % 2 == 0; }
    static int startOf(int service) { return 5 * 3600 + ((service - 1) % kServicesOfLine) * 7 * 60; }
    static int stationAt(int line, int place);
    static int platformAt(int line, int place, bool backwards) {
        return 1 + (line * kStopsOfTrip + place) * 2 + (backwards ? 1 : 0);
    }
    static int nextPlaceOf(int service);

    void addStations();
    void addTrip(int id);
    void changePlatform(int line, int place, bool backwards, int state);
    void changeService(int id, int nextPlace);
    void changeVehicle(int id);
    void changeDelay(int service, int place, int delay);
    void acceptStop(int type, int id, const std::vector<int>& numbers);

    int _records = 0;
    pis::picture::PublishedPicture _published;
    pis::picture::PictureBuilder _builder{_published, [] { return std::chrono::system_clock::now(); }};
};

#endif
