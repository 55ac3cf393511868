#include "simulator/Simulation.h"

#include <random>
#include <utility>

#include "simulator/Agenda.h"
#include "simulator/Operations.h"
#include "simulator/RailwayRecords.h"
#include "simulator/Traffic.h"

namespace pis::simulator {

using namespace railway;

namespace {

constexpr int kHeartbeat = 60;  // seconds between status records

/// Calls one of several functions, by the type of a variant's value.
template <typename... Functions>
struct Overloaded : Functions... {
    using Functions::operator()...;
};
template <typename... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

}  // namespace

/// The signalling side: the trains of the day, the server's own state, and the way out.
class Simulation::Side {
public:
    Side(const Network& network, std::uint32_t seed) : _network(network), _random(seed) { beginDay(); }

    const Agenda& agenda() const { return _agenda; }
    int day() const { return _days; }
    bool inWholeState() const { return _inWholeState; }

    void advanceTo(int time, const Emit& emit) {
        const Out out(*this, emit);
        while (_agenda.nextAt() <= time) {
            const int day = _days;
            _agenda.doNext();
            time -= (_days - day) * kDay;
        }
        _agenda.passTo(time);
    }

    void reportWholeState(const Emit& emit) {
        const Out out(*this, emit);
        _inWholeState = true;
        send(serverStatusRecord(_network.signalBox, _linked));
        send(autoMessageRecord(_messagesEnabled));
        snapshot(_traffic->elements(), [this](feed::FeedRecord record) { send(std::move(record)); });
        _inWholeState = false;
    }

    OperationReport answer(int operation, const std::string& text, const Emit& emit) {
        const Out out(*this, emit);
        if (!_linked) return {false, "operation " + std::to_string(operation) + ": refused: the link is lost"};
        return simulator::answer(operation, text,
                                 {*_traffic, _positioning, _agenda.now(), _network.dayEnds(),
                                  [this](bool enabled) { enableMessages(enabled); }});
    }

private:
    static constexpr int kDay = 24 * 3600;

    /// The way out while a call lasts.
    class Out {
    public:
        Out(Side& side, const Emit& emit) : _side(side), _before(std::exchange(side._emit, &emit)) {}
        ~Out() { _side._emit = _before; }
        Out(const Out&) = delete;
        Out& operator=(const Out&) = delete;

    private:
        Side& _side;
        const Emit* _before;
    };

    void send(feed::FeedRecord record) {
        record.at = _agenda.now();
        (*_emit)(record);
    }

    /// Nothing gets through while the link is lost: the snapshot on its return makes up for it.
    void report(feed::FeedRecord record) {
        if (_linked) send(std::move(record));
    }

    // --- The day

    void beginDay() {
        _agenda.beginAt(_network.dayBegins);
        _agenda.at(_network.dayEnds(), Agenda::kNobody, [this] { changeDay(); });
        _agenda.at(_network.dayBegins + kHeartbeat, Agenda::kNobody, [this] { beat(); });
        for (const Network::Incident& incident : _network.incidents) {
            _agenda.at(incident.at, Agenda::kNobody, [this, &incident] { happen(incident); });
        }
        _linked = false;  // what the day begins with is told by a whole state
        _traffic = std::make_unique<Traffic>(_network, _agenda, _random,
                                             [this](feed::FeedRecord record) { report(std::move(record)); });
        _linked = true;
    }

    void changeDay() {
        ++_days;
        beginDay();
        reportWholeState(*_emit);
    }

    void beat() {
        report(serverStatusRecord(_network.signalBox, true));
        _agenda.at(_agenda.now() + kHeartbeat, Agenda::kNobody, [this] { beat(); });
    }

    // --- What goes otherwise than planned

    void happen(const Network::Incident& incident) {
        std::visit(Overloaded{
                       [this](const Network::MessagesSwitched& switched) { enableMessages(switched.enabled); },
                       [this](const Network::VehicleFails& fails) { _traffic->fail(idOf(fails.vehicle), false); },
                       [this](const Network::VehicleLeaves& leaves) { leave(idOf(leaves.vehicle)); },
                       [this](const Network::LinkLost& lost) { loseLink(lost.seconds); },
                       [this](const Network::StopAdded& added) { _traffic->addStop(added); },
                   },
                   incident.what);
    }

    static int idOf(std::size_t position) { return static_cast<int>(position) + 1; }

    void enableMessages(bool enabled) {
        _messagesEnabled = enabled;
        report(autoMessageRecord(enabled));
    }

    void leave(int vehicle) {
        if (_traffic->elements().vehicles.count(vehicle) != 0) _traffic->removeVehicle(vehicle);
    }

    void loseLink(int seconds) {
        report(serverStatusRecord(_network.signalBox, false));
        _linked = false;
        _agenda.at(_agenda.now() + seconds, Agenda::kNobody, [this] {
            _linked = true;
            reportWholeState(*_emit);
        });
    }

    const Network _network;
    std::mt19937 _random;
    Agenda _agenda;
    std::unique_ptr<Traffic> _traffic;
    PositioningReassembly _positioning;
    const Emit* _emit = nullptr;
    int _days = 0;
    bool _linked = true;
    bool _messagesEnabled = true;
    bool _inWholeState = false;
};

Simulation::Simulation(const Network& network, std::uint32_t seed) : _side(std::make_unique<Side>(network, seed)) {}
Simulation::~Simulation() = default;

int Simulation::now() const {
    return _side->agenda().now();
}

int Simulation::day() const {
    return _side->day();
}

int Simulation::nextAt() const {
    return _side->agenda().nextAt();
}

void Simulation::advanceTo(int time, const Emit& emit) {
    _side->advanceTo(time, emit);
}

void Simulation::reportWholeState(const Emit& emit) {
    _side->reportWholeState(emit);
}

bool Simulation::inWholeState() const {
    return _side->inWholeState();
}

OperationReport Simulation::answer(int operation, const std::string& text, const Emit& emit) {
    return _side->answer(operation, text, emit);
}

}  // namespace pis::simulator
