// What the tests of the signalling link share: records, links that do what a test says, and waiting.
#ifndef TESTS_SIGNALLING_SIGNALLINGSUPPORT_H
#define TESTS_SIGNALLING_SIGNALLINGSUPPORT_H

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/StopSignal.h"
#include "feed/FeedWriter.h"
#include "signalling/Inbox.h"
#include "signalling/SignallingLink.h"

namespace pis::signalling {

/// Far longer than anything takes, on any machine.
constexpr std::chrono::seconds kGenerous{60};

/// Waits until something holds; false when it never does.
inline bool eventually(const std::function<bool()>& holds) {
    const auto limit = std::chrono::steady_clock::now() + kGenerous;
    while (!holds()) {
        if (std::chrono::steady_clock::now() > limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

/// updateOf(2, 7, {"North", "N"}).
inline feed::FeedRecord updateOf(int type, int id, const std::vector<std::string>& fields = {}) {
    feed::FeedRecord record;
    record.type = type;
    record.id = id;
    for (const std::string& field : fields) record.fields.append(field);
    return record;
}

inline feed::FeedRecord recordOf(feed::FeedRecord::Kind kind, int type = 0, int id = 0) {
    feed::FeedRecord record;
    record.kind = kind;
    record.type = type;
    record.id = id;
    return record;
}

inline feed::FeedRecord deletionOf(int type, int id) {
    return recordOf(feed::FeedRecord::DELETION, type, id);
}

inline feed::FeedRecord snapshotBegin() {
    return recordOf(feed::FeedRecord::SNAPSHOT_BEGIN);
}

inline feed::FeedRecord snapshotEnd() {
    return recordOf(feed::FeedRecord::SNAPSHOT_END);
}

/// A record as its line, "malformed 2: what", or "link up: detail".
inline std::string describe(const LinkItem& item) {
    if (const auto* record = std::get_if<feed::FeedRecord>(&item)) return toJsonLine(*record);
    if (const auto* line = std::get_if<MalformedLine>(&item)) {
        return "malformed " + std::to_string(line->type) + ": " + line->fault;
    }
    const auto& change = std::get<LinkChange>(item);
    return std::string("link ") + linkStateName(change.link) + (change.detail.empty() ? "" : ": " + change.detail);
}

/// The next item of an inbox, described; "nothing" when none comes.
inline std::string next(Inbox& inbox) {
    const auto item = inbox.pop(std::chrono::steady_clock::now() + kGenerous);
    return item ? describe(*item) : "nothing";
}

/// Runs a link on a thread of its own until it ends or until this goes away.
class RunningLink {
public:
    RunningLink(SignallingLink& link, Inbox& inbox)
        : _link(link), _inbox(inbox), _thread([this] { _link.run(_inbox); }) {}
    ~RunningLink() {
        _inbox.close();
        _link.stop();
        if (_thread.joinable()) _thread.join();
    }
    RunningLink(const RunningLink&) = delete;
    RunningLink& operator=(const RunningLink&) = delete;

    /// Waits for the end of run().
    void join() { _thread.join(); }

private:
    SignallingLink& _link;
    Inbox& _inbox;
    std::thread _thread;
};

/// A link whose items the test gives. The inbox is there once the link runs.
class ScriptedLink : public SignallingLink {
public:
    void run(Inbox& inbox) override {
        {
            const std::lock_guard<std::mutex> guard(_mutex);
            _inbox = &inbox;
        }
        eventually([this] { return _stop.given(); });
        const std::lock_guard<std::mutex> guard(_mutex);
        _inbox = nullptr;
    }

    bool send(const platform::SendOperation& operation) override {
        const std::lock_guard<std::mutex> guard(_mutex);
        _sent.push_back(toJsonLine(operation));
        return true;
    }

    void stop() override { _stop.give(); }
    std::string name() const override { return "scripted"; }

    bool stopped() const { return _stop.given(); }

    void give(LinkItem item) {
        Inbox* inbox = nullptr;
        eventually([&] {
            const std::lock_guard<std::mutex> guard(_mutex);
            inbox = _inbox;
            return inbox != nullptr;
        });
        inbox->put(std::move(item));
    }

    std::vector<std::string> sent() const {
        const std::lock_guard<std::mutex> guard(_mutex);
        return _sent;
    }

private:
    mutable std::mutex _mutex;
    Inbox* _inbox = nullptr;         // guarded by _mutex
    std::vector<std::string> _sent;  // guarded by _mutex
    base::StopSignal _stop;
};

}  // namespace pis::signalling

#endif
