// A host for tests: it writes every call that the unit makes into one ordered transcript, checks how
// the lock is used, and lets a test act at a chosen call.
#ifndef TESTS_SUPPORT_FAKEHOST_H
#define TESTS_SUPPORT_FAKEHOST_H

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "SignallingController.h"

/// Stands behind the host functions while it lives; exactly one at a time. Building it also builds
/// `gPassengerInformationServer` anew, so that every test starts from an empty store without
/// observers. Lines of the transcript:
///
///     enter | leave                       the lock of gPassengerInformationServer
///     enter 2 | leave 2                   the lock of the second store that the test built, and so on
///     debug LEVEL TEXT                    a log line, formatted
///     error SEVERITY TEXT                 a handleError call, formatted
///     event CODE ID [null]                an event item; "null" for a null record
///     operation CODE[ TEXT]               an operation for the signalling server
///     ...                                 and whatever note() is given, observers among it
class FakeHost {
public:
    struct Event {
        int code;
        int id;
        void* record;
    };

    FakeHost();
    ~FakeHost();
    FakeHost(const FakeHost&) = delete;
    FakeHost& operator=(const FakeHost&) = delete;

    /// Everything noted since construction or the last clear(), one call a line.
    std::string transcript() const;
    /// The same without the lock's lines.
    std::string transcriptWithoutLock() const;
    /// transcript() of everything that `calls` does; what was noted before is dropped.
    std::string during(const std::function<void()>& calls);
    void clear();

    /// Adds a line; runs the action that waits for it.
    void note(const std::string& line);

    /// Runs an action once, right after the nth line from now that begins with `prefix`. For
    /// "leave" that is with the lock free, for every other line in the middle of the host call: what
    /// the action throws, the host call throws.
    void at(const std::string& prefix, std::function<void()> action, int nth = 1);

    std::vector<Event> events() const;

    /// True when no thread holds any lock made by this host.
    bool allLocksFree() const;

    /// Level that the unit sees in debugLevel; 2 from the start, so that everything is logged.
    void setDebugLevel(long level);

    /// What the next calls of base64_encode return, instead of the encoded bytes; back with "".
    std::string encodedInstead;
    /// The bytes that the last call of base64_encode was given.
    std::string bytesToEncode;
    /// When set, prepareElemStringFieldForSvr puts brackets around its text.
    bool marksPreparedFields = false;
    /// When unset, lock operations leave no lines: for tests of many threads or many steps.
    bool notesLock = true;

    // For the host functions.
    void postEvent(int code, int id, void* record);
    int numberLock();
    void enterLock();
    void leaveLock();
    void lockFault(const std::string& what);
    static FakeHost* current();

private:
    struct Waiting {
        std::string prefix;
        std::function<void()> action;
        int remaining;
    };

    mutable std::mutex _mutex;
    std::vector<std::string> _lines;
    std::vector<Event> _events;
    std::vector<Waiting> _waiting;
    int _locks = 0;
    int _held = 0;
};

/// Builds `gPassengerInformationServer` anew in its place.
void renewGlobalStore();

#endif
