#include "FanOutCase.h"

#include <cstdio>
#include <stdexcept>

#include "FanOut.h"
#include "Pacer.h"
#include "Usage.h"

double measureFanOutCase(Results& results, EventLoop& loop, const Marks& marks, const FanOutCase& wanted,
                         const Server& server) {
    constexpr std::chrono::seconds kPhase{10};
    constexpr std::chrono::seconds kPatience{60};
    FanOut readers(loop, marks);
    readers.open(wanted.readers, server.port, server.request);
    if (!loop.runUntil([&] { return readers.allBegan(); }, kPatience)) throw std::runtime_error("readers wait in vain");
    loop.runUntil(Clock::now() + std::chrono::seconds(1));

    readers.begin();
    const std::size_t bytesBefore = readers.bytes();
    const std::uint32_t sentBefore = marks.sent();
    const Usage usage(server.process);
    Pacer pacer(wanted.perSecond, [&](Clock::time_point) { server.publish(); });
    loop.runUntil(Clock::now() + kPhase);
    pacer.stop();
    loop.runUntil([&] { return readers.allKnow(); }, std::chrono::seconds(10));

    const double cpu = usage.cpuSeconds();
    const double cores = usage.cores();
    const double ownCores = usage.ownCores();
    const double sent = static_cast<double>(marks.sent() - sentBefore) * static_cast<double>(wanted.readers);
    const double delivered = sent - static_cast<double>(readers.overtaken());
    const double bytes = static_cast<double>(readers.bytes() - bytesBefore) / delivered;
    results.write("fanout", server.name, wanted.readers, wanted.perSecond, readers.out.percentile(0.5),
                  readers.out.percentile(0.99), readers.read.percentile(0.99), cpu / delivered * 1e6, bytes, cores,
                  ownCores, readers.behind(), readers.overtaken());
    std::printf("%-24s %6zu readers, %2d events/s: p50 %.1f, p99 %.1f, read %.1f ms, %.2f us an event, %zu overtaken\n",
                server.name, wanted.readers, wanted.perSecond, readers.out.percentile(0.5),
                readers.out.percentile(0.99), readers.read.percentile(0.99), cpu / delivered * 1e6,
                readers.overtaken());
    std::fflush(stdout);
    return bytes;
}
