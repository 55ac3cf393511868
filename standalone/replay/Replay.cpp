#include "replay/Replay.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <memory>
#include <stdexcept>

#include "SignallingCodes.h"
#include "base/Interrupt.h"
#include "base/Output.h"
#include "feed/FeedReader.h"
#include "feed/Pace.h"
#include "platform/EventQueue.h"
#include "platform/HostCalls.h"
#include "platform/HostLog.h"
#include "records/TableDump.h"
#include "replay/ProgressBar.h"
#include "replay/ReplayObserver.h"
#include "replay/ReplaySummary.h"

namespace pis::replay {

namespace {

/// Writes every host call and observer call to standard output, a line each, while it lives.
class TracePrinter : public platform::HostCallListener {
public:
    TracePrinter() {
        platform::HostLog::tellListenersUpTo(2);
        platform::listenToHostCalls(this);
    }
    ~TracePrinter() override { platform::listenToHostCalls(nullptr); }

    void onDebug(int level, const std::string& text) override { print("debug", level, text); }
    void onError(int severity, const std::string& text) override { print("error", severity, text); }
    void onEvent(int code, int id) override { base::printLine(fmt::format("event {} {}", code, id)); }
    void onOperation(int operation, const std::string& text) override { print("operation", operation, text); }

    TracePrinter(const TracePrinter&) = delete;
    TracePrinter& operator=(const TracePrinter&) = delete;

private:
    static void print(const char* call, int number, const std::string& text) {
        base::printLine(fmt::format("{} {} {}", call, number, base::onOneLine(text)));
    }
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
class ReplayRun {
public:
    ReplayRun(const ReplayOptions& options, ReplayObserver& observer)
        : _options(options),
          _observer(observer),
          _delivery(gPassengerInformationServer),
          _pace(options.speed, [] { return base::Interrupt::requested() != 0; }),
          _bar(sizeOf(options.files)) {}

    base::ExitStatus deliverAll() {
        base::ExitStatus status = base::DONE;
        for (const std::string& file : _options.files) {
            if (!deliverFile(file)) status = base::FAILED;
            if (const int signal = base::Interrupt::requested())
                return static_cast<base::ExitStatus>(base::INTERRUPTED + signal);
            if (status == base::FAILED && !_options.keepGoing) return base::FAILED;
        }
        if (_delivery.inSnapshot()) {
            fault(_snapshotBegin +
                  ": the snapshot that begins here does not end: nothing that it leaves out was deleted");
            return base::FAILED;
        }
        return status == base::DONE && _skippedLines > 0 ? base::FINDINGS : status;
    }

    const feed::FeedDelivery& delivery() const { return _delivery; }

    void addTo(ReplaySummary& summary) const {
        summary.records = _records;
        summary.skippedLines = _skippedLines;
        summary.snapshots = _delivery.snapshots();
        summary.counts = _delivery.counts();
        summary.told = _told;
        summary.events = _events;
    }

private:
    /// False when the file is not delivered to its end.
    bool deliverFile(const std::string& file) {
        try {
            feed::FeedReader reader(file);
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
                        if (_bar.isDue()) _bar.show(_records, _bytesBefore + reader.consumed());
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
        if (_record.kind == feed::FeedRecord::SNAPSHOT_END && !_delivery.inSnapshot()) {
            return skip(reader.place() + ": the snapshot that ends here has not begun");
        }
        if (_record.kind == feed::FeedRecord::SNAPSHOT_BEGIN) _snapshotBegin = reader.place();
        _pace.waitFor(_record.at);
        if (base::Interrupt::requested() != 0) return true;

        const std::uint64_t toldBefore = _observer.updatesTold();
        _delivery.deliver(_record);
        ++_records;
        if (_observer.updatesTold() != toldBefore) ++_told[_record.type];
        while (const auto event = platform::EventQueue::instance().pop()) ++_events[event->code];
        return true;
    }

    /// A line that cannot be delivered: false when the run is to stop there.
    bool skip(const std::string& what) {
        fault(what);
        if (_options.keepGoing) ++_skippedLines;
        return _options.keepGoing;
    }

    void fault(const std::string& what) {
        _bar.hide();
        base::reportFault(what);
    }

    const ReplayOptions& _options;
    ReplayObserver& _observer;
    feed::FeedDelivery _delivery;
    feed::Pace _pace;
    ProgressBar _bar;
    feed::FeedRecord _record;
    std::string _snapshotBegin;
    std::uint64_t _records = 0;
    std::uint64_t _skippedLines = 0;
    std::uint64_t _bytesBefore = 0;  // of the files before this one
    std::map<int, std::uint64_t> _told;
    std::map<int, std::uint64_t> _events;
};

/// What the store holds at the end.
void addTables(ReplaySummary& summary, const feed::FeedDelivery& delivery) {
    PassengerInformationServer& store = gPassengerInformationServer;
    summary.tables = {{"lines", store.getLines().size()},
                      {"vehicles", store.getVehicles().size()},
                      {"stations", store.getStations().size()},
                      {"platforms", store.getPlatforms().size()},
                      {"trips", store.getTrips().size()},
                      {"trip_stops", store.getTripStops().size()},
                      {"services", store.getServices().size()},
                      // The store hands these out to nobody: they are counted as they are delivered.
                      {"service_stops", delivery.elements(SignallingCodes::SERVICE_STOP)}};
    summary.serverOnline = store.getServerStatus();
    summary.automaticMessages = store.isAutomaticMessageGenerationEnabled();
    summary.hash = records::hashTables(store);
}

/// Prints what the options ask for.
void printResult(const ReplaySummary& summary, ReplayOptions::Output output) {
    switch (output) {
        case ReplayOptions::SUMMARY: base::print(forPeople(summary)); return;
        case ReplayOptions::JSON_SUMMARY: base::printLine(asJson(summary)); return;
        case ReplayOptions::DUMP: records::dumpTables(gPassengerInformationServer, base::printLine); break;
        case ReplayOptions::TRACE: break;
    }
    base::remark(forPeople(summary));
}

}  // namespace

base::ExitStatus replay(const ReplayOptions& options) {
    base::Interrupt::watch();
    ReplaySummary summary;
    summary.files = options.files;

    std::unique_ptr<TracePrinter> trace;
    ReplayObserver::Trace traceObserver;
    if (options.output == ReplayOptions::TRACE) {
        trace = std::make_unique<TracePrinter>();
        traceObserver = [](const std::string& call) { base::printLine("observer " + call); };
    }
    // The store cannot forget an observer: this one lives as long as the program.
    static ReplayObserver observer(traceObserver);
    gPassengerInformationServer.registerObserver(&observer);

    const auto start = std::chrono::steady_clock::now();
    ReplayRun run(options, observer);
    const base::ExitStatus status = run.deliverAll();
    summary.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    run.addTo(summary);
    if (status == base::FAILED && summary.records == 0) return status;  // there is nothing to sum up
    summary.observerCalls = observer.calls();
    addTables(summary, run.delivery());
    printResult(summary, options.output);
    return status;
}

}  // namespace pis::replay
