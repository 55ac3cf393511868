// Answers of departures, kept with what they were read from: one is made anew when something of that changes, and not
// when anything else does.
#ifndef PIS_SERVICE_DEPARTURECACHE_H
#define PIS_SERVICE_DEPARTURECACHE_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "base/RecentlyUsed.h"
#include "picture/Departures.h"
#include "service/BodyCache.h"

namespace pis::service {

/// The bodies stand in a cache of bodies, by content: one that is made anew and says the same keeps its tag and its
/// compressed form. What they were read from is kept here. Holds the picture that was last asked of.
/// [Threading] For one thread.
class DepartureCache {
public:
    /// @param room bytes of what is kept of reads; the answers asked for longest ago are forgotten first.
    explicit DepartureCache(BodyCache& bodies, std::size_t room = std::size_t{32} << 20)
        : _bodies(bodies), _bases(room) {}

    /// The answer of a picture, which must not be older than the one before. Costs the changes since this answer was
    /// asked for last while none of them touches it.
    std::shared_ptr<AnswerBody> get(const std::shared_ptr<const picture::Picture>& picture,
                                    const picture::DepartureQuery& query, const picture::ServiceMoment& now);

    std::uint64_t made() const { return _made; }          ///< Answers made anew.
    std::uint64_t kept() const { return _kept; }          ///< Answers that stood.
    std::size_t bytes() const { return _bases.bytes(); }  ///< What the reads take, roughly.

private:
    /// What one answer follows from.
    struct Basis {
        picture::Reads reads;
        picture::ServiceMoment now;
        bool hasTimetable;
        std::uint64_t heldAgainst;  ///< Facts counted from the first one: all before stand in no way against it.
        std::uint64_t edition;      ///< Another one for another text.
        std::weak_ptr<AnswerBody> body;
    };

    void follow(const std::shared_ptr<const picture::Picture>& picture);
    void forget(std::size_t facts);
    bool stands(Basis& basis, const picture::ServiceMoment& now) const;
    std::shared_ptr<AnswerBody> makeAnew(const std::string& request, const picture::DepartureQuery& query,
                                         const picture::ServiceMoment& now);

    BodyCache& _bodies;
    base::RecentlyUsed<Basis> _bases;  // by request
    std::optional<picture::CallBook> _book;
    std::deque<picture::Fact> _changed;  // facts that changed, the latest ones
    std::uint64_t _forgotten = 0;        // how many were before these
    std::uint64_t _editions = 0;
    std::uint64_t _made = 0;
    std::uint64_t _kept = 0;
};

}  // namespace pis::service

#endif
