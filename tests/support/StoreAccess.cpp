#include "StoreAccess.h"

namespace {

template <typename Tag, typename Tag::Member member>
struct Grant {
    friend typename Tag::Member granted(Tag) { return member; }
};

template <typename Class, typename Type, int number>
struct Tag {
    using Member = Type Class::*;
};

template <typename Type, int number>
using StoreTag = Tag<PassengerInformationServer, Type, number>;

using Lines = StoreTag<std::vector<Line>, 0>;
using Vehicles = StoreTag<std::vector<Vehicle>, 1>;
using Stations = StoreTag<std::vector<Station>, 2>;
using Platforms = StoreTag<std::vector<PlatformInfo>, 3>;
using Trips = StoreTag<std::vector<Trip>, 4>;
using TripStops = StoreTag<std::vector<TripStop>, 5>;
using Services = StoreTag<std::vector<Service>, 6>;
using ServiceStops = StoreTag<std::vector<ServiceStop>, 7>;
using Observers = StoreTag<std::vector<PassengerInformationObserver*>, 8>;
using Lock = StoreTag<qxLocalMutex, 9>;
using ServicesOfVehicle = Tag<Vehicle, std::vector<Service>, 10>;

Lines::Member granted(Lines);
Vehicles::Member granted(Vehicles);
Stations::Member granted(Stations);
Platforms::Member granted(Platforms);
Trips::Member granted(Trips);
TripStops::Member granted(TripStops);
Services::Member granted(Services);
ServiceStops::Member granted(ServiceStops);
Observers::Member granted(Observers);
Lock::Member granted(Lock);
ServicesOfVehicle::Member granted(ServicesOfVehicle);

template struct Grant<Lines, &PassengerInformationServer::_lines>;
template struct Grant<Vehicles, &PassengerInformationServer::_vehicles>;
template struct Grant<Stations, &PassengerInformationServer::_stations>;
template struct Grant<Platforms, &PassengerInformationServer::_platforms>;
template struct Grant<Trips, &PassengerInformationServer::_trips>;
template struct Grant<TripStops, &PassengerInformationServer::_tripStops>;
template struct Grant<Services, &PassengerInformationServer::_services>;
template struct Grant<ServiceStops, &PassengerInformationServer::_serviceStops>;
template struct Grant<Observers, &PassengerInformationServer::_pisObserverList>;
template struct Grant<Lock, &PassengerInformationServer::pisMtx>;
template struct Grant<ServicesOfVehicle, &Vehicle::_services>;

}  // namespace

std::vector<Line>& linesOf(PassengerInformationServer& store) {
    return store.*granted(Lines());
}
std::vector<Vehicle>& vehiclesOf(PassengerInformationServer& store) {
    return store.*granted(Vehicles());
}
std::vector<Station>& stationsOf(PassengerInformationServer& store) {
    return store.*granted(Stations());
}
std::vector<PlatformInfo>& platformsOf(PassengerInformationServer& store) {
    return store.*granted(Platforms());
}
std::vector<Trip>& tripsOf(PassengerInformationServer& store) {
    return store.*granted(Trips());
}
std::vector<TripStop>& tripStopsOf(PassengerInformationServer& store) {
    return store.*granted(TripStops());
}
std::vector<Service>& servicesOf(PassengerInformationServer& store) {
    return store.*granted(Services());
}
std::vector<ServiceStop>& serviceStopsOf(PassengerInformationServer& store) {
    return store.*granted(ServiceStops());
}
std::vector<PassengerInformationObserver*>& observersOf(PassengerInformationServer& store) {
    return store.*granted(Observers());
}
qxLocalMutex& lockOf(PassengerInformationServer& store) {
    return store.*granted(Lock());
}
std::vector<Service>& servicesOf(Vehicle& vehicle) {
    return vehicle.*granted(ServicesOfVehicle());
}
