#include "FakeHost.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <new>
#include <thread>

namespace {

FakeHost* theHost = nullptr;

std::string formatted(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    std::string text(static_cast<std::size_t>(std::vsnprintf(nullptr, 0, format, again)), '\0');
    va_end(again);
    std::vsnprintf(&text[0], text.size() + 1, format, arguments);
    return text;
}

/// What stands behind the two words of a qxLocalMutex.
struct FakeLock {
    std::recursive_mutex mutex;
    int number = 0;
    int depth = 0;           // guarded by mutex
    std::thread::id holder;  // guarded by mutex

    std::string line(const char* operation) const {
        return number <= 1 ? operation : std::string(operation) + " " + std::to_string(number);
    }
};

}  // namespace

FakeHost::FakeHost() {
    EXPECT_EQ(theHost, nullptr) << "one fake host at a time";
    debugLevel = -1;
    theHost = this;
    renewGlobalStore();
    debugLevel = 2;
    clear();
}

FakeHost::~FakeHost() {
    renewGlobalStore();
    EXPECT_TRUE(allLocksFree()) << "a lock is still held";
    theHost = nullptr;
}

FakeHost* FakeHost::current() {
    return theHost;
}

std::string FakeHost::transcript() const {
    const std::lock_guard<std::mutex> guard(_mutex);
    std::string text;
    for (const std::string& line : _lines) text += line + "\n";
    return text;
}

std::string FakeHost::transcriptWithoutLock() const {
    const std::lock_guard<std::mutex> guard(_mutex);
    std::string text;
    for (const std::string& line : _lines) {
        if (line.rfind("enter", 0) != 0 && line.rfind("leave", 0) != 0) text += line + "\n";
    }
    return text;
}

std::string FakeHost::during(const std::function<void()>& calls) {
    clear();
    calls();
    return transcript();
}

void FakeHost::clear() {
    const std::lock_guard<std::mutex> guard(_mutex);
    _lines.clear();
    _events.clear();
}

void FakeHost::note(const std::string& line) {
    std::function<void()> due;
    {
        const std::lock_guard<std::mutex> guard(_mutex);
        _lines.push_back(line);
        // Every action counts this line; one that is due is run.
        for (auto waiting = _waiting.begin(); waiting != _waiting.end();) {
            const bool counts = line.rfind(waiting->prefix, 0) == 0;
            if (counts && --waiting->remaining <= 0 && !due) {
                due = std::move(waiting->action);
                waiting = _waiting.erase(waiting);
            } else {
                ++waiting;
            }
        }
    }
    if (due) due();
}

void FakeHost::at(const std::string& prefix, std::function<void()> action, int nth) {
    const std::lock_guard<std::mutex> guard(_mutex);
    _waiting.push_back({prefix, std::move(action), nth});
}

std::vector<FakeHost::Event> FakeHost::events() const {
    const std::lock_guard<std::mutex> guard(_mutex);
    return _events;
}

bool FakeHost::allLocksFree() const {
    const std::lock_guard<std::mutex> guard(_mutex);
    return _held == 0;
}

void FakeHost::setDebugLevel(long level) {
    debugLevel = level;
}

void FakeHost::postEvent(int code, int id, void* record) {
    {
        const std::lock_guard<std::mutex> guard(_mutex);
        _events.push_back({code, id, record});
    }
    note("event " + std::to_string(code) + " " + std::to_string(id) + (record == nullptr ? " null" : ""));
}

int FakeHost::numberLock() {
    const std::lock_guard<std::mutex> guard(_mutex);
    return ++_locks;
}

void FakeHost::enterLock() {
    const std::lock_guard<std::mutex> guard(_mutex);
    ++_held;
}

void FakeHost::leaveLock() {
    const std::lock_guard<std::mutex> guard(_mutex);
    --_held;
}

void FakeHost::lockFault(const std::string& what) {
    note("FAULT " + what);
    ADD_FAILURE() << what;
}

void renewGlobalStore() {
    gPassengerInformationServer.~PassengerInformationServer();
    new (&gPassengerInformationServer) PassengerInformationServer();
}

// --- The host interfaces ------------------------------------------------------------------------

long debugLevel = -1;
QXReceiver gQXReceiver;

void debug(int level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    if (theHost != nullptr) theHost->note("debug " + std::to_string(level) + " " + text);
}

void handleError(int severity, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = formatted(format, arguments);
    va_end(arguments);
    if (theHost != nullptr) theHost->note("error " + std::to_string(severity) + " " + text);
}

void addNewEventItem(EventItem::EVENT_TYPE code, int id, void* record) {
    if (theHost != nullptr) theHost->postEvent(code, id, record);
}

void QXReceiver::addOperationToSendQueue(int first, int second, int operation, int fourth, const std::string& text) {
    EXPECT_EQ(first, -1);
    EXPECT_EQ(second, 101);
    EXPECT_EQ(fourth, 1);
    if (theHost != nullptr) {
        theHost->note("operation " + std::to_string(operation) + (text.empty() ? "" : " " + text));
    }
}

void prepareElemStringFieldForSvr(std::string& field) {
    if (theHost != nullptr && theHost->marksPreparedFields) field = "[" + field + "]";
}

std::string base64_encode(const unsigned char* bytes, unsigned int length) {
    if (theHost != nullptr) {
        theHost->bytesToEncode.assign(bytes, bytes + length);
        if (!theHost->encodedInstead.empty()) return theHost->encodedInstead;
    }
    static const char* const kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string encoded;
    for (unsigned int position = 0; position < length; position += 3) {
        const unsigned int present = length - position < 3 ? length - position : 3;
        unsigned int bits = 0;
        for (unsigned int i = 0; i < 3; ++i) bits = (bits << 8) | (i < present ? bytes[position + i] : 0U);
        for (unsigned int i = 0; i < 4; ++i) {
            encoded += i <= present ? kAlphabet[(bits >> (18 - 6 * i)) & 63U] : '=';
        }
    }
    return encoded;
}

int qxLocalMutex::init() {
    // Whatever the flag, a second enter by the same thread is a fault here: the store has no need of it.
    static_cast<void>(_reentrant);
    auto* lock = new FakeLock;
    if (theHost != nullptr) lock->number = theHost->numberLock();
    _words[0] = lock;
    return 0;
}

void qxLocalMutex::enter() {
    auto& lock = *static_cast<FakeLock*>(_words[0]);
    lock.mutex.lock();
    if (theHost != nullptr) {
        if (lock.depth > 0 && lock.holder == std::this_thread::get_id()) {
            theHost->lockFault("second enter by the same thread");
        }
        theHost->enterLock();
    }
    ++lock.depth;
    lock.holder = std::this_thread::get_id();
    if (theHost != nullptr && theHost->notesLock) theHost->note(lock.line("enter"));
}

void qxLocalMutex::leave() {
    auto& lock = *static_cast<FakeLock*>(_words[0]);
    lock.mutex.lock();  // so that the state may be looked at whoever calls
    const bool held = lock.depth > 0 && lock.holder == std::this_thread::get_id();
    const std::string line = lock.line("leave");
    if (held) --lock.depth;
    lock.mutex.unlock();
    if (!held) {
        if (theHost != nullptr) theHost->lockFault("leave without an enter");
        return;
    }
    lock.mutex.unlock();
    if (theHost != nullptr) {
        theHost->leaveLock();
        if (theHost->notesLock) theHost->note(line);
    }
}

qxLocalMutex::~qxLocalMutex() {
    delete static_cast<FakeLock*>(_words[0]);
}
