#include "replay/Replay.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>

#include "base/Interrupt.h"
#include "base/Output.h"
#include "feed/FeedReader.h"
#include "feed/Intake.h"
#include "feed/Pace.h"
#include "feed/StopTables.h"
#include "feed/StoreEntry.h"
#include "platform/EventQueue.h"
#include "platform/HostCalls.h"
#include "platform/HostLog.h"
#include "records/TableDump.h"
#include "records/Tables.h"
#include "replay/ProgressBar.h"
#include "replay/ReplayObserver.h"
#include "replay/ReplaySummary.h"

namespace pis::replay {

namespace {

/// Writes every host call and observer call to standard output, a line each, while it lives: the place in the feed
/// and the time of the record that it comes of, and the call, with tabs in between.
class TracePrinter : public platform::HostCallListener {
public:
    TracePrinter() {
        platform::HostLog::tellListenersUpTo(2);
        platform::listenToHostCalls(this);
    }
    ~TracePrinter() override { platform::listenToHostCalls(nullptr); }

    /// What comes from now on comes of this record.
    void beginRecord(const std::string& place, const std::optional<double>& at) {
        _front = fmt::format("{}\t{}\t", base::onOneLine(place), at ? fmt::format("{}", *at) : "-");
    }

    void print(const std::string& call) const { base::printLine(_front + base::onOneLine(call)); }

    void onDebug(int level, const std::string& text) override { print(fmt::format("debug {} {}", level, text)); }
    void onError(int severity, const std::string& text) override { print(fmt::format("error {} {}", severity, text)); }
    void onEvent(int code, int id) override { print(fmt::format("event {} {}", code, id)); }
    void onOperation(int operation, const std::string& text) override {
        print(fmt::format("operation {} {}", operation, text));
    }

    TracePrinter(const TracePrinter&) = delete;
    TracePrinter& operator=(const TracePrinter&) = delete;

private:
    std::string _front = "-\t-\t";
};

std::uint64_t sizeOf(const std::vector<std::string>& files) {
    std::uint64_t total = 0;
    for (const std::string& file : files) {
        struct stat status {};
        const bool known = file == "-" ? fstat(STDIN_FILENO, &status) == 0 : stat(file.c_str(), &status) == 0;
        if (!known || !S_ISREG(status.st_mode)) return 0;
        total += static_cast<std::uint64_t>(status.st_size);
    }
    return total;
}

/// One run of the feeds through the store.
class ReplayRun : private feed::IntakeReceiver {
public:
    /// @param trace null where none is wanted.
    ReplayRun(const ReplayOptions& options, ReplayObserver& observer, TracePrinter* trace)
        : _options(options),
          _observer(observer),
          _trace(trace),
          _pace(options.speed, base::Interrupt::stopSignal()),
          _bar(sizeOf(options.files)) {}

    base::ExitStatus deliverAll() {
        base::ExitStatus status = base::DONE;
        for (const std::string& file : _options.files) {
            if (!deliverFile(file)) status = base::FAILED;
            if (const int signal = base::Interrupt::requested()) {
                return static_cast<base::ExitStatus>(base::INTERRUPTED + signal);
            }
            if (status == base::FAILED && !_options.keepGoing) return base::FAILED;
        }
        if (_intake.inSnapshot()) {
            fault(_snapshotBegin +
                  ": the snapshot that begins here does not end: nothing that it leaves out was deleted");
            return base::FAILED;
        }
        return status == base::DONE && _skippedLines > 0 ? base::FINDINGS : status;
    }

    /// As the store holds them, which hands them out to nobody.
    std::vector<ServiceStop> serviceStops() const { return _stops.serviceStops(); }

    void addTo(ReplaySummary& summary) const {
        summary.records = _records;
        summary.skippedLines = _skippedLines;
        summary.snapshots = _intake.snapshots();
        summary.counts = _intake.counts();
        summary.told = _told;
        summary.events = _events;
    }

private:
    /// False when the file is not delivered to its end.
    bool deliverFile(const std::string& file) {
        try {
            feed::FeedReader reader(file, &base::Interrupt::stopSignal());
            while (base::Interrupt::requested() == 0) {
                const feed::FeedReader::Next next = reader.next(_record);
                if (base::Interrupt::requested() != 0) return true;
                switch (next) {
                    case feed::FeedReader::Next::END: _bytesBefore += reader.consumed(); return true;
                    case feed::FeedReader::Next::UNREADABLE: fault(reader.fault()); return false;
                    case feed::FeedReader::Next::MALFORMED:
                        if (!skip(reader.fault())) return false;
                        break;
                    case feed::FeedReader::Next::RECORD:
                        if (!deliver(reader)) return false;
                        _bytesDelivered = _bytesBefore + reader.consumed();
                        showProgress();
                        break;
                }
            }
            return true;
        } catch (const std::runtime_error& error) {
            fault(error.what());
            return false;
        }
    }

    /// False when the record cannot be delivered and the run is to stop.
    bool deliver(const feed::FeedReader& reader) {
        if (_record.kind == feed::FeedRecord::SNAPSHOT_END && !_intake.inSnapshot()) {
            return skip(reader.place() + ": " + _intake.judge(_record).reason);
        }
        if (_record.kind == feed::FeedRecord::SNAPSHOT_BEGIN) _snapshotBegin = reader.place();
        _pace.waitFor(_record.at, [this] { showProgress(); });
        if (base::Interrupt::requested() != 0) return true;

        if (_trace != nullptr) _trace->beginRecord(reader.place(), _record.at);
        const feed::Intake::Verdict verdict = _intake.accept(_record);
        ++_records;
        countEvents();
        if (verdict.outcome != feed::Outcome::FAILED) return true;
        fault(reader.place() + ": " + verdict.reason);
        return base::Interrupt::requested() != 0;
    }

    void countEvents() {
        while (const auto event = platform::EventQueue::instance().pop()) ++_events[event->code];
    }

    void onUpdate(const feed::FeedRecord& record) override {
        const std::uint64_t toldBefore = _observer.updatesTold();
        _storeEntry.update(record);
        if (_observer.updatesTold() != toldBefore) ++_told[record.type];
        _stops.update(record);
    }

    void onDeletion(int type, int id) override {
        _storeEntry.remove(type, id);
        _stops.remove(type, id);
    }

    bool mayGoOn() override {
        countEvents();
        showProgress();
        return base::Interrupt::requested() == 0;
    }

    /// A line that cannot be delivered: false when the run is to stop there.
    bool skip(const std::string& what) {
        fault(what);
        if (_options.keepGoing) ++_skippedLines;
        return _options.keepGoing;
    }

    void showProgress() {
        if (_bar.isDue()) _bar.show(_records, _bytesDelivered);
    }

    void fault(const std::string& what) {
        _bar.hide();
        base::reportFault(what);
    }

    const ReplayOptions& _options;
    ReplayObserver& _observer;
    TracePrinter* _trace;
    feed::StoreEntry _storeEntry{gPassengerInformationServer};
    feed::StopTables _stops;
    feed::Intake _intake{this};
    feed::Pace _pace;
    ProgressBar _bar;
    feed::FeedRecord _record;
    std::string _snapshotBegin;
    std::uint64_t _records = 0;
    std::uint64_t _skippedLines = 0;
    std::uint64_t _bytesBefore = 0;     // of the files before this one
    std::uint64_t _bytesDelivered = 0;  // those of this one included, without a record that is not due yet
    std::map<int, std::uint64_t> _told;
    std::map<int, std::uint64_t> _events;
};

/// What the store holds at the end.
void addTables(ReplaySummary& summary, const std::vector<ServiceStop>& serviceStops) {
    PassengerInformationServer& store = gPassengerInformationServer;
    records::forEachTableOf(store, serviceStops, [&summary](const auto& table) {
        using Record = typename std::decay_t<decltype(table)>::value_type;
        summary.tables.emplace_back(records::tableName(records::TraitsOf<Record>::kTable), table.size());
    });
    summary.serverOnline = store.getServerStatus();
    summary.automaticMessages = store.isAutomaticMessageGenerationEnabled();
    summary.hash = records::hashTables(store, serviceStops);
}

/// Prints what the options ask for.
void printResult(const ReplaySummary& summary, const std::vector<ServiceStop>& serviceStops,
                 ReplayOptions::Output output) {
    switch (output) {
        case ReplayOptions::SUMMARY: base::print(forPeople(summary)); return;
        case ReplayOptions::JSON_SUMMARY: base::printLine(asJson(summary)); return;
        case ReplayOptions::DUMP:
            records::dumpTables(gPassengerInformationServer, serviceStops, base::printLine);
            break;
        case ReplayOptions::TRACE: break;
    }
    base::remark(forPeople(summary));
}

}  // namespace

base::ExitStatus replay(const ReplayOptions& options) {
    base::Interrupt::watch();
    platform::HostLog::setLevel(options.debugLevel);
    if (!options.logFile.empty()) platform::HostLog::writeTo(options.logFile);
    ReplaySummary summary;
    summary.files = options.files;

    std::unique_ptr<TracePrinter> trace;
    ReplayObserver::Trace traceObserver;
    if (options.output == ReplayOptions::TRACE) {
        trace = std::make_unique<TracePrinter>();
        traceObserver = [&printer = *trace](const std::string& call) { printer.print("observer " + call); };
    }
    // The store cannot forget an observer: this one lives as long as the program.
    static ReplayObserver observer(traceObserver);
    gPassengerInformationServer.registerObserver(&observer);

    const auto start = std::chrono::steady_clock::now();
    ReplayRun run(options, observer, trace.get());
    const base::ExitStatus status = run.deliverAll();
    summary.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    summary.partial = base::Interrupt::requested() != 0;

    run.addTo(summary);
    if (status != base::FAILED || summary.records > 0) {  // else there is nothing to sum up
        const std::vector<ServiceStop> serviceStops = run.serviceStops();
        summary.observerCalls = observer.calls();
        addTables(summary, serviceStops);
        printResult(summary, serviceStops, options.output);
    }
    platform::HostLog::finish();
    return status;
}

}  // namespace pis::replay
