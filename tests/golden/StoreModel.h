// A second, plainer store to hold the real one against: the same updates, deletions and registrations
// worked out on plain structures, with every host call that they lead to. Shares nothing with the unit.
#ifndef TESTS_GOLDEN_STOREMODEL_H
#define TESTS_GOLDEN_STOREMODEL_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace model {

/// The fields of one element update; a field without a text is empty.
using Fields = std::vector<std::optional<std::string>>;

struct Line {
    std::int32_t id;
    std::string name = "Unknown Line";
    std::string abrv = "UNK";
};

struct Vehicle {
    std::int32_t id;
    std::string name = "Unknown Vehicle";
    std::string abrv{};
    std::int32_t cars = 0;
    std::string location{};
    std::int32_t direction = 1;
    std::int32_t state = 0;
    std::string stateText = "OUT_OF_SERVICE";
    std::int32_t service = 0;
    std::int32_t opening = 3;
    std::string openingText = "BOTH";
    std::int32_t opened = 0;
    std::string openedText = "NONE";
    std::string services{};
};

struct Station {
    std::int32_t id;
    std::string name = "Unknown Station";
    std::string abrv{};
    bool major = false;
    std::string platforms{};
};

struct Platform {
    std::int32_t id;
    std::string name = "Unknown Platform";
    std::int32_t station = 0;
    std::string location{};
    std::int32_t state = 0;
    std::string stateText = "NO_VEHICLE_SCHEDULED";
    std::string passers{};
};

struct Trip {
    std::int32_t id;
    std::string name = "Unknown Trip";
    std::int32_t line = 0;
    std::int32_t direction = 1;
    std::int32_t priority = 0;
    std::string priorityText = "ALL_STOPS";
    std::string stops{};
};

struct TripStop {
    std::int32_t id;
    std::int32_t trip = 0;
    std::int32_t platform = 0;
    bool stopping = false;
    std::uint32_t arrival = 0;
    std::uint32_t departure = 0;
};

struct Service {
    std::int32_t id;
    std::string name = "Unknown Service";
    std::int32_t trip = 0;
    std::uint32_t start = 0;
    std::int32_t vehicle = 0;
    std::string following{};
    std::int32_t state = 0;
    std::string stateText = "NOT_STARTED";
    bool loading = false;
    std::int32_t destination = 0;
    bool last = false;
    std::int32_t line = 0;
    std::int32_t direction = 1;
    std::int32_t priority = 0;
    std::string priorityText = "ALL_STOPS";
    std::string stops{};
};

struct ServiceStop {
    std::int32_t id;
    std::int32_t service = 0;
    std::int32_t tripStop = 0;
    std::uint32_t start = 0;
    std::uint32_t arrivalDelay = 0;
    std::uint32_t departureDelay = 0;
    std::int32_t trip = 0;
    std::int32_t platform = 0;
    bool stopping = false;
    std::uint32_t arrival = 0;
    std::uint32_t departure = 0;
};

class StoreModel {
public:
    long debugLevel = 2;

    /// Delivers an element update; `fields` may be null.
    void update(int code, int id, const Fields* fields);

    /// Deletes elements; 0 stands for every type, for every id.
    void remove(int code, int id);

    /// Registers an observer, known by its name.
    void registerObserver(const std::string& name);

    /// Runs an action once, right after the nth "leave" from now.
    void atLeave(int nth, std::function<void()> action);

    /// The host calls since the last time this was asked, one a line.
    std::string takeTranscript();

    /// The eight tables in the order of deletion, one record a line.
    std::string tables() const;

    bool online() const { return _online; }
    bool automaticMessages() const { return _automaticMessages; }

private:
    void updateLine(int id, const Fields& fields);
    void updateVehicle(int id, const Fields& fields);
    void updateVehicleState(int id, const Fields& fields);
    void updateStation(int id, const Fields& fields);
    void updatePlatform(int id, const Fields& fields);
    void updatePlatformState(int id, const Fields& fields);
    void updateTrip(int id, const Fields& fields);
    void updateTripStop(int id, const Fields& fields);
    void updateService(int id, const Fields& fields);
    void updateServiceState(int id, const Fields& fields);
    void updateServiceStop(int id, const Fields& fields);
    void updateServerStatus(const Fields& fields);
    void updateAutomaticMessages(const Fields& fields);

    /// Where a record went and whether that was news.
    struct Place {
        std::size_t index;
        bool changed;
    };
    /// Puts a record into its table: `decoded` names the fields that an update carries, `before` and
    /// `total` are the log's words around the id and before the size.
    template <typename Record, typename Decoded>
    Place put(std::vector<Record>& table, const Record& record, Decoded decoded, const std::string& updatedText,
              const std::string& addedText, const std::string& total);
    /// Tells the observers when there is news, then posts the event.
    template <typename Record>
    void report(const Record& record, bool changed, const char* operation, int event);
    /// Removes what matches; `operation` is empty where the host hears nothing.
    template <typename Record>
    void removeFrom(std::vector<Record>& table, int id, const std::string& operation, int event,
                    const std::string& logText);
    /// The lock given up for as long as a getter needs it.
    template <typename Record>
    std::vector<Record> copyInTheGap(const std::vector<Record>& table);

    void enter();
    void leave();
    void log(int level, const std::string& text);
    void tell(const std::string& what);
    void post(int code, int id, bool withRecord);
    void note(const std::string& line);

    std::vector<Line> _lines;
    std::vector<Vehicle> _vehicles;
    std::vector<Station> _stations;
    std::vector<Platform> _platforms;
    std::vector<Trip> _trips;
    std::vector<TripStop> _tripStops;
    std::vector<Service> _services;
    std::vector<ServiceStop> _serviceStops;
    std::vector<std::string> _observers;
    bool _online = false;
    bool _automaticMessages = false;
    std::string _transcript;
    int _leavesToCome = 0;
    std::function<void()> _atLeave;
};

}  // namespace model

#endif
