// The service over whatever is published, for targets that ask it.
#ifndef FUZZ_SMALLSERVICE_H
#define FUZZ_SMALLSERVICE_H

#include "picture/PublishedPicture.h"
#include "service/Api.h"
#include "service/ChangeStream.h"

namespace small {

inline pis::base::WallTime someTime() {
    return pis::base::WallTime(std::chrono::hours(500000));
}

/// Pieces are small, so that a small railway comes in several.
struct Service {
    static constexpr std::size_t kBytes = std::size_t{1} << 24;
    static constexpr std::size_t kPieceBytes = 1500;

    Service(const pis::picture::PublishedPicture& source, const pis::picture::ServiceClock& time)
        : published(source), clock(time) {}

    const pis::picture::PublishedPicture& published;
    const pis::picture::ServiceClock& clock;
    pis::service::TextAccount account{kBytes};
    pis::service::DocumentTexts documents{account, kPieceBytes};
    pis::service::RevisionTokens tokens{someTime()};
    pis::service::FeedReport report{tokens, clock, 90};
    pis::service::Api api{{published, clock, report, tokens, [] { return std::string("metrics 1\n"); },
                           [] { return pis::feed::IntakeCounts(); }, someTime, account},
                          {{"h"}, false}};
    pis::service::ChangeStream changes{
        tokens, account, documents,
        [this](const pis::picture::Picture& picture) { return report.tick(picture, someTime()); },
        [] { return pis::service::ChangeStream::Clock::time_point(); }};
};

}  // namespace small

#endif
