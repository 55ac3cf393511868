// Makes Server-Sent Events of pictures: the whole picture for a new reader, what changed for one that knows an earlier
// revision. All of it comes in pieces, and a piece is made once for all readers that stand alike.
#ifndef PIS_SERVICE_CHANGESTREAM_H
#define PIS_SERVICE_CHANGESTREAM_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "base/RecentlyUsed.h"
#include "service/ChangeFilter.h"
#include "service/DocumentTexts.h"
#include "service/RevisionToken.h"
#include "service/TextAccount.h"

namespace pis::service {

/// Events for readers of changes. What is kept of a reader is where it stands, so a slow one takes no memory and finds
/// the latest state of each record when it catches up. [Threading] For one thread.
class ChangeStream {
public:
    using Clock = std::chrono::steady_clock;

    /// A piece that ends with a `revision` event is shared no longer than this: it tells of clock and silence.
    static constexpr std::chrono::seconds kFresh{1};

    /// Changes that one piece looks at, at the most, but for the part of the log that it has begun.
    static constexpr std::size_t kPieceChanges = 1024;

    /// Readers who catch up from different revisions stop at each multiple of this one, and stand alike from there on.
    static constexpr picture::Revision kMeetingPoint = 64;

    /// @param documents give the whole picture, and say how long a piece is, about.
    /// @param tick the data of a `revision` event for a picture, as it is now.
    ChangeStream(const RevisionTokens& tokens, TextAccount& account, DocumentTexts& documents,
                 std::function<std::string(const picture::Picture&)> tick,
                 std::function<Clock::time_point()> clock = Clock::now);

    /// Where a reader stands.
    class Reader {
    public:
        /// @param knows the revision that it has; nothing for none.
        Reader(ChangeFilter filter, std::optional<picture::Revision> knows);

    private:
        friend class ChangeStream;

        ChangeFilter _filter;
        std::string _key;                         // of the filter
        std::optional<picture::LogPlace> _knows;  // nothing while it is given the whole
        std::optional<DocumentTexts::Reader> _whole;
    };

    /// What a reader is to be sent next.
    struct Piece {
        SharedText chunk;           ///< Events as a chunk of HTTP/1.1, never an empty one; null where there are none.
        std::size_t coalesced = 0;  ///< Changes that the reader will not see one by one.
        enum State {
            MORE,        ///< More is to follow.
            LATEST,      ///< The reader knows the picture with this.
            WAIT,        ///< No text may be made now; ask again later.
            LEFT_BEHIND  ///< It took the whole so slowly that nobody can say any more what came after.
        } state = MORE;
    };

    /// The next piece on a reader's way to a picture: `update` and `remove` events, or where that cannot be said a
    /// `reset`; a `revision` event last. The reader counts as one that has it.
    /// @param tick whether a reader for whom nothing is new is to be sent the `revision` event all the same.
    Piece next(Reader& reader, const std::shared_ptr<const picture::Picture>& picture, bool tick = true);

private:
    struct Step {
        SharedText chunk;
        std::size_t coalesced = 0;
        picture::LogPlace leadsTo;
        bool isLatest = false;
        bool isTick = false;  // nothing else
    };

    std::shared_ptr<const RowDocument> wholeFor(const Reader& reader,
                                                const std::shared_ptr<const picture::Picture>& picture);
    Piece nextOfWhole(Reader& reader);
    Piece nextStep(Reader& reader, const picture::Picture& picture, bool tick);
    std::optional<Step> stepFrom(const Reader& reader, const picture::Picture& picture);
    Step makeStep(const Reader& reader, const picture::Picture& picture) const;
    void forgetTicks(const std::shared_ptr<const picture::Picture>& picture);

    const RevisionTokens& _tokens;
    TextAccount& _account;
    DocumentTexts& _documents;
    std::function<std::string(const picture::Picture&)> _tick;
    std::function<Clock::time_point()> _clock;

    std::unordered_map<std::string, std::weak_ptr<const RowDocument>> _wholes;  // that are being read, by filter
    base::RecentlyUsed<Step> _steps;                // that lead from one meeting point to the next
    std::unordered_map<std::string, Step> _latest;  // steps that lead to the picture below, ticks and all
    std::weak_ptr<const picture::Picture> _latestOf;
    Clock::time_point _latestSince;

    // The step that was taken last, by whom: most readers stand alike, and come one after the other.
    std::string _lastKey;
    picture::LogPlace _lastFrom;
    std::optional<Step> _last;
};

}  // namespace pis::service

#endif
