// Makes Server-Sent Events of pictures: the whole picture for a new reader, what changed for one that
// knows an earlier revision. A piece is made once for all readers that stand alike.
#ifndef PIS_SERVICE_CHANGESTREAM_H
#define PIS_SERVICE_CHANGESTREAM_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "service/ChangeFilter.h"
#include "service/RevisionToken.h"

namespace pis::service {

/// Events for readers of changes. A reader is nothing but the revision that it knows, so a slow one
/// takes no memory and finds the latest state of each record when it catches up.
/// [Threading] For one thread.
class ChangeStream {
public:
    using Clock = std::chrono::steady_clock;

    /// A piece is shared no longer than this: its `revision` event tells of clock and silence.
    static constexpr std::chrono::seconds kFresh{1};

    /// Bytes of pieces that are kept for readers who stand alike; beyond it they are made anew.
    static constexpr std::size_t kRoom = std::size_t{64} << 20;

    /// @param tick the data of a `revision` event for a picture, as it is now.
    ChangeStream(const RevisionTokens& tokens, std::function<std::string(const picture::Picture&)> tick,
                 std::function<Clock::time_point()> clock = Clock::now)
        : _tokens(tokens), _tick(std::move(tick)), _clock(std::move(clock)) {}

    struct Piece {
        std::shared_ptr<const std::string> events;  ///< Ready to be sent.
        std::size_t coalesced = 0;                  ///< Changes that the reader will not see one by one.
    };

    /// What brings a reader who knows `knows` to this picture: `update` and `remove` events, or where
    /// that cannot be said a `reset`; a `revision` event last. Where nothing is new, that one alone.
    Piece piece(const std::shared_ptr<const picture::Picture>& picture, const ChangeFilter& filter,
                std::optional<picture::Revision> knows);

private:
    Piece make(const picture::Picture& picture, const ChangeFilter& filter,
               std::optional<picture::Revision> knows) const;

    const RevisionTokens& _tokens;
    std::function<std::string(const picture::Picture&)> _tick;
    std::function<Clock::time_point()> _clock;
    std::shared_ptr<const picture::Picture> _of;  // the picture that the pieces below lead to
    Clock::time_point _since;                     // the oldest of them was made
    std::size_t _bytes = 0;                       // in them
    std::unordered_map<std::string, Piece> _pieces;
};

}  // namespace pis::service

#endif
