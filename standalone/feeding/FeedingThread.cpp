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

/// What a record is about, for the log.
std::string subjectOf(const feed::FeedRecord& record) {
    if (record.kind == feed::FeedRecord::SNAPSHOT_BEGIN) return "the begin of a snapshot";
    if (record.kind == feed::FeedRecord::SNAPSHOT_END) return "the end of a snapshot";
    const feed::ElementType* type = feed::findElementType(record.type);
    const std::string name = type == nullptr ? "element of type " + std::to_string(record.type) : type->name;
    return name + " " + std::to_string(record.id);
}

/// Whether a record brings something that tables show.
bool isOfElement(const feed::FeedRecord& record) {
    const feed::ElementType* type = feed::findElementType(record.type);
    return record.kind == feed::FeedRecord::UPDATE && type != nullptr && !type->isStatus();
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
      _storeEntry(store),
      _intake(this, {_options.maxElements, _options.maxBytes, _options.wallClock}),
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
        const base::MutexLock lock(_requestsMutex);
        _takesRequests = true;
    }
    _feedingThread = std::thread([this] {
        feed();
        _feedingEnds.set_value();
    });
    _linkThread = std::thread([this] {
        runLink();
        _linkEnds.set_value();
    });
}

void FeedingThread::askToStop() {
    _stopping = true;
    _inbox.close();
    _link->stop();
}

bool FeedingThread::stopWithin(std::chrono::milliseconds patience) {
    askToStop();
    const auto deadline = Clock::now() + patience;
    const auto hasEnded = [&](const std::thread& thread, const std::future<void>& ended) {
        return !thread.joinable() || ended.wait_until(deadline) == std::future_status::ready;
    };
    if (!hasEnded(_linkThread, _linkEnded) || !hasEnded(_feedingThread, _feedingEnded)) return false;
    stop();
    return true;
}

void FeedingThread::stop() {
    askToStop();
    if (_linkThread.joinable()) _linkThread.join();
    if (!_feedingThread.joinable()) return;
    _feedingThread.join();
    platform::SendQueue::instance().setSink([](const platform::SendOperation& operation) {
        signalling::sayOperationLost(operation, "the signalling link is closed");
    });

    std::deque<WaitingRequest> notMade;
    {
        const base::MutexLock lock(_requestsMutex);
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
        const base::MutexLock lock(_requestsMutex);
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
    figures.elements = _intake.elements();
    figures.bytes = _intake.bytes();
    figures.secondsInStore =
        std::chrono::duration<double>(std::chrono::nanoseconds(_inStore.load(std::memory_order_relaxed))).count();
    const base::MutexLock lock(_requestsMutex);
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
        std::optional<signalling::LinkItem> item = _inbox.pop(earlier(publication, _rareLog.due()));
        if (item) {
            attempt("signalling feed", [&] { std::visit([this](const auto& kind) { accept(kind); }, *item); });
            _timer.changed(Clock::now());
        }
        lookAround();
    }
    attempt("log", [this] { _rareLog.writeRest(); });
}

/// What is done between two records, and between two deletions of a snapshot's end.
void FeedingThread::lookAround() {
    makeRequests();
    const Clock::time_point now = Clock::now();
    _rareLog.writeWhatIsDue(now);
    if (const auto due = publicationDue(); due && now >= *due) attempt("picture", [this] { publish(); });
}

void FeedingThread::accept(const feed::FeedRecord& record) {
    if (record.kind == feed::FeedRecord::SNAPSHOT_BEGIN && !_intake.inSnapshot()) {
        if (_timer.due()) publish();  // what came before it need not wait for its end
        _shownOfSnapshot = Clock::now();
    }
    feed::FeedStatus& feed = _builder.feed();
    feed.lastRecord = _options.wallClock();
    feed.lastRecordSteady = _options.steadyClock();
    if (record.at) feed.at = record.at;
    const feed::Intake::Verdict verdict = _intake.accept(record);
    passEvents();  // also those of a record that failed half-way
    if (verdict.outcome == feed::Outcome::REFUSED || verdict.outcome == feed::Outcome::FAILED) {
        const char* became = verdict.outcome == feed::Outcome::REFUSED ? " was refused: " : " failed: ";
        _rareLog.say(subjectOf(record) + became + verdict.reason, Clock::now());
    }

    _snapshots = _intake.snapshots();
    if (!_intake.inSnapshot()) feed.partOfSnapshot = false;
    const bool isFirstRecord =
        isOfElement(record) && verdict.outcome == feed::Outcome::DELIVERED && !_intake.inSnapshot();
    feed.ready = feed.ready || _snapshots > 0 || isFirstRecord;
}

void FeedingThread::accept(const signalling::MalformedLine& line) {
    _intake.countMalformed(line.type, line.fault);
    _rareLog.say("malformed line: " + line.fault, Clock::now());
}

void FeedingThread::accept(const signalling::LinkChange& change) {
    feed::FeedStatus& feed = _builder.feed();
    const bool isNew = feed.link != change.link;
    if (isNew) feed.linkSince = _options.wallClock();
    feed.link = change.link;
    feed.linkDetail = change.detail;
    const auto say = change.link == feed::FeedStatus::DOWN ? platform::HostLog::warn : platform::HostLog::say;
    say("signalling link " + _link->name() + ": " + linkStateName(change.link) +
        (change.detail.empty() ? "" : ": " + change.detail));

    if (change.link != feed::FeedStatus::UP && _intake.inSnapshot()) {
        _intake.abandonSnapshot();
        feed.partOfSnapshot = false;
        report("signalling link: the snapshot that had begun does not end: nothing that it leaves out was deleted");
    }
    if (change.link == feed::FeedStatus::DOWN && isNew) tellOffline();
}

void FeedingThread::tellOffline() {
    attempt("signalling server status", [this] { inStore([this] { _storeEntry.tellOffline(); }); });
    passEvents();
}

// --- What the intake lets through -----------------------------------------------------------------

void FeedingThread::onUpdate(const feed::FeedRecord& record) {
    inStore([&] { _storeEntry.update(record); });
    passEvents();
    if (feed::findElementType(record.type)->isStop()) _builder.acceptStop(record);
}

void FeedingThread::onDeletion(int type, int id) {
    inStore([&] { _storeEntry.remove(type, id); });
    passEvents();  // they come before what is deleted next
    _builder.acceptDeletion(type, id);
}

bool FeedingThread::mayGoOn() {
    _timer.changed(Clock::now());
    lookAround();
    return !_stopping;
}

/// Enters the store, and takes the time of that, also where it throws.
template <typename Action>
void FeedingThread::inStore(Action action) {
    struct Watch {
        std::atomic<std::chrono::nanoseconds::rep>& total;
        Clock::time_point entered = Clock::now();
        ~Watch() { total.fetch_add((Clock::now() - entered).count(), std::memory_order_relaxed); }
    };
    const Watch watch{_inStore};
    action();
}

void FeedingThread::makeRequests() {
    while (true) {
        WaitingRequest request;
        {
            const base::MutexLock lock(_requestsMutex);
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
        passEvents();
    }
}

/// To be called when the store's entry point has returned: the events are what it changed.
void FeedingThread::passEvents() {
    while (const auto event = platform::EventQueue::instance().pop()) {
        const bool isOfServer = event->code == SIGNALLING_SERVER_ONLINE || event->code == SIGNALLING_SERVER_OFFLINE;
        _builder.feed().serverKnown = _builder.feed().serverKnown || isOfServer;
        _builder.accept(*event);
    }
}

void FeedingThread::publish() {
    _timer.published();
    feed::FeedStatus& feed = _builder.feed();
    if (_builder.hasChanges()) {
        feed.ready = true;  // what streams hand out can be asked for
        feed.partOfSnapshot = _intake.inSnapshot();
        _shownOfSnapshot = Clock::now();
    }
    feed.serverOnline = _store.getServerStatus();
    feed.automaticMessages = _store.isAutomaticMessageGenerationEnabled();
    feed.known = {_intake.elements(), _intake.bytes()};
    _builder.publish();
    _publications.fetch_add(1, std::memory_order_relaxed);
}

/// When the picture is to be published; nothing as long as nothing changed. Inside a snapshot boards must
/// not see half a state: changed tables wait for its end, though not for ever, and then for no longer again.
std::optional<FeedingThread::Clock::time_point> FeedingThread::publicationDue() const {
    const std::optional<Clock::time_point> due = _timer.due();
    if (!due || !_intake.inSnapshot() || !_builder.hasChanges()) return due;
    return std::max(*due, _shownOfSnapshot + _options.snapshotPatience);
}

}  // namespace pis::feeding
