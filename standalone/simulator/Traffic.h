// The trains of one operating day: they run by the timetable, a little late or early, and each step of a
// train reports what it changes. The simulation calls; records go out through `report`.
#ifndef PIS_SIMULATOR_TRAFFIC_H
#define PIS_SIMULATOR_TRAFFIC_H

#include <deque>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "feed/FeedRecord.h"
#include "simulator/Agenda.h"
#include "simulator/Railway.h"
#include "simulator/Timetable.h"

namespace pis::simulator {

class Traffic {
public:
    static constexpr int kServiceKept = 20 * 60;  ///< Seconds that a service stays known after its end.
    static constexpr int kTellingDelay = 45;      ///< Smaller changes of an expected delay are not told.

    using Report = std::function<void(feed::FeedRecord)>;

    /// Puts the whole day into the agenda, which begins with it. Services that are to be known from the
    /// beginning are; nothing is reported yet.
    Traffic(const Network& network, Agenda& agenda, std::mt19937& random, Report report);

    /// Whatever is changed here is to be reported by who changes it; the services are changed through the
    /// functions below.
    railway::Railway& elements() { return _railway; }

    void report(feed::FeedRecord record) { _report(std::move(record)); }

    /// A vehicle fails: its next services are cancelled until one starts where it stands then.
    /// @param sparesLastTrains true when nothing is to happen to a last train: the vehicle fails not, then.
    void fail(int vehicleId, bool sparesLastTrains);

    /// The pattern stops where it has passed so far.
    void addStop(const Network::StopAdded& added);

    /// Makes a service known, and has it run when it has a vehicle. Its trip must be known; its stops are
    /// numbered here. One that has the same id goes before.
    void add(railway::Service service);

    /// The service ends where it is, before its start or under way: its vehicle is free, its platform clear.
    void cancel(int serviceId);

    /// A service goes, and its stops with it.
    void remove(int serviceId);

    /// All services go, also those not made known yet.
    void removeAll();

    /// The vehicle goes: what it runs and was to run is cancelled.
    void removeVehicle(int vehicleId);
    void removeAllVehicles();

    /// Adds a stop to a service that has not started, behind those of its trip that lie before.
    /// @return id of the new service stop.
    int addServiceStop(railway::Service& service, int tripStopId);

    /// Takes a stop from a service that has not started or has ended.
    void removeServiceStop(int stopId);

    /// True from when its train is brought out until that is stabled, behind the service's end.
    bool hasTrainOut(const railway::Service& service) const;

private:
    using Step = void (Traffic::*)(int serviceId);

    /// A service at the stop that it heads for or stands at, the last one once it has ended.
    struct Visit {
        railway::Service& service;
        railway::ServiceStop& stop;
        railway::TripStop& plan;
        railway::Platform& platform;
        railway::Vehicle& vehicle;

        bool isFirst() const { return service.ahead == 0; }
        bool isLast() const { return service.ahead + 1 >= service.stops.size(); }
        bool stopsHere() const { return plan.stopping || isFirst() || isLast(); }
    };

    void at(int time, Step step, int serviceId);
    void after(int seconds, Step step, int serviceId) { at(_agenda.now() + seconds, step, serviceId); }

    // A train's steps.
    void bringOut(int serviceId);
    void approach(int serviceId);
    void arrive(int serviceId);
    void board(int serviceId);
    void depart(int serviceId);
    void leave(int serviceId);
    void pass(int serviceId);
    void terminate(int serviceId);
    void stable(int serviceId);
    void forget(int serviceId) { remove(serviceId); }

    // What the steps share.
    Visit visit(int serviceId);
    std::deque<int>& sectionBefore(const Visit& here);
    bool mayEnter(const Visit& here);
    void enter(const Visit& here);
    void clear(int platformId, int serviceId);
    void headForNext(const Visit& here);
    void checkOff(const Visit& here);
    void expectDelays(const railway::Service& service, std::size_t from, int delay);
    const railway::ServiceStop& stopAfter(const Visit& here) const;
    std::string sectionAfter(const Visit& here);
    std::string depotBy(const railway::Platform& platform) const;
    void layOver(railway::Vehicle& vehicle);
    railway::Platform& platformOf(const railway::ServiceStop& stop);
    int plannedEnd(const railway::Service& service) const;
    void show(railway::Platform& platform, PlatformInfo::State state);
    void show(railway::Service& service, ::Service::State state);
    void showDoors(railway::Vehicle& vehicle, ::Vehicle::DoorSide opening, ::Vehicle::DoorSide opened);
    int seconds(int lowest, int highest);

    // Services come and go.
    void announce(PlannedService& planned);
    void makeKnown(railway::Service service, int firstStop);
    void listPasser(const railway::ServiceStop& stop);
    void unlistPasser(const railway::ServiceStop& stop);
    void insertPasser(railway::Platform& platform, const railway::ServiceStop& stop);
    void movePasser(const railway::ServiceStop& stop);
    void orderPassers(railway::Platform& platform);
    bool comesBefore(int stopId, int otherStopId) const;
    void takeOffTheTrack(railway::Service& service);
    void stableWhereItIs(const railway::Service& service);
    void endServicesOf(int vehicleId);
    std::vector<int> nextRuns(int vehicleId) const;
    bool stillAhead(int serviceId) const;

    const Network& _network;
    Agenda& _agenda;
    std::mt19937& _random;
    Report _report;
    std::vector<PlannedService> _planned;
    std::vector<std::vector<int>> _runs;  // by vehicle id, less 1
    railway::Railway _railway;
    std::map<std::pair<int, int>, std::deque<int>> _sections;  // between two platforms: services in their order
    int _lastStopId;
};

}  // namespace pis::simulator

#endif
