// The passenger-information store: the current picture of a railway as the signalling side reports
// it. Element updates and deletions come in from the host's signalling storage; clients inside the
// host read copies of tables, register observers and make requests, which go out to the signalling
// server and change nothing here. Parses as C++11.
#ifndef SIGNALLINGCONTROLLER_H
#define SIGNALLINGCONTROLLER_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "EventItem.h"
#include "KEBlist.h"
#include "QXReceiver.h"
#include "debug.h"
#include "hostStrings.h"
#include "qxMutex.h"

class PassengerInformationServer;
class PlatformInfo;

/// The unit's own names; nothing here is for clients.
namespace SignallingControllerPrivate {
template <typename Record>
struct UpdateRule;
template <typename Record>
struct RemovalRule;
}  // namespace SignallingControllerPrivate

/// Text that names a location, in the signalling side's own terms.
using LocationId = std::string;

// Records are plain values: a copy owns all of its texts, nothing is locked, nothing is virtual. A pair
// of set and get operations shares one comment; it sets and reads one member and cannot fail but for
// memory. The values come from the signalling side's element records unless the comment says otherwise.
// Offsets, times and delays are passed through in the unit of the signalling side (seconds in the
// feeds seen so far). An enumerated member and its text are independent: each shows what the
// signalling side sent for it, and a code without an enumerator is kept as it came.

/// An element with an id, a display name and an abbreviation; the base of every record.
class NamedId {
public:
    NamedId() : NamedId(0) {}

    /// Name and abbreviation are empty.
    NamedId(int id);

    NamedId(const NamedId&) = default;
    NamedId(NamedId&&) = default;
    NamedId& operator=(const NamedId&) = default;
    NamedId& operator=(NamedId&& other) noexcept;
    ~NamedId() = default;

    /// The element's id, unique within its table; fixed at construction.
    int getId() const { return _id; }

    /// Display name.
    void setName(const std::string& name) { _name = name; }
    std::string getName() const { return _name; }

    /// Abbreviation.
    void setAbrv(const std::string& abrv) { _abrv = abrv; }
    std::string getAbrv() const { return _abrv; }

protected:
    /// Offsets, times and delays as they are stored: the host's `unsigned long`, which has 32 bits there. Where
    /// `long` is wider the records keep to 32 bits, so that the same feed leaves the same values.
    using StoredTime = std::conditional<sizeof(long) == 4, unsigned long, std::uint32_t>::type;

    std::int32_t _id;
    std::string _name;
    std::string _abrv;

    friend class PassengerInformationServer;
};

// Stops bear no names. Passing over empty texts makes a stop some bytes to move, and a deletion moves
// every stop behind it.
inline NamedId& NamedId::operator=(NamedId&& other) noexcept {
    _id = other._id;
    if (!_name.empty() || !other._name.empty()) _name = std::move(other._name);
    if (!_abrv.empty() || !other._abrv.empty()) _abrv = std::move(other._abrv);
    return *this;
}

/// A line of the railway: nothing beyond id, name and abbreviation.
using Line = NamedId;

/// One timetabled call of a trip at a platform.
class TripStop : public NamedId {
public:
    TripStop() : TripStop(0) {}

    /// Names empty, platform and offsets 0, not stopping. The trip id is left to `setTripId`; until
    /// then it reads 0.
    TripStop(int id);

    /// As above, with platform, stopping flag and offsets given. Negative offsets are stored as
    /// their unsigned 32-bit value.
    TripStop(int id, int platformId, bool isStopping, long schArvOffset, long schDepOffset);

    /// Trip that this stop belongs to.
    void setTripId(int tripId) { _tripId = tripId; }
    int getTripId() const { return _tripId; }

    /// Platform at which the trip calls.
    void setPlatformId(int platformId) { _platformId = platformId; }
    int getPlatformId() const { return _platformId; }

    /// True when the trip stops there, false when it passes.
    void setIsStopping(bool isStopping) { _isStopping = isStopping; }
    bool isStopping() const { return _isStopping; }

    /// Scheduled arrival, counted from the start of the trip; 32 bits are kept.
    void setSchArvOffset(unsigned long offset) { _schArvOffset = static_cast<StoredTime>(offset); }
    unsigned long getSchArvOffset() const { return _schArvOffset; }

    /// Scheduled departure, counted from the start of the trip; 32 bits are kept.
    void setSchDepOffset(unsigned long offset) { _schDepOffset = static_cast<StoredTime>(offset); }
    unsigned long getSchDepOffset() const { return _schDepOffset; }

protected:
    std::int32_t _tripId = 0;
    std::int32_t _platformId;
    bool _isStopping;
    StoredTime _schArvOffset;
    StoredTime _schDepOffset;

    friend class PassengerInformationServer;
};

/// One call of a running service: the trip stop that it realises, and how late it is there.
class ServiceStop : public TripStop {
public:
    ServiceStop() : ServiceStop(0) {}

    /// Everything but the id is 0, empty or false.
    ServiceStop(int id);

    /// As above, with service and trip stop given.
    ServiceStop(int id, int serviceId, int tripStopId);

    /// Service that this stop belongs to.
    void setServiceId(int serviceId) { _serviceId = serviceId; }
    int getServiceId() const { return _serviceId; }

    /// Trip stop that this service stop realises.
    void setTripStopId(int tripStopId) { _tripStopId = tripStopId; }
    int getTripStopId() const { return _tripStopId; }

    /// Start time of the owning service; 32 bits are kept.
    void setServiceStartTime(unsigned long time) { _serviceStartTime = static_cast<StoredTime>(time); }
    unsigned long getServiceStartTime() const { return _serviceStartTime; }

    /// Arrival delay; 32 bits are kept. An early train's negative delay shows as its unsigned value.
    void setArvDelay(unsigned long delay) { _arvDelay = static_cast<StoredTime>(delay); }
    unsigned long getArvDelay() const { return _arvDelay; }

    /// Departure delay; as the arrival delay.
    void setDepDelay(unsigned long delay) { _depDelay = static_cast<StoredTime>(delay); }
    unsigned long getDepDelay() const { return _depDelay; }

    // Declared for clients that name them; nothing in the system calls them and they have no body.
    void setArvTime(unsigned long time);
    unsigned long getArvTime() const;
    void setDepTime(unsigned long time);
    unsigned long getDepTime() const;
    void setDelay(unsigned long delay);

protected:
    std::int32_t _serviceId;
    std::int32_t _tripStopId;
    StoredTime _serviceStartTime;
    StoredTime _arvDelay;
    StoredTime _depDelay;

    friend class PassengerInformationServer;
};

/// A timetabled run of a line in one direction with a stopping pattern.
class Trip : public NamedId {
public:
    /// Direction of travel along the line.
    enum Direction : int { DESCENDING = 0, ASCENDING = 1 };
    /// Stopping pattern.
    enum Priority : int { ALL_STOPS = 0, LIMITED_STOPS = 1, EXPRESS = 2 };

    Trip() : Trip(0) {}

    /// Name "Unknown Trip", ascending, priority `ALL_STOPS` with the text "ALL_STOPS".
    Trip(int id);

    /// As above with direction and priority given. The priority text is empty: it is never derived
    /// from the priority.
    Trip(int id, Direction direction, Priority priority);

    /// Line that the trip runs on.
    void setLineId(int lineId) { _lineId = lineId; }
    int getLineId() const { return _lineId; }

    /// Direction of travel.
    void setDirection(Direction direction) { _direction = direction; }
    Direction getDirection() const { return _direction; }

    /// Stopping pattern.
    void setPriority(Priority priority) { _priority = priority; }
    Priority getPriority() const { return _priority; }

    /// Stopping pattern as shown to passengers.
    void setPriorityText(const std::string& text) { _priorityText = text; }
    std::string getPriorityText() const { return _priorityText; }

    /// Ids of the trip's stops as a list string separated by "!".
    void setStopsListAsString(const std::string& list) { _stopsListAsString = list; }
    std::string getStopsListAsString() const { return _stopsListAsString; }

    /// Does nothing: the stops are only ever held as a list string.
    void setStops(const std::vector<int>& stops);

protected:
    std::int32_t _lineId;
    Direction _direction;
    Priority _priority;
    std::string _priorityText;
    std::string _stopsListAsString;

    friend class PassengerInformationServer;
};

/// A running instance of a trip: its start time, its vehicle, its state and its stops.
///
/// The requests below go to the signalling server and change nothing in this object; what became of
/// them arrives later as element updates. They report no failure, take no lock of the store and may
/// be called from any thread.
class Service : public Trip {
public:
    /// Running state of a service.
    enum State : int {
        NOT_STARTED = 0,
        RUNNING = 1,
        APPROACHING_STATION = 2,
        IN_STATION = 3,
        BOARDING = 4,
        DEPARTING_STATION = 5,
        DEPARTED_STATION = 6,
        TERMINATED = 7,
        CANCELLED = 8
    };

    Service() : Service(0) {}

    /// Name "Unknown Service", state `NOT_STARTED` with the text "NOT_STARTED", all else 0, empty or
    /// as in `Trip(int)`. Loading flag, destination, last-train flag and line are left to their
    /// setters; until then they read false and 0.
    Service(int id);

    /// As above with trip and start time given.
    Service(int id, int tripId, long startTime);

    /// Trip that this service runs.
    void setTripId(int tripId) { _tripId = tripId; }
    int getTripId() const { return _tripId; }

    /// Start time; 32 bits are kept.
    void setStartTime(unsigned long time) { _startTime = static_cast<StoredTime>(time); }
    unsigned long getStartTime() const { return _startTime; }

    /// Vehicle that runs the service.
    void setVehicleId(int vehicleId) { _vehicleId = vehicleId; }
    int getVehicleId() const { return _vehicleId; }

    /// Ids of the service stops still ahead, as a list string separated by "!".
    void setFollowingStopsListAsString(const std::string& list) { _followingStopsListAsString = list; }
    std::string getFollowingStopsListAsString() const { return _followingStopsListAsString; }

    /// Running state; any value may follow any other.
    void setState(State state) { _state = state; }
    State getState() const { return _state; }

    /// Running state as text.
    void setStateText(const std::string& text) { _stateText = text; }
    std::string getStateText() const { return _stateText; }

    /// True while the service takes passengers.
    void setIsLoading(bool isLoading) { _isLoading = isLoading; }
    bool getIsLoading() const { return _isLoading; }

    /// Station at which the service ends.
    void setDestinationStationId(const int& stationId) { _destinationSationId = stationId; }
    int getDestinationStationId() const { return _destinationSationId; }

    /// True for the last train of the day.
    void setIsLastTrain(bool isLastTrain) { _isLastTrain = isLastTrain; }
    bool getIsLastTrain() const { return _isLastTrain; }

    /// Line of the service. It is the service's own: the line of the trip that it extends is reached
    /// as `Trip::getLineId()`.
    void setLineId(const int& lineId) { _lineId = lineId; }
    int getLineId() const { return _lineId; }

    /// A copy of the stops held in this object. The store never fills them.
    std::vector<ServiceStop> getServiceStops() const { return _serviceStops; }

    /// Requests a further stop. Only this service and its trip are named; `stop` is not read.
    void addServiceStop(const ServiceStop& stop) const;

    /// Requests the deletion of a stop, or of all stops when the id is below 1.
    void deleteServiceStop(int serviceStopId) const;

    /// Requests the deletion of all stops.
    void deleteAllServiceStops() const;

    /// Requests the deletion of all stops, then one addition for each element of `stops`.
    void setServiceStops(const std::vector<ServiceStop>& stops) const;

    /// Requests another running state. The state held here does not change.
    void updateServiceState(State serviceState) const;

protected:
    std::int32_t _tripId;
    StoredTime _startTime;
    std::int32_t _vehicleId;
    std::string _followingStopsListAsString;
    State _state;
    std::string _stateText;
    std::vector<ServiceStop> _serviceStops;
    bool _isLoading = false;
    std::int32_t _destinationSationId = 0;  // misspelt so in the whole system
    bool _isLastTrain = false;
    std::int32_t _lineId = 0;  // hides Trip::_lineId

    friend class PassengerInformationServer;
};

/// A train: its cars, where it is, which service it runs and which doors open.
class Vehicle : public NamedId {
public:
    /// Direction of travel along the line.
    enum Direction : int { DESCENDING = 0, ASCENDING = 1 };
    /// Whether the vehicle runs services.
    enum State : int { OUT_OF_SERVICE = 0, IN_SERVICE = 1, SWITCHING_SERVICE = 2 };
    /// Side of the vehicle.
    enum DoorSide : int { NONE = 0, SIDE_1 = 1, SIDE_2 = 2, BOTH = 3 };

    Vehicle() : Vehicle(0) {}

    /// Name "Unknown Vehicle", no cars, ascending, out of service; the opening side is `BOTH`, the
    /// opened side `NONE`.
    Vehicle(int id);

    /// Number of cars.
    void setNumCars(int numCars) { _numCars = numCars; }
    int getNumCars() const { return _numCars; }

    /// Where the vehicle is.
    void setCurrentLocation(const LocationId& location) { _currentLocation = location; }
    LocationId getCurrentLocation() const { return _currentLocation; }

    /// Direction of travel.
    void setDirection(Direction direction) { _direction = direction; }
    Direction getDirection() const { return _direction; }

    /// Whether the vehicle runs services.
    void setState(State state) { _state = state; }
    State getState() const { return _state; }

    /// The state as text.
    void setStateText(const std::string& text) { _stateText = text; }
    std::string getStateText() const { return _stateText; }

    /// Service being run; 0 means none.
    void setCurrentServiceId(int serviceId) { _currentServiceId = serviceId; }
    int getCurrentServiceId() const { return _currentServiceId; }

    /// Side whose doors will open.
    void setOpeningDoors(DoorSide side) { _openingDoors = side; }
    DoorSide getOpeningDoors() const { return _openingDoors; }

    /// The opening side as text.
    void setOpeningDoorsText(const std::string& text) { _openingDoorsText = text; }
    std::string getOpeningDoorsText() const { return _openingDoorsText; }

    /// Side whose doors are open.
    void setOpenedDoors(DoorSide side) { _openedDoors = side; }
    DoorSide getOpenedDoors() const { return _openedDoors; }

    /// The opened side as text.
    void setOpenedDoorsText(const std::string& text) { _openedDoorsText = text; }
    std::string getOpenedDoorsText() const { return _openedDoorsText; }

    /// Ids of the vehicle's services as a list string separated by "!".
    void setServicesListAsString(const std::string& list) { _servicesListAsString = list; }
    std::string getServicesListAsString() const { return _servicesListAsString; }

    /// A copy of the services held in this object. The store never fills them.
    std::vector<Service> getServices() const { return _services; }

    /// The first of the services held in this object that bears the current service id.
    /// @throws std::out_of_range* "No Service", by pointer, when there is none or the current
    ///         service id is 0; the catcher deletes it. A vehicle as the store hands it out always
    ///         throws, since the store never fills its services.
    Service getCurrentService() const;

private:
    std::int32_t _numCars;
    LocationId _currentLocation;
    Direction _direction;
    State _state;
    std::string _stateText;
    std::int32_t _currentServiceId;
    DoorSide _openingDoors;
    std::string _openingDoorsText;
    DoorSide _openedDoors;
    std::string _openedDoorsText;
    std::string _servicesListAsString;
    std::vector<Service> _services;

    friend class PassengerInformationServer;
};

/// A stopping place with its platforms.
class Station : public NamedId {
public:
    Station() : Station(0) {}

    /// Name "Unknown Station", not major, no platforms. The closed flag is left to `setIsClosed`;
    /// until then it reads false.
    Station(int id);

    /// As above with name and flags given.
    Station(int id, const std::string& name, bool isMajor, bool isClosed);

    /// True for a major station.
    void setIsMajor(bool isMajor) { _isMajor = isMajor; }
    bool isMajor() const { return _isMajor; }

    /// True while the station is closed. No element update carries it.
    void setIsClosed(bool isClosed) { _isClosed = isClosed; }
    bool isClosed() const { return _isClosed; }

    /// Ids of the station's platforms as a list string separated by "!".
    void setPlatformsListAsString(const std::string& list) { _platformsListAsString = list; }
    std::string getPlatformsListAsString() const { return _platformsListAsString; }

    /// Does nothing: the platforms are only ever held as a list string.
    void setListOfPlatforms(const std::map<int, PlatformInfo>& platforms);

    /// Does nothing, as above.
    void setPlatform(int platformId, const PlatformInfo& platform);

    /// The station's platforms in the order of its list, from `gPassengerInformationServer`. A
    /// platform named twice comes twice; an item that is no number stands for id 0; whether a
    /// platform names this station is not asked. Takes the store's lock for a copy of its platforms.
    std::vector<PlatformInfo> getListOfPlatforms() const;

    /// The first platform of `gPassengerInformationServer` with this id, whichever station it
    /// belongs to. Takes the store's lock for a copy of its platforms.
    /// @throws std::out_of_range* "platform not found", by pointer; the catcher deletes it.
    PlatformInfo getPlatform(int platformId) const;

private:
    bool _isMajor;
    bool _isClosed = false;
    std::string _platformsListAsString;

    friend class PassengerInformationServer;
};

/// One platform of a station and what the next vehicle does there.
class PlatformInfo : public NamedId {
public:
    /// What the next vehicle does at a platform.
    enum State : int {
        NO_VEHICLE_SCHEDULED = 0,
        VEHICLE_APPROACHING = 1,
        VEHICLE_ON_PLATFORM = 2,
        VEHICLE_DOES_NOT_STOP = 3,
        VEHICLE_TERMINATED = 4,
        VEHICLE_BOARDING = 5,
        VEHICLE_DEPARTING = 6,
        VEHICLE_DEPARTED = 7
    };

    PlatformInfo() : PlatformInfo(0) {}

    /// Name "Unknown Platform", station 0, state `NO_VEHICLE_SCHEDULED` with the text
    /// "NO_VEHICLE_SCHEDULED", no passers.
    PlatformInfo(int id);

    /// Station that owns the platform.
    void setStationId(int stationId) { _stationId = stationId; }
    int getStationId() const { return _stationId; }

    /// Where the platform is.
    void setLocation(const std::string& location) { _location = location; }
    LocationId getLocation() const { return _location; }

    /// What the next vehicle does at the platform.
    void setState(State state) { _state = state; }
    State getState() const { return _state; }

    /// The state as text.
    void setStateText(const std::string& text) { _stateText = text; }
    std::string getStateText() const { return _stateText; }

    /// Ids of the service stops passing the platform as a list string separated by "!".
    void setPassersListAsString(const std::string& list) { _passersListAsString = list; }
    std::string getPassersListAsString() const { return _passersListAsString; }

    /// Does nothing: the passers are only ever held as a list string.
    void setPassers(const std::vector<ServiceStop>& passers);

    /// Does nothing, as above.
    void setPassers(const std::vector<Service>& passers);

    /// Always empty: the store keeps no service stops for platforms to resolve the list against.
    std::vector<ServiceStop> getPassers() const;

protected:
    std::int32_t _stationId;
    LocationId _location;
    State _state;
    std::string _stateText;
    std::string _passersListAsString;

    friend class PassengerInformationServer;
};

/// Protocol of an outside positioning system.
enum PositioningProtocol : int { PP_NONE = 0, PP_KELT_CBTC = 1 };

/// Hears of changes in the store. Every record comes as a copy of the observer's own.
///
/// [Threading] Called on the thread that delivers the element update or the deletion, one observer
/// after the other in the order of their registration.
/// [Locking] Called with the store's lock held, but for `onServerStatusUpdated`. An observer must
/// not update or delete through the store. It may call a getter only where the host's lock lets a
/// thread enter twice. It may register a further observer, which then hears of this change as well.
/// [Exceptions] What an observer throws passes through the store to whoever delivered the element,
/// with the lock free; the observers after it and the event item of that element are left out.
class PassengerInformationObserver {
public:
    /// The signalling server reported its status, whether or not it changed; called without the lock.
    virtual void onServerStatusUpdated(bool online) = 0;
    /// A line was added or changed.
    virtual void onLineUpdated(Line line) = 0;
    /// A line is being deleted.
    virtual void onLineRemoved(Line line) = 0;
    /// A vehicle or its state was added or changed.
    virtual void onVehicleUpdated(Vehicle vehicle) = 0;
    /// A vehicle is being deleted.
    virtual void onVehicleRemoved(Vehicle vehicle) = 0;
    /// A station was added or changed.
    virtual void onStationUpdated(Station station) = 0;
    /// A station is being deleted.
    virtual void onStationRemoved(Station station) = 0;
    /// A platform or its state was added or changed.
    virtual void onPlatformInfoUpdated(PlatformInfo platform) = 0;
    /// A platform is being deleted.
    virtual void onPlatformInfoRemoved(PlatformInfo platform) = 0;
    /// A service or its state was added or changed. What it takes over from its trip alone is not told.
    virtual void onServiceUpdated(Service service) = 0;
    /// A service is being deleted.
    virtual void onServiceRemoved(Service service) = 0;
    /// A trip was added or changed.
    virtual void onTripUpdated(Trip trip) = 0;
    /// A trip is being deleted.
    virtual void onTripRemoved(Trip trip) = 0;
    virtual ~PassengerInformationObserver() {}
};

/// The store. The host's one instance is `gPassengerInformationServer`.
///
/// One lock guards the eight tables. Updates, deletions and the table getters take it for
/// themselves and must not be called by a thread that holds it.
class PassengerInformationServer {
public:
    /// Where train locations come from; the store always answers `SIGNALLING`.
    enum LocationRetrievalMethod : int { SIGNALLING = 0, API_TC = 1, API_PLAT = 2, API_GPS = 3 };

    /// Empty tables, signalling server offline, no observers.
    PassengerInformationServer();

    /// Forgets the observers without telling them. Silent: no log line, no event.
    ~PassengerInformationServer();

    PassengerInformationServer(const PassengerInformationServer&) = delete;
    PassengerInformationServer& operator=(const PassengerInformationServer&) = delete;

    // --- From the host's signalling storage -----------------------------------------------------

    /// Takes one element update in: merges it into its table, tells the observers when something
    /// changed and posts the event item.
    /// @param dstNo       ignored.
    /// @param elemId      element type code; codes without a handler are ignored silently.
    /// @param elemNo      id of the element; 0 is ignored. Record number 1 for the two status records.
    /// @param elemArgList the fields by position; null is ignored. Stays the caller's.
    ///
    /// Unusable fields (missing, empty or "(null)") leave the record's default; numbers are read as
    /// `atoi` reads them. Throws only what an observer, a host call or memory throws, with the lock
    /// free.
    void updatePassengerInformation(int dstNo, int elemId, int elemNo, KEBlist* elemArgList);

    /// Removes elements, tells the observers and posts the event items; all of it under the lock.
    /// Nothing cascades: a deleted trip leaves its stops and services in place.
    /// @param elemId element type code, 0 for every type; types without a table remove nothing.
    /// @param elemNo id of the element, 0 for every element.
    /// Throws as above; elements removed by then stay removed.
    void deletePassengerInformation(int elemId, int elemNo);

    // --- Observers ------------------------------------------------------------------------------

    /// Adds an observer, to be called after those registered before it. Null is ignored; one that
    /// is already registered is reported through `handleError`. The observer stays the caller's,
    /// cannot be removed and must outlive every call into the store.
    ///
    /// The list is not locked: register before records flow, or from within a notification.
    void registerObserver(PassengerInformationObserver* observer);

    // --- Snapshots ------------------------------------------------------------------------------

    // Each returns a copy of one table, in order of arrival, taken under the lock. Two calls may see
    // different moments. Should memory run out during the copy, `std::bad_alloc` reaches the caller
    // and the lock stays taken: the host is expected to end.

    std::vector<Line> getLines();
    std::vector<Vehicle> getVehicles();
    std::vector<Station> getStations();
    std::vector<PlatformInfo> getPlatforms();
    std::vector<Trip> getTrips();
    std::vector<TripStop> getTripStops();
    std::vector<Service> getServices();

    // --- Requests -------------------------------------------------------------------------------

    // Each goes out as an operation for the signalling server and changes no table: the change is
    // seen once the signalling server reports it back. None checks its argument or whether the
    // server is online, takes the lock, logs or reports failure. An id below 1 deletes every
    // element of that kind.

    /// Sends id, name and abbreviation.
    void addLine(const Line& line);
    void deleteLine(int lineId);

    /// Sends id, state and current service.
    void addVehicle(const Vehicle& vehicle);
    void deleteVehicle(int vehicleId);

    /// Sends id, name, abbreviation and the major flag.
    void addStation(const Station& station);
    void deleteStation(int stationId);

    /// Sends id, trip, start time, vehicle, loading flag, destination and last-train flag.
    void addService(const Service& service);
    void deleteService(int serviceId);

    // Replace the whole catalogue of a kind: a deletion of all, then one addition per element.

    void setLines(const std::vector<Line>& lines);
    void setVehicles(const std::vector<Vehicle>& vehicles);
    void setStations(const std::vector<Station>& stations);
    void setServices(const std::vector<Service>& services);

    // --- Status and message controls ------------------------------------------------------------

    /// True when the signalling server last reported itself online. Takes no lock.
    bool getServerStatus() const;

    /// True when the signalling side last reported automatic messages as switched on. Keeps its
    /// value while the server is offline. Takes no lock.
    bool isAutomaticMessageGenerationEnabled() const;

    /// Request automatic messages on or off; the flag above follows when the server confirms.
    void enableAutomaticMessageGeneration();
    void disableAutomaticMessageGeneration();

    /// Not supported.
    /// @throws std::runtime_error always, whatever the method.
    void setLocationRetrievalMethod(LocationRetrievalMethod method);

    /// Always `SIGNALLING`.
    LocationRetrievalMethod getLocationRetrievalMethod() const;

    /// Requests that a platform information text be taken; sent as it stands.
    void updatePlatformInfo(const std::string& msg);

    /// Requests a train state; both arguments are only read.
    void updateTrainState(int& trainId, int& state);

    // --- Positioning ----------------------------------------------------------------------------

    /// Requests that the signalling server use a positioning protocol; `PP_NONE` switches off.
    /// @param _timeOutSeconds at least 30 seconds.
    /// @throws std::out_of_range for a shorter time-out, else for an unknown protocol; nothing is
    ///         sent then.
    void activatePositioningProtocol(PositioningProtocol _protocol, int _timeOutSeconds);

    /// Sends one positioning update: compressed, encoded and cut into numbered pieces.
    /// @param _data 1 to 262,143 bytes.
    /// @throws std::out_of_range for any other length; nothing is sent then.
    /// Callers that send from several threads must take turns: the pieces name no update.
    void processPositioningUpdate(const std::string& _data);

private:
    // The members stand in the order in which they are built.
    std::atomic<bool> _signallingServerOnline;             // written and read without pisMtx
    std::atomic<bool> _automaticMessageGenerationEnabled;  // written and read without pisMtx
    std::vector<Line> _lines;                              // Guarded by pisMtx, as are the next seven
    std::vector<Vehicle> _vehicles;
    std::vector<Station> _stations;
    std::vector<PlatformInfo> _platforms;
    std::vector<Trip> _trips;
    std::vector<TripStop> _tripStops;
    std::vector<Service> _services;
    std::vector<ServiceStop> _serviceStops;
    qxLocalMutex pisMtx;
    std::vector<PassengerInformationObserver*> _pisObserverList;  // not guarded, not owned

    // One handler per element type.
    void updateLine(int id, KEBlist* list);
    void updateVehicle(int id, KEBlist* list);
    void updateStation(int id, KEBlist* list);
    void updatePlatform(int id, KEBlist* list);
    void updateTrip(int id, KEBlist* list);
    void updateTripStop(int id, KEBlist* list);
    void updateService(int id, KEBlist* list);
    void updateServiceStop(int id, KEBlist* list);
    void updateVehicleState(int id, KEBlist* list);
    void updatePlatformState(int id, KEBlist* list);
    void updateServiceState(int id, KEBlist* list);
    void updateAutoMessageState(int elemNo, KEBlist* elemArgList);
    void updateSignallingServerStatus(int elemNo, KEBlist* elemArgList);

    // What the handlers, the deletions and the getters share: see MergePattern.h and ServiceCompletion.h.
    template <typename Record>
    using UpdateRule = SignallingControllerPrivate::UpdateRule<Record>;
    template <typename Record>
    using RemovalRule = SignallingControllerPrivate::RemovalRule<Record>;
    template <typename Fields, typename Record, typename Completion>
    void merge(std::vector<Record>& table, Record record, const KEBlist* list, const UpdateRule<Record>& rule,
               Completion complete);
    template <typename Record>
    void removeMatching(std::vector<Record>& table, int id, const RemovalRule<Record>& rule);
    template <typename Record>
    void removeMatching(std::vector<Record>& table, int id, void (*logDeleted)(int id));
    template <typename Record>
    void tellObservers(void (PassengerInformationObserver::*operation)(Record), const Record& record);
    template <typename Record>
    std::vector<Record> copyOf(const std::vector<Record>& table);
    static void completeFromTrip(Service& service, const Trip& trip);
    std::vector<Service> servicesForTrip();
    bool findTrip(int tripId, Trip& found);
    bool findTripStop(int tripStopId, TripStop& found);
};

/// The host's one store.
extern PassengerInformationServer gPassengerInformationServer;

#endif
