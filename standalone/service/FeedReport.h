// How the feed and the picture are, as the service says it: the status resource, the ticks of a stream
// of changes, readiness.
#ifndef PIS_SERVICE_FEEDREPORT_H
#define PIS_SERVICE_FEEDREPORT_H

#include <optional>
#include <string>

#include "feed/Outcomes.h"
#include "picture/Picture.h"
#include "picture/ServiceClock.h"
#include "service/RevisionToken.h"

namespace pis::service {

class FeedReport {
public:
    /// @param staleAfter seconds of silence after which what is shown may be wrong.
    FeedReport(const RevisionTokens& tokens, const picture::ServiceClock& clock, double staleAfter)
        : _tokens(tokens), _clock(clock), _staleAfter(staleAfter) {}

    /// Seconds since the last record, if there was one.
    static std::optional<double> silence(const feed::FeedStatus& feed, base::WallTime now);

    bool isStale(const feed::FeedStatus& feed, base::WallTime now) const;

    /// One JSON object: revision, clock, link, silence.
    std::string tick(const picture::Picture& picture, base::WallTime now) const;

    /// The same with the sizes of the tables, how much is known of elements, and what was not delivered to the store.
    std::string status(const picture::Picture& picture, const feed::IntakeCounts& counts, base::WallTime now) const;

private:
    const RevisionTokens& _tokens;
    const picture::ServiceClock& _clock;
    double _staleAfter;
};

}  // namespace pis::service

#endif
