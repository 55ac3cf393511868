// How the feed and the picture are, as the service says it: the status resource, the ticks of a stream
// of changes, readiness.
#ifndef PIS_SERVICE_FEEDREPORT_H
#define PIS_SERVICE_FEEDREPORT_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "feed/Outcomes.h"
#include "picture/Picture.h"
#include "picture/ServiceClock.h"
#include "service/RevisionToken.h"

namespace pis::service {

class FeedReport {
public:
    using SteadyClock = std::function<std::chrono::steady_clock::time_point()>;

    /// @param staleAfter  seconds of silence after which what is shown may be wrong.
    /// @param steadyClock what silence is measured by: the one that the feed's records were noted by.
    FeedReport(const RevisionTokens& tokens, const picture::ServiceClock& clock, double staleAfter,
               SteadyClock steadyClock = std::chrono::steady_clock::now)
        : _tokens(tokens), _clock(clock), _staleAfter(staleAfter), _steadyClock(std::move(steadyClock)) {}

    /// Seconds since the last record, if there was one; whoever sets the machine's time does not change them.
    std::optional<double> silence(const feed::FeedStatus& feed) const;

    bool isStale(const feed::FeedStatus& feed) const;

    /// One JSON object: revision, clock, link, silence.
    std::string tick(const picture::Picture& picture, base::WallTime now) const;

    /// The same with the sizes of the tables, how much is known of elements, and what was not delivered to the store.
    std::string status(const picture::Picture& picture, const feed::IntakeCounts& counts, base::WallTime now) const;

private:
    const RevisionTokens& _tokens;
    const picture::ServiceClock& _clock;
    double _staleAfter;
    SteadyClock _steadyClock;
};

}  // namespace pis::service

#endif
