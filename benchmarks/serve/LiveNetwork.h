// A service that shows a network: fed, asked whether it still answers, and watched while something is done to it.
#ifndef BENCHMARKS_SERVE_LIVENETWORK_H
#define BENCHMARKS_SERVE_LIVENETWORK_H

#include <cstddef>
#include <functional>
#include <string>

#include "EventLoop.h"
#include "Marks.h"
#include "NetworkFeed.h"
#include "Results.h"
#include "ServiceProcess.h"
#include "SignallingLink.h"

class LiveNetwork {
public:
    /// Records a second that come in while something is done to the service.
    static constexpr double kRecordsPerSecond = 12;

    /// Starts the service and sends it the whole state.
    LiveNetwork(const std::string& pis, Results& results, NetworkFeed& feed);

    /// Does something to the service while records come in, and writes down what it took and whether it still
    /// answered. @param action returns how many readers did not get what they should.
    /// @return seconds that the action took.
    double endure(const std::string& name, std::size_t readers, const std::function<std::size_t()>& action);

    /// A marked delay of a service stop. @param number which: see NetworkFeed::delay.
    void sendMark(std::size_t number);

    /// Seconds from when the whole state was sent until it was shown.
    double secondsToShow() const { return _secondsToShow; }

    /// Rows that the picture has of a table.
    std::size_t rowsOf(const std::string& table) const;

    NetworkFeed& feed;
    Marks marks;
    SignallingLink link;
    ServiceProcess service;
    EventLoop loop;

private:
    Results& _results;
    double _secondsToShow = 0;
};

#endif
