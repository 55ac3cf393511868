// The way from the link's thread to the feeding thread: bounded, so that a link that sends faster than
// the store takes is slowed down, and nothing is dropped.
#ifndef PIS_SIGNALLING_INBOX_H
#define PIS_SIGNALLING_INBOX_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <optional>
#include <string>
#include <variant>

#include "base/Mutex.h"
#include "feed/FeedRecord.h"
#include "feed/FeedStatus.h"

namespace pis::signalling {

/// A line that is no record.
struct MalformedLine {
    int type = 0;  ///< Element type code as far as the line told one, else 0.
    std::string fault;
};

/// The link came to be up, down or ended.
struct LinkChange {
    feed::FeedStatus::Link link;
    std::string detail;
};

using LinkItem = std::variant<feed::FeedRecord, MalformedLine, LinkChange>;

/// [Threading] put() belongs to the link's thread, pop() to the feeding thread, the rest to any.
class Inbox {
public:
    using Clock = std::chrono::steady_clock;

    /// The items may be large: beyond this they count as too many, however few they are.
    static constexpr std::size_t kMostBytes = std::size_t{16} << 20;

    /// @param capacity most items that wait; at least 1.
    explicit Inbox(std::size_t capacity = 1024);

    /// Waits while the inbox is full. False once it is closed: nobody will pop the item.
    bool put(LinkItem item);

    /// The oldest item; nothing when none comes before the deadline, when wake() was called or when the
    /// inbox is closed: what it still holds is nobody's then.
    /// @param deadline nothing to wait as long as it takes.
    std::optional<LinkItem> pop(std::optional<Clock::time_point> deadline);

    /// Makes one pop() return early: there is other work for the feeding thread.
    void wake();

    /// Nothing goes in any more; what waits for room or for an item returns.
    void close();

    /// Items that wait.
    std::size_t size() const;

private:
    const std::size_t _capacity;
    mutable base::Mutex _mutex;
    std::condition_variable_any _room;
    std::condition_variable_any _arrival;
    std::deque<LinkItem> _items PIS_GUARDED_BY(_mutex);
    std::size_t _bytes PIS_GUARDED_BY(_mutex) = 0;
    bool _woken PIS_GUARDED_BY(_mutex) = false;
    bool _closed PIS_GUARDED_BY(_mutex) = false;
};

}  // namespace pis::signalling

#endif
