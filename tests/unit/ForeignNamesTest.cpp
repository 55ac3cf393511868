// A client with names of its own that the unit also has, and with other meanings: its sources compile behind the
// store's header, and the store reads, locks, posts and sends as ever.
#include <gtest/gtest.h>

#include "StoreTest.h"

// Where the linker let one of these stand in for the unit's own, it would be called, or laid out otherwise.

int integerOf(const char*) {
    ADD_FAILURE() << "the store reads a number with the client's function";
    return -1;
}

void postEvent(int, int, void*) {
    ADD_FAILURE() << "the store posts an event item with the client's function";
}

void queueOperation(int, const std::string&) {
    ADD_FAILURE() << "the store queues an operation with the client's function";
}

struct UpdateRule {
    virtual ~UpdateRule() = default;
};

struct RemovalRule {
    virtual ~RemovalRule() = default;
};

struct NothingMore {
    virtual ~NothingMore() = default;
};

struct IdOrAll {
    virtual ~IdOrAll() = default;
};

enum class MemberType { NONE };

class FieldReader {
public:
    explicit FieldReader(const KEBlist&);
    const char* next();
    void skip();
};

FieldReader::FieldReader(const KEBlist&) {
    ADD_FAILURE() << "the store reads a list with the client's class";
}
const char* FieldReader::next() {
    return "foreign";
}
void FieldReader::skip() {}

class StoreLock {
public:
    explicit StoreLock(qxMutexBase&);
    ~StoreLock();
    void lock();
    void unlock();
};

StoreLock::StoreLock(qxMutexBase&) {
    ADD_FAILURE() << "the store takes its lock with the client's class";
}
StoreLock::~StoreLock() = default;
void StoreLock::lock() {}
void StoreLock::unlock() {}

class RequestText {
public:
    RequestText();
};

RequestText::RequestText() {
    ADD_FAILURE() << "the store writes a request with the client's class";
}

template <typename... Anything>
struct Fields {
    virtual ~Fields() = default;
};

template <auto Anything>
struct Text {
    virtual ~Text() = default;
};

namespace {

using ForeignNames = StoreTest;

TEST_F(ForeignNames, AreNotTheStores) {
    RecordingObserver observer;
    store.registerObserver(&observer);
    update(98, 1, null, null, "1");
    update(2, 7, "North", "N");
    update(6, 1, "Early", "2", "1", "0", "All", "1!2");
    update(8, 7, "1", "21600", "3", "1!2", "1", "4", "1", "5");
    update(9, 7, "7", "2", "21600", "60", "90");
    EXPECT_TRUE(store.getServerStatus());
    EXPECT_EQ(describe(linesOf(store)), "line 7 \"North\" \"N\"\n");
    EXPECT_EQ(servicesOf(store).at(0).getStartTime(), 21600U);
    EXPECT_EQ(servicesOf(store).at(0).getName(), "Early");
    EXPECT_EQ(serviceStopsOf(store).at(0).getDepDelay(), 90U);

    host.clear();
    store.deleteLine(0);
    store.deleteLine(7);
    EXPECT_EQ(host.transcript(), "operation 22 *\noperation 22 7\n");
    store.deletePassengerInformation(0, 0);
    EXPECT_EQ(describe(store), "");
}

}  // namespace
