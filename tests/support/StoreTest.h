// The fixture of most tests: a fake host, the global store, short names for what goes into it.
#ifndef TESTS_SUPPORT_STORETEST_H
#define TESTS_SUPPORT_STORETEST_H

#include <gtest/gtest.h>

#include <string>

#include "Describe.h"
#include "FakeHost.h"
#include "FieldListBuilder.h"
#include "RecordingObserver.h"
#include "StoreAccess.h"

class StoreTest : public ::testing::Test {
protected:
    /// Delivers an element update: update(2, 7, "North", "N").
    template <typename... Text>
    void update(int elemId, int elemNo, const Text&... texts) {
        FieldList list = fields(texts...);
        store.updatePassengerInformation(1, elemId, elemNo, list);
    }

    /// The transcript of one element update alone.
    template <typename... Text>
    std::string transcriptOfUpdate(int elemId, int elemNo, const Text&... texts) {
        host.clear();
        update(elemId, elemNo, texts...);
        return host.transcript();
    }

    std::string transcriptOfDeletion(int elemId, int elemNo) {
        host.clear();
        store.deletePassengerInformation(elemId, elemNo);
        return host.transcript();
    }

    FakeHost host;
    PassengerInformationServer& store = gPassengerInformationServer;
};

#endif
