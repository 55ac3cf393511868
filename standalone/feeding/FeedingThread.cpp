#include "feeding/FeedingThread.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>
#include <variant>

#include "debug.h"
#include "feed/ElementTypes.h"
#include "platform/EventQueue.h"
#include "platform/HostLog.h"
#include "platform/SendQueue.h"

namespace pis::feeding {

using namespace SignallingCodes;

namespace {

void report(const std::string& line) {
    handleError(3, "%s", line.c_str());
}

/// Does something that may throw; what it throws is reported, and life goes on.
template <typename Action>
void attempt(const char* what, Action action) {
    try {
        action();
    } catch (const std::exception& error) {
        handleError(3, "%s: %s", what, error.what());
    } catch (...) {
        handleError(3, "%s: something was thrown that is no exception", what);
    }
}

/// The element that a record is about, for the log.
std::string subjectOf(const feed::FeedRecord& record) {
    const feed::ElementType* type = feed::findElementType(record.type);
    const std::string name = type == nullptr ? "element of type " + std::to_string(record.type) : type->name;
    return name + " " + std::to_string(record.id);
}

/// Whether a record brings something that tables show.
bool isOfElement(const feed::FeedRecord& record) {
    return record.kind == feed::FeedRecord::UPDATE && record.type <= SERVICE_STATE;
}

std::optional<PublicationTimer::Clock::time_point> earlier(std::optional<PublicationTimer::Clock::time_point> one,
                                                           std::optional<PublicationTimer::Clock::time_point> other) {
    if (one && other) return std::min(*one, *other);
    return one ? one : other;
}

}  // namespace

FeedingThread::FeedingThread(PassengerInformationServer& store, std::unique_ptr<signalling::SignallingLink> link,
                             picture::PublishedPicture& published, FeedingOptions options)
    : _store(store),
      _link(std::move(link)),
      _options(std::move(options)),
      _inbox(_options.inboxCapacity),
      _builder(published, _options.wallClock),
      _storage(store, {_options.maxElements, _options.wallClock},
               [this](int type, int id) {
                   takeEvents();  // they come before what is deleted next
                   _builder.takeDeletion(type, id);
               }),
      _rareLog(report) {}

FeedingThread::~FeedingThread() {
    stop();
}

void FeedingThread::start() {
    _builder.feed().linkName = _link->name();
    _builder.feed().linkSince = _options.wallClock();
    platform::SendQueue::instance().setSink(
        [this](const platform::SendOperation& operation) { _link->send(operation); });
    {
        const std::lock_guard<std::mutex> guard(_requestsMutex);
        _takesRequests = true;
    }
    _feedingThread = std::thread([this] { feed(); });
    _linkThread = std::thread([this] { runLink(); });
}

void FeedingThread::stop() {
    _stopping = true;
    _inbox.close();
    _link->stop();
    if (_linkThread.joinable()) _linkThread.join();
    if (!_feedingThread.joinable()) return;
    _feedingThread.join();
    platform::SendQueue::instance().setSink([](const platform::SendOperation& operation) {
        signalling::sayOperationLost(operation, "the signalling link is closed");
    });

    std::deque<WaitingRequest> notMade;
    {
        const std::lock_guard<std::mutex> guard(_requestsMutex);
        _takesRequests = false;
        notMade.swap(_waiting);
    }
    for (WaitingRequest& request : notMade) {
        request.made.set_exception(std::make_exception_ptr(std::runtime_error("not made: the service ends")));
    }
}

std::optional<std::future<void>> FeedingThread::request(Request request) {
    std::optional<std::future<void>> made;
    {
        const std::lock_guard<std::mutex> guard(_requestsMutex);
        if (!_takesRequests || _waiting.size() >= kMostRequests) {
            ++_requestsRefused;
            return std::nullopt;
        }
        _waiting.push_back({std::move(request), {}});
        made = _waiting.back().made.get_future();
    }
    _inbox.wake();
    return made;
}

FeedingFigures FeedingThread::figures() const {
    FeedingFigures figures;
    figures.inbox = _inbox.size();
    figures.publications = _publications;
    figures.snapshots = _snapshots;
    figures.elements = _storage.elements();
    figures.secondsInStore = std::chrono::duration<double>(_storage.inStore()).count();
    const std::lock_guard<std::mutex> guard(_requestsMutex);
    figures.requestsWaiting = _waiting.size();
    figures.requests = _requests;
    figures.requestsRefused = _requestsRefused;
    return figures;
}

// --- The link's thread ---------------------------------------------------------------------------

void FeedingThread::runLink() {
    attempt("signalling link", [this] { _link->run(_inbox); });
}

// --- The feeding thread --------------------------------------------------------------------------

void FeedingThread::feed() {
    attempt("first picture", [this] { publish(); });
    while (!_stopping) {
        const std::optional<Clock::time_point> publication = publicationDue();
        std::optional<signalling::LinkItem> item = _inbox.take(earlier(publication, _rareLog.due()));
        if (item) {
            attempt("signalling feed", [&] { std::visit([this](const auto& kind) { take(kind); }, *item); });
            _timer.changed(Clock::now());
        }
        makeRequests();

        const Clock::time_point now = Clock::now();
        _rareLog.writeWhatIsDue(now);
        if (const auto due = publicationDue(); due && now >= *due) attempt("picture", [this] { publish(); });
    }
}

void FeedingThread::take(const feed::FeedRecord& record) {
    const bool beginsSnapshot = record.kind == feed::FeedRecord::SNAPSHOT_BEGIN && !_storage.inSnapshot();
    if (beginsSnapshot) {
        if (_timer.due()) publish();  // what came before it need not wait for its end
        _snapshotBegan = Clock::now();
    }
    const feed::Outcome outcome = _storage.take(record);
    takeEvents();
    const bool isStop = record.type == TRIP_STOP || record.type == SERVICE_STOP;
    if (outcome == feed::Outcome::DELIVERED && record.kind == feed::FeedRecord::UPDATE && isStop) {
        _builder.takeStop(record.type, record.id, record.fields);
    }
    if (outcome == feed::Outcome::REFUSED || outcome == feed::Outcome::FAILED) {
        _rareLog.say(subjectOf(record) + " was " + outcomeName(outcome) + ": " + _storage.lastReason(), Clock::now());
    }

    _snapshots = _storage.snapshots();
    feed::FeedStatus& feed = _builder.feed();
    feed.lastRecord = _options.wallClock();
    if (record.at) feed.at = record.at;
    const bool isFirstRecord = isOfElement(record) && outcome == feed::Outcome::DELIVERED && !_storage.inSnapshot();
    feed.ready = feed.ready || _snapshots > 0 || isFirstRecord;
}

void FeedingThread::take(const signalling::MalformedLine& line) {
    _storage.countMalformed(line.type, line.fault);
    _rareLog.say("malformed line: " + line.fault, Clock::now());
}

void FeedingThread::take(const signalling::LinkChange& change) {
    feed::FeedStatus& feed = _builder.feed();
    const bool isNew = feed.link != change.link;
    if (isNew) feed.linkSince = _options.wallClock();
    feed.link = change.link;
    feed.linkDetail = change.detail;
    const auto say = change.link == feed::FeedStatus::DOWN ? platform::HostLog::warn : platform::HostLog::say;
    say("signalling link " + _link->name() + ": " + linkStateName(change.link) +
        (change.detail.empty() ? "" : ": " + change.detail));

    if (change.link != feed::FeedStatus::UP && _storage.inSnapshot()) {
        _storage.abandonSnapshot();
        report("signalling link: the snapshot that had begun does not end: nothing that it leaves out was deleted");
    }
    if (change.link != feed::FeedStatus::DOWN || !isNew) return;
    const std::string fault = _storage.tellOffline();
    takeEvents();
    if (!fault.empty()) report("signalling server status: " + fault);
}

void FeedingThread::makeRequests() {
    while (true) {
        WaitingRequest request;
        {
            const std::lock_guard<std::mutex> guard(_requestsMutex);
            if (_stopping || _waiting.empty()) return;
            request = std::move(_waiting.front());
            _waiting.pop_front();
            ++_requests;
        }
        try {
            request.make(_store);
            request.made.set_value();
        } catch (...) {
            request.made.set_exception(std::current_exception());
        }
        takeEvents();
    }
}

/// To be called when the store's entry point has returned: the events are what it changed.
void FeedingThread::takeEvents() {
    while (const auto event = platform::EventQueue::instance().pop()) {
        const bool isOfServer = event->code == SIGNALLING_SERVER_ONLINE || event->code == SIGNALLING_SERVER_OFFLINE;
        _builder.feed().serverKnown = _builder.feed().serverKnown || isOfServer;
        _builder.take(*event);
    }
}

void FeedingThread::publish() {
    _timer.published();
    feed::FeedStatus& feed = _builder.feed();
    feed.serverOnline = _store.getServerStatus();
    feed.automaticMessages = _store.isAutomaticMessageGenerationEnabled();
    _builder.publish();
    _publications.fetch_add(1, std::memory_order_relaxed);
}

/// When the picture is to be published; nothing as long as nothing changed. Inside a snapshot boards must
/// not see half a state: changed tables wait for its end, though not for ever.
std::optional<FeedingThread::Clock::time_point> FeedingThread::publicationDue() const {
    const std::optional<Clock::time_point> due = _timer.due();
    if (!due || !_storage.inSnapshot() || !_builder.hasChanges()) return due;
    return std::max(*due, _snapshotBegan + _options.snapshotPatience);
}

}  // namespace pis::feeding
