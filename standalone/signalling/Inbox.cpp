#include "signalling/Inbox.h"

#include <utility>

namespace pis::signalling {

namespace {

std::size_t weightOf(const LinkItem& item) {
    const feed::FeedRecord* record = std::get_if<feed::FeedRecord>(&item);
    return sizeof(LinkItem) + (record == nullptr ? 0 : record->fields.bytes());
}

}  // namespace

Inbox::Inbox(std::size_t capacity) : _capacity(capacity) {}

bool Inbox::put(LinkItem item) {
    const std::size_t bytes = weightOf(item);
    {
        base::MutexLock lock(_mutex);
        while (!_closed && (_items.size() >= _capacity || _bytes >= kMostBytes)) _room.wait(lock);
        if (_closed) return false;
        _items.push_back(std::move(item));
        _bytes += bytes;
    }
    _arrival.notify_one();
    return true;
}

std::optional<LinkItem> Inbox::pop(std::optional<Clock::time_point> deadline) {
    std::optional<LinkItem> item;
    {
        base::MutexLock lock(_mutex);
        while (!_closed && !_woken && _items.empty()) {
            if (!deadline) {
                _arrival.wait(lock);
            } else if (_arrival.wait_until(lock, *deadline) == std::cv_status::timeout) {
                break;
            }
        }
        if (std::exchange(_woken, false) || _closed || _items.empty()) return std::nullopt;
        item = std::move(_items.front());
        _items.pop_front();
        _bytes -= weightOf(*item);
    }
    _room.notify_one();
    return item;
}

void Inbox::wake() {
    {
        const base::MutexLock lock(_mutex);
        _woken = true;
    }
    _arrival.notify_one();
}

void Inbox::close() {
    {
        const base::MutexLock lock(_mutex);
        _closed = true;
    }
    _arrival.notify_all();
    _room.notify_all();
}

std::size_t Inbox::size() const {
    const base::MutexLock lock(_mutex);
    return _items.size();
}

}  // namespace pis::signalling
