// How the feed and the picture are, as the service says it: the status resource, the ticks of a stream
// of changes, readiness.
#ifndef STANDALONE_SERVICE_FEEDREPORT_H
#define STANDALONE_SERVICE_FEEDREPORT_H

#include <optional>
#include <string>

#include "Picture.h"
#include "RevisionToken.h"
#include "ServiceClock.h"

class FeedReport {
public:
    /// @param staleAfter seconds of silence after which what is shown may be wrong.
    FeedReport(const RevisionTokens& tokens, const ServiceClock& clock, double staleAfter)
        : _tokens(tokens), _clock(clock), _staleAfter(staleAfter) {}

    /// Seconds since the last record, if there was one.
    static std::optional<double> silence(const FeedStatus& feed, WallTime now);

    bool isStale(const FeedStatus& feed, WallTime now) const;

    /// One JSON object: revision, clock, link, silence.
    std::string tick(const Picture& picture, WallTime now) const;

    /// The same with the sizes of the tables.
    std::string status(const Picture& picture, WallTime now) const;

private:
    const RevisionTokens& _tokens;
    const ServiceClock& _clock;
    double _staleAfter;
};

#endif
