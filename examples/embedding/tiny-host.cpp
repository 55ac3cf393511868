// The smallest host around the store: it supplies the host interfaces, delivers three records, hears
// of the changes and makes a request. Everything it does shows on standard output. C++11.
#include <SignallingController.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

// --- What the store asks of its host ------------------------------------------------------------

long debugLevel = 2;
QXReceiver gQXReceiver;

void debug(int level, const char* format, ...) {
    std::printf("log %d: ", level);
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::printf("\n");
}

void handleError(int severity, const char* format, ...) {
    std::printf("error %d: ", severity);
    va_list arguments;
    va_start(arguments, format);
    std::vprintf(format, arguments);
    va_end(arguments);
    std::printf("\n");
}

void addNewEventItem(EventItem::EVENT_TYPE code, int id, void*) {
    std::printf("event %d for id %d\n", static_cast<int>(code), id);
}

void QXReceiver::addOperationToSendQueue(int, int, int operation, int, const std::string& text) {
    std::printf("to the signalling server: %d %s\n", operation, text.c_str());
}

// These names hold neither commas nor quotes; a real host makes every text safe.
void prepareElemStringFieldForSvr(std::string&) {}

// This host sends no positioning data.
std::string base64_encode(const unsigned char*, unsigned int) {
    return std::string();
}

// One lock for the whole host: the store needs no more than one of its own.
static std::recursive_mutex& theMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

int qxLocalMutex::init() {
    theMutex();
    return 0;
}
void qxLocalMutex::enter() {
    theMutex().lock();
}
void qxLocalMutex::leave() {
    theMutex().unlock();
}
qxLocalMutex::~qxLocalMutex() {}

// --- What the host does with the store ----------------------------------------------------------

/// Shows platforms on a board; hears of everything else and leaves it.
class Board : public PassengerInformationObserver {
public:
    void onPlatformInfoUpdated(PlatformInfo platform) override {
        std::printf("board: %s, %s\n", platform.getName().c_str(), platform.getStateText().c_str());
    }
    void onServerStatusUpdated(bool) override {}
    void onLineUpdated(Line) override {}
    void onLineRemoved(Line) override {}
    void onVehicleUpdated(Vehicle) override {}
    void onVehicleRemoved(Vehicle) override {}
    void onStationUpdated(Station) override {}
    void onStationRemoved(Station) override {}
    void onPlatformInfoRemoved(PlatformInfo) override {}
    void onServiceUpdated(Service) override {}
    void onServiceRemoved(Service) override {}
    void onTripUpdated(Trip) override {}
    void onTripRemoved(Trip) override {}
};

/// Delivers one element update as the host's signalling storage would.
static void deliver(int elementType, int id, const std::vector<const char*>& texts) {
    std::vector<const char*> cells(texts);
    std::vector<KEBnode> nodes(cells.size());
    KEBlist list = KEBlist();
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        nodes[i].ourList = &list;
        nodes[i].nextNode = i + 1 < nodes.size() ? &nodes[i + 1] : nullptr;
        nodes[i].prevNode = i > 0 ? &nodes[i - 1] : nullptr;
        nodes[i].dataPtr = &cells[i];
    }
    list.listTop = &nodes.front();
    list.listBot = &nodes.back();
    gPassengerInformationServer.updatePassengerInformation(0, elementType, id, &list);
}

int main() {
    Board board;
    gPassengerInformationServer.registerObserver(&board);

    deliver(4, 1, {"Harbour Square", "HS", "Y", "11"});
    deliver(5, 11, {"1", "", "Harbour Square 1", "HS-1"});
    deliver(11, 11, {"1", "VEHICLE_APPROACHING", "501"});

    for (const Station& station : gPassengerInformationServer.getStations()) {
        for (const PlatformInfo& platform : station.getListOfPlatforms()) {
            std::printf("%s has %s\n", station.getName().c_str(), platform.getName().c_str());
        }
    }

    Line line(3);
    line.setName("North");
    line.setAbrv("N");
    gPassengerInformationServer.addLine(line);
    return 0;
}
