// Events to many readers of one server, measured.
#ifndef BENCHMARKS_SERVE_FANOUTCASE_H
#define BENCHMARKS_SERVE_FANOUTCASE_H

#include <cstddef>
#include <functional>
#include <string>

#include "ChildProcess.h"
#include "EventLoop.h"
#include "Marks.h"
#include "Results.h"

struct FanOutCase {
    std::size_t readers;
    int perSecond;
};

/// One server under the events.
struct Server {
    const char* name;
    const ChildProcess& process;
    unsigned short port;
    std::string request;            ///< A reader's.
    std::function<void()> publish;  ///< One event.
};

/// Opens the readers, sends events for ten seconds and writes down what that took.
/// @param marks what the published events bear.
/// @return bytes of an event, as a reader gets it.
double measureFanOutCase(Results& results, EventLoop& loop, const Marks& marks, const FanOutCase& wanted,
                         const Server& server);

#endif
