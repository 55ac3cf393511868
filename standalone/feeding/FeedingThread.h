// The one thread that speaks to the store: pops what the link brings, asks the intake about it, lets the store hear
// it, keeps the picture in step, makes requests. Owns the link, its thread, the intake and the picture's builder.
#ifndef PIS_FEEDING_FEEDINGTHREAD_H
#define PIS_FEEDING_FEEDINGTHREAD_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "base/Mutex.h"
#include "base/RareLog.h"
#include "feed/Intake.h"
#include "feed/StoreEntry.h"
#include "feeding/PublicationTimer.h"
#include "picture/PictureBuilder.h"
#include "picture/PublishedPicture.h"
#include "signalling/Inbox.h"
#include "signalling/SignallingLink.h"

namespace pis::feeding {

struct FeedingOptions {
    std::size_t maxElements = 1000000;
    std::uint64_t maxBytes = std::uint64_t{256} << 20;  ///< Of the fields' texts of all elements.
    std::size_t inboxCapacity = 1024;
    /// A snapshot that takes longer is shown before its end, each time that this has passed, and is said to be part of
    /// one.
    std::chrono::milliseconds snapshotPatience{5000};
    std::function<base::WallTime()> wallClock = std::chrono::system_clock::now;
    std::function<std::chrono::steady_clock::time_point()> steadyClock = std::chrono::steady_clock::now;
};

/// Figures of a moment.
struct FeedingFigures {
    std::size_t inbox = 0;  ///< Items of the link that wait.
    std::size_t requestsWaiting = 0;
    std::uint64_t requests = 0;         ///< Made.
    std::uint64_t requestsRefused = 0;  ///< Because too many waited.
    std::uint64_t publications = 0;
    std::uint64_t snapshots = 0;  ///< Taken whole.
    std::size_t elements = 0;     ///< Known to the intake; a state belongs to its element.
    std::uint64_t bytes = 0;      ///< Of the fields' texts of these.
    double secondsInStore = 0;    ///< In the store's entry points for elements.
};

class FeedingThread : private feed::IntakeReceiver {
public:
    using Request = std::function<void(PassengerInformationServer&)>;

    static constexpr std::size_t kMostRequests = 256;  ///< That wait.

    /// @param published must outlive this.
    FeedingThread(PassengerInformationServer& store, std::unique_ptr<signalling::SignallingLink> link,
                  picture::PublishedPicture& published, FeedingOptions options = {});

    /// Stops.
    ~FeedingThread() override;

    /// Begins; to be called once. From now on the store's operations go to the link.
    void start();

    /// Tells both threads to end; any thread may call. A snapshot's end is left between two deletions.
    void askToStop();

    /// Ends both threads, within 200 ms unless the store, a request or an observer takes longer. Requests that wait
    /// fail. May be called again.
    void stop();

    /// The same for whoever cannot wait any longer. False when a thread still runs then, which nobody can end: this
    /// must not be destroyed before a later call says true, unless the process ends without.
    bool stopWithin(std::chrono::milliseconds patience);

    /// Has a request made on the feeding thread, whole, between two records; in the order of the calls. Any
    /// thread may call. The future becomes ready once it was made; what it throws comes out of it. Nothing
    /// when kMostRequests wait already, or after stop().
    std::optional<std::future<void>> request(Request request);

    /// May be called from any thread, as may counts().
    FeedingFigures figures() const;
    feed::IntakeCounts counts() const { return _intake.counts(); }

    std::string linkName() const { return _link->name(); }

private:
    using Clock = std::chrono::steady_clock;

    struct WaitingRequest {
        Request make;
        std::promise<void> made;
    };

    void runLink();
    void feed();
    void accept(const feed::FeedRecord& record);
    void accept(const signalling::MalformedLine& line);
    void accept(const signalling::LinkChange& change);
    void onUpdate(const feed::FeedRecord& record) override;
    void onDeletion(int type, int id) override;
    bool mayGoOn() override;
    void lookAround();
    void tellOffline();
    template <typename Action>
    void inStore(Action action);
    void makeRequests();
    void passEvents();
    void publish();
    std::optional<Clock::time_point> publicationDue() const;

    PassengerInformationServer& _store;
    const std::unique_ptr<signalling::SignallingLink> _link;
    const FeedingOptions _options;
    signalling::Inbox _inbox;
    picture::PictureBuilder _builder;
    feed::StoreEntry _storeEntry;
    feed::Intake _intake;
    PublicationTimer _timer;
    base::RareLog _rareLog;
    Clock::time_point _shownOfSnapshot;  // when a part of the snapshot was shown last, or when it began
    std::atomic<bool> _stopping{false};
    std::atomic<std::uint64_t> _publications{0};
    std::atomic<std::uint64_t> _snapshots{0};

    std::atomic<std::chrono::nanoseconds::rep> _inStore{0};  // time in the store's entry points

    mutable base::Mutex _requestsMutex;
    std::deque<WaitingRequest> _waiting PIS_GUARDED_BY(_requestsMutex);
    bool _takesRequests PIS_GUARDED_BY(_requestsMutex) = false;
    std::uint64_t _requests PIS_GUARDED_BY(_requestsMutex) = 0;
    std::uint64_t _requestsRefused PIS_GUARDED_BY(_requestsMutex) = 0;

    std::promise<void> _linkEnds;
    std::promise<void> _feedingEnds;
    const std::future<void> _linkEnded = _linkEnds.get_future();
    const std::future<void> _feedingEnded = _feedingEnds.get_future();
    std::thread _linkThread;
    std::thread _feedingThread;
};

}  // namespace pis::feeding

#endif
