// The store's requests and the status that the signalling side reports. Requests go out as
// operations and change nothing here; the two status flags are set by status records alone.
#include <stdexcept>

#include "FieldTable.h"
#include "MergePattern.h"
#include "RequestText.h"
#include "SignallingCodes.h"
#include "SignallingController.h"
#include "hostStrings.h"

using namespace SignallingCodes;
using namespace SignallingControllerPrivate;

namespace {

/// A text made fit for a field of a request.
std::string prepared(std::string field) {
    prepareElemStringFieldForSvr(field);
    return field;
}

void queueDeletion(Operation operation, int id) {
    RequestText opArgs;
    opArgs << IdOrAll{id};
    queueOperation(operation, opArgs.str());
}

}  // namespace

void PassengerInformationServer::addLine(const Line& line) {
    RequestText opArgs;
    opArgs << line.getId() << ',' << prepared(line.getName()) << ',' << prepared(line.getAbrv());
    queueOperation(ADD_LINE, opArgs.str());
}

void PassengerInformationServer::deleteLine(int lineId) {
    queueDeletion(DELETE_LINE, lineId);
}

void PassengerInformationServer::addVehicle(const Vehicle& vehicle) {
    RequestText opArgs;
    opArgs << vehicle.getId() << ',' << static_cast<int>(vehicle.getState()) << ',' << vehicle.getCurrentServiceId();
    queueOperation(ADD_VEHICLE, opArgs.str());
}

void PassengerInformationServer::deleteVehicle(int vehicleId) {
    queueDeletion(DELETE_VEHICLE, vehicleId);
}

void PassengerInformationServer::addStation(const Station& station) {
    RequestText opArgs;
    opArgs << station.getId() << ',' << prepared(station.getName()) << ',' << prepared(station.getAbrv()) << ','
           << station.isMajor();
    queueOperation(ADD_STATION, opArgs.str());
}

void PassengerInformationServer::deleteStation(int stationId) {
    queueDeletion(DELETE_STATION, stationId);
}

void PassengerInformationServer::addService(const Service& service) {
    RequestText opArgs;
    opArgs << service.getId() << ',' << service.getTripId() << ',' << service.getStartTime() << ','
           << service.getVehicleId() << ',' << service.getIsLoading() << ',' << service.getDestinationStationId() << ','
           << service.getIsLastTrain() << ',';  // Kept: the signalling server expects the last comma.
    queueOperation(ADD_SERVICE, opArgs.str());
}

void PassengerInformationServer::deleteService(int serviceId) {
    queueDeletion(DELETE_SERVICE, serviceId);
}

void PassengerInformationServer::setLines(const std::vector<Line>& lines) {
    deleteLine(-1);
    for (const Line& line : lines) addLine(line);
}

void PassengerInformationServer::setVehicles(const std::vector<Vehicle>& vehicles) {
    deleteVehicle(-1);
    for (const Vehicle& vehicle : vehicles) addVehicle(vehicle);
}

void PassengerInformationServer::setStations(const std::vector<Station>& stations) {
    deleteStation(-1);
    for (const Station& station : stations) addStation(station);
}

void PassengerInformationServer::setServices(const std::vector<Service>& services) {
    deleteService(-1);
    for (const Service& service : services) addService(service);
}

bool PassengerInformationServer::getServerStatus() const {
    return _signallingServerOnline;
}

bool PassengerInformationServer::isAutomaticMessageGenerationEnabled() const {
    return _automaticMessageGenerationEnabled;
}

void PassengerInformationServer::enableAutomaticMessageGeneration() {
    queueOperation(ENABLE_AUTOMATIC_MESSAGES, std::string());
}

void PassengerInformationServer::disableAutomaticMessageGeneration() {
    queueOperation(DISABLE_AUTOMATIC_MESSAGES, std::string());
}

void PassengerInformationServer::setLocationRetrievalMethod(LocationRetrievalMethod) {
    throw std::runtime_error("setLocationRetrievalMethod(..) to be implemented");
}

PassengerInformationServer::LocationRetrievalMethod PassengerInformationServer::getLocationRetrievalMethod() const {
    return SIGNALLING;
}

void PassengerInformationServer::updatePlatformInfo(const std::string& msg) {
    queueOperation(PLATFORM_INFORMATION, msg);
}

void PassengerInformationServer::updateTrainState(int& trainId, int& state) {
    RequestText opArgs;
    opArgs << trainId << ',' << state;
    queueOperation(TRAIN_STATE, opArgs.str());
}

// Fields: two that are not used, then 1 for online. Every accepted record is told of, also when it
// says what was known already, and without the lock.
void PassengerInformationServer::updateSignallingServerStatus(int elemNo, KEBlist* elemArgList) {
    if (elemNo != 1 || elemArgList == nullptr) return;

    FieldReader from(*elemArgList);
    from.skip();
    from.skip();
    const char* text = from.next();
    if (text == nullptr) return;

    const bool newServerStatus = integerOf(text) == 1;
    _signallingServerOnline = newServerStatus;
    postEvent(newServerStatus ? SIGNALLING_SERVER_ONLINE : SIGNALLING_SERVER_OFFLINE, 0, nullptr);
    tellObservers(&PassengerInformationObserver::onServerStatusUpdated, newServerStatus);
}

// Field: Y for enabled. Nobody is told; clients ask.
void PassengerInformationServer::updateAutoMessageState(int elemNo, KEBlist* elemArgList) {
    if (elemNo != 1 || elemArgList == nullptr) return;

    const char* text = FieldReader(*elemArgList).next();
    if (text == nullptr) return;
    _automaticMessageGenerationEnabled = text[0] == 'Y';
}
