// A store at the end of an intake, as replay and service have it.
#ifndef TESTS_SUPPORT_FEDSTORE_H
#define TESTS_SUPPORT_FEDSTORE_H

#include "feed/Intake.h"
#include "feed/StopTables.h"
#include "feed/StoreEntry.h"

class FedStore : private pis::feed::IntakeReceiver {
public:
    explicit FedStore(PassengerInformationServer& store) : _entry(store) {}

    pis::feed::Intake::Verdict accept(const pis::feed::FeedRecord& record) { return intake.accept(record); }

    pis::feed::Intake intake{this};
    pis::feed::StopTables stops;  ///< What the store holds of service stops.

private:
    void onUpdate(const pis::feed::FeedRecord& record) override {
        _entry.update(record);
        stops.update(record);
    }
    void onDeletion(int type, int id) override {
        _entry.remove(type, id);
        stops.remove(type, id);
    }

    pis::feed::StoreEntry _entry;
};

#endif
