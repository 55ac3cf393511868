#include "LiveNetwork.h"

#include <algorithm>
#include <stdexcept>

#include "Pacer.h"
#include "Probe.h"
#include "Usage.h"

namespace {

std::vector<std::string> argumentsFor(const SignallingLink& link) {
    constexpr const char* kConnections = "12000";
    return {"--link",
            "tcp://127.0.0.1:" + std::to_string(link.port()),
            "--connections",
            kConnections,
            "--connections-per-address",
            kConnections};
}

}  // namespace

LiveNetwork::LiveNetwork(const std::string& pis, Results& results, NetworkFeed& networkFeed)
    : feed(networkFeed), service(pis, argumentsFor(link), results.path() + ".log"), _results(results) {
    constexpr std::chrono::seconds kPatience{60};
    link.accept();
    const Clock::time_point began = Clock::now();
    link.send(feed.wholeState());
    const auto isShown = [this] {
        return service.metric("pis_ready") == 1 && rowsOf("service_stops") == feed.serviceStops();
    };
    if (!loop.runUntil(isShown, kPatience)) {
        throw std::runtime_error("the service does not show the whole state");
    }
    _secondsToShow = std::chrono::duration<double>(Clock::now() - began).count();
}

double LiveNetwork::endure(const std::string& name, std::size_t readers, const std::function<std::size_t()>& action) {
    constexpr double kLooksPerSecond = 5;
    service.resetMostResident();
    Probe probe(service.port());
    Pacer day(kRecordsPerSecond, [this](Clock::time_point) { link.send(feed.next()); });
    double mostOfKernel = 0;
    Pacer look(kLooksPerSecond, [&](Clock::time_point) { mostOfKernel = std::max(mostOfKernel, kernelSocketBytes()); });
    const Usage usage(service);
    const std::size_t failed = action();
    const double seconds = usage.seconds();
    const double cores = usage.cores();
    look.stop();
    day.stop();
    probe.stop();
    _results.write("endured", name, readers, seconds, service.mostResidentBytes(), mostOfKernel, cores, failed,
                   probe.kept.percentile(0.5), probe.kept.percentile(0.99), probe.anew.percentile(0.5),
                   probe.anew.percentile(0.99), probe.anew.percentile(1));
    std::printf("%-44s %5.1f s, %.0f MB, /healthz p99 %.1f and %.1f ms, %zu failed\n", name.c_str(), seconds,
                service.mostResidentBytes() / 1e6, probe.kept.percentile(0.99), probe.anew.percentile(0.99), failed);
    std::fflush(stdout);
    return seconds;
}

void LiveNetwork::sendMark(std::size_t number) {
    const std::string line = feed.delay(number, marks.next());
    marks.send();
    link.send(line);
}

std::size_t LiveNetwork::rowsOf(const std::string& table) const {
    const std::string status = service.get("/api/v1/status");
    const std::string before = "\"" + table + "\":";
    const std::size_t found = status.find(before, status.find("\"tables\""));
    if (found == std::string::npos) throw std::runtime_error("the status names no table " + table);
    return std::stoul(status.substr(found + before.size()));
}
