// The observer of a replay: counts what the store tells and, where a trace is wanted, writes it.
#ifndef PIS_REPLAY_REPLAYOBSERVER_H
#define PIS_REPLAY_REPLAYOBSERVER_H

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>

#include "records/ObserverOperations.h"
#include "records/TableDump.h"

namespace pis::replay {

/// [Threading] For the thread that delivers the feed.
class ReplayObserver : public records::ObserverOfAll<ReplayObserver> {
public:
    /// Calls by operation, in the order of the interface.
    using Calls = std::array<std::uint64_t, records::kObserverOperations.size()>;

    /// Takes a call as a line: its name, then what it was given.
    using Trace = std::function<void(const std::string&)>;

    explicit ReplayObserver(Trace trace = nullptr) : _trace(std::move(trace)) {}

    const Calls& calls() const { return _calls; }

    /// All calls but those that tell of removals.
    std::uint64_t updatesTold() const { return _updatesTold; }

    template <typename What>
    void told(Operation operation, const What& what) {
        ++_calls[indexOf(operation)];
        if (!tellsOfRemoval(operation)) ++_updatesTold;
        if (_trace) _trace(std::string(records::kObserverOperations[indexOf(operation)]) + " " + textOf(what));
    }

private:
    static std::string textOf(bool online) { return online ? "true" : "false"; }
    template <typename Record>
    static std::string textOf(const Record& record) {
        return records::dumpLine(record);
    }

    Trace _trace;
    Calls _calls{};
    std::uint64_t _updatesTold = 0;
};

}  // namespace pis::replay

#endif
