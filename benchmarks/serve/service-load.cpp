// bench-readers PIS FEED OUTPUT [READERS]: starts the service, feeds it the railway's day at sixty times real
// speed and reads its changes some thousand times over: how long a record takes to its readers, what a reader
// costs, whether anything is lost. The figures go to OUTPUT (see Results.h), what the service says beside it.
#include <algorithm>
#include <boost/asio/write.hpp>
#include <cstdio>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Crowd.h"
#include "Latencies.h"
#include "Results.h"
#include "ServiceProcess.h"
#include "SignallingSide.h"
#include "Socket.h"
#include "Usage.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr double kSpeed = 60;
constexpr double kOpenedPerSecond = 500;
constexpr std::size_t kStandingStill = 10;
constexpr milliseconds kBeat{20};

constexpr seconds kAlone{5};
constexpr seconds kPhase{15};
constexpr seconds kPatience{60};

struct Call {
    std::string pis;
    std::string feed;
    std::string output;
    std::size_t readers = 2000;
};

Call callOf(int argc, char** argv) {
    constexpr int kLeast = 4;
    if (argc < kLeast || argc > kLeast + 1) throw std::runtime_error("usage: PIS FEED OUTPUT [READERS]");
    Call call{argv[1], argv[2], argv[3]};
    if (argc > kLeast) call.readers = std::stoul(argv[kLeast]);
    return call;
}

std::vector<std::string> serviceArguments(const SignallingSide& side, std::size_t readers) {
    const std::string connections = std::to_string(readers + 100);
    return {"--link",
            "tcp://127.0.0.1:" + std::to_string(side.port()),
            "--connections",
            connections,
            "--connections-per-address",
            connections};
}

class Measurement {
public:
    explicit Measurement(const Call& call)
        : _call(call),
          _results(call.output),
          _side(call.feed, kSpeed),
          _service(call.pis, serviceArguments(_side, call.readers), call.output + ".log"),
          _readers(_side, _service.port()) {}

    void run() {
        begin();
        openReaders();
        _side.play();
        const auto phase = [this](Latencies& latencies) { _readers.runUntil(Clock::now() + kPhase, &latencies); };
        measure("the sample", phase);
        measureWithStandstill();
        measure("after those were closed", phase);
        _side.play(kBeat);
        measure("the sample and a vehicle every 20 ms", phase);
        _side.hold();
        compare();
        end();
    }

private:
    void begin() {
        _side.start();
        const bool isReady = _readers.runUntil([this] { return _service.metric("pis_ready") == 1; }, kPatience);
        if (!isReady) throw std::runtime_error("the service is not ready: " + _side.failure());
        _side.play();
        measure("no readers", [this](Latencies&) { _readers.runUntil(Clock::now() + kAlone); });
        _side.hold();
        _readers.runUntil(Clock::now() + seconds(1));
    }

    /// While the feed stands still, so that what grows are the readers.
    void openReaders() {
        noteMemory("before the readers came");
        _readers.open(_call.readers, kOpenedPerSecond);
        if (!_readers.runUntil([this] { return _readers.allBegan(); }, kPatience)) {
            throw std::runtime_error("not every reader was sent the picture");
        }
        _readers.runUntil(Clock::now() + seconds(1));
        noteMemory("with them, the feed still");
    }

    /// With readers besides that ask for the changes and never read any.
    void measureWithStandstill() {
        constexpr int kReceiveBuffer = 4096;  // bytes
        noteMemory("with them, the sample running");
        std::vector<tcp::socket> sockets;
        for (std::size_t i = 0; i < kStandingStill; ++i) {
            sockets.push_back(connectedTo(_service.port(), kReceiveBuffer));
            boost::asio::write(sockets.back(), boost::asio::buffer(changesRequest()));
        }
        std::future<Standstill> closing = std::async(std::launch::async, [this] { return awaitClosing(); });
        measure("the sample and ten that never read", [&](Latencies& latencies) {
            const auto isOver = [&closing] { return closing.wait_for(seconds(0)) == std::future_status::ready; };
            _readers.runUntil(isOver, 2 * kPatience, &latencies);
        });
        const Standstill standstill = closing.get();
        noteMemory("with ten more that never read, when those had just been closed");
        _results.write("standstill", kStandingStill, standstill.seconds, standstill.mostResidentBytes);
    }

    /// How long those that stand still were kept, and the service's memory meanwhile.
    struct Standstill {
        double seconds;
        double mostResidentBytes;
    };

    /// Waits until the service has closed them all, by its own count: they themselves read nothing and therefore
    /// cannot see it. For a thread of its own.
    Standstill awaitClosing() const {
        constexpr milliseconds kLook{250};
        const Clock::time_point opened = Clock::now();
        double most = 0;
        while (Clock::now() - opened < kPatience) {
            std::this_thread::sleep_for(kLook);
            most = std::max(most, _service.residentBytes());
            if (_service.metric("pis_changes_stood_still_total") < static_cast<double>(kStandingStill)) continue;
            return {std::chrono::duration<double>(Clock::now() - opened).count(), most};
        }
        throw std::runtime_error("readers that stand still were not closed within a minute");
    }

    /// Writes what a phase was like.
    template <typename Phase>
    void measure(const char* name, const Phase& phase) {
        Latencies latencies;
        const Clock::time_point began = Clock::now();
        const double cpu = _service.cpuSeconds();
        const double ownCpu = ownCpuSeconds();
        const std::uint64_t records = _side.records();
        const std::uint32_t marks = _side.marks();
        const Crowd::Traffic traffic = _readers.traffic();

        phase(latencies);

        const double took = std::chrono::duration<double>(Clock::now() - began).count();
        if (const std::string failure = _side.failure(); !failure.empty()) throw std::runtime_error(failure);
        if (latencies.count() > 0) {
            _results.write("latency", name, _readers.count(), _side.marks() - marks, latencies.count(),
                           latencies.percentile(0.5), latencies.percentile(0.9), latencies.percentile(0.99),
                           latencies.percentile(1));
        }
        _results.write("load", name, took, static_cast<double>(_side.records() - records) / took,
                       static_cast<double>(_readers.traffic().events - traffic.events) / took,
                       static_cast<double>(_readers.traffic().bytes - traffic.bytes) / took,
                       (_service.cpuSeconds() - cpu) / took, (ownCpuSeconds() - ownCpu) / took);
        std::printf("%-40s %4.1f s, 99th percentile %.1f ms\n", name, took, latencies.percentile(0.99));
        std::fflush(stdout);
    }

    void noteMemory(const char* moment) {
        _results.write("memory", moment, _readers.count(), _service.residentBytes(), kernelSocketBytes());
    }

    /// Nothing may be lost: when the feed stands still every reader holds what the tables show.
    void compare() {
        const bool allKnow = _readers.runUntil([this] { return _readers.allKnow(_service.revision()); }, seconds(20));
        ReaderState expected;
        for (const char* table :
             {"lines", "vehicles", "stations", "platforms", "trips", "trip-stops", "services", "service-stops"}) {
            _readers.rows().addItems(_service.get(std::string("/api/v1/") + table), expected);
        }
        const std::size_t differing = _readers.differFrom(expected);
        if (differing > 0) std::printf("%s\n", _readers.firstDifference(expected).c_str());
        const std::size_t rows = rowsIn(expected);
        if (rows == 0) throw std::runtime_error("the tables are empty");
        _results.write("compared", _readers.count(), rows, differing, _readers.ended(), allKnow ? "yes" : "no",
                       _side.records(), _readers.traffic().resets, _service.metric("pis_changes_coalesced_total"));

        // One row less: the comparison has to notice.
        *std::find_if(expected.begin(), expected.end(), [](RowPool::RowId row) { return row != 0; }) = 0;
        if (_readers.differFrom(expected) != _readers.count()) throw std::runtime_error("the comparison is blind");
        std::printf("%zu of %zu readers differ from the %zu rows of the tables\n", differing, _readers.count(), rows);
    }

    static std::size_t rowsIn(const ReaderState& state) {
        return state.size() - static_cast<std::size_t>(std::count(state.begin(), state.end(), 0U));
    }

    void end() {
        noteMemory("at the end");
        const milliseconds took = _service.end();
        _readers.runUntil([this] { return _readers.ended() == _readers.count(); }, seconds(5));
        _results.write("end", took.count(), _readers.count(), _readers.ended());
    }

    const Call _call;
    Results _results;
    SignallingSide _side;
    ServiceProcess _service;
    Crowd _readers;
};

}  // namespace

int main(int argc, char** argv) {
    return runProgram(argv[0], [&] {
        const Call call = callOf(argc, argv);
        provideDescriptors(call.readers);
        Measurement(call).run();
    });
}
