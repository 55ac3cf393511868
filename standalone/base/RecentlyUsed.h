// Keeps what was asked for last, within so many bytes.
#ifndef PIS_BASE_RECENTLYUSED_H
#define PIS_BASE_RECENTLYUSED_H

#include <cstddef>
#include <iterator>
#include <list>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace pis::base {

/// Values by name. [Threading] For one thread.
template <typename Value>
class RecentlyUsed {
public:
    /// @param room bytes of names and values, and of what keeping them takes besides, roughly.
    explicit RecentlyUsed(std::size_t room) : _room(room) {}

    /// The value with a name, or null; valid until the next put() or drop().
    Value* find(std::string_view name) {
        const auto known = _places.find(name);
        if (known == _places.end()) return nullptr;
        _entries.splice(_entries.begin(), _entries, known->second);
        return &known->second->value;
    }

    /// Keeps a value in place of the one with the same name. One that takes more than all the room is not kept.
    void put(const std::string& name, Value value, std::size_t bytes) {
        drop(name);
        if (!hasRoomFor(name, bytes)) return;
        const std::size_t all = kOverhead + name.size() + bytes;
        _entries.push_front({name, std::move(value), all});
        _places.emplace(_entries.front().name, _entries.begin());
        _bytes += all;
        while (_bytes > _room) drop(std::prev(_entries.end()));
    }

    /// Whether put() would keep it, whatever has to go.
    bool hasRoomFor(std::string_view name, std::size_t bytes) const { return kOverhead + name.size() + bytes <= _room; }

    void drop(std::string_view name) {
        const auto known = _places.find(name);
        if (known != _places.end()) drop(known->second);
    }

    std::size_t bytes() const { return _bytes; }

private:
    static constexpr std::size_t kOverhead = 256;  // of an entry, roughly

    struct Entry {
        std::string name;
        Value value;
        std::size_t bytes;
    };
    using Entries = std::list<Entry>;

    void drop(typename Entries::iterator entry) {
        _bytes -= entry->bytes;
        _places.erase(entry->name);
        _entries.erase(entry);
    }

    std::size_t _room;
    std::size_t _bytes = 0;
    Entries _entries;                                                          // used last in front
    std::unordered_map<std::string_view, typename Entries::iterator> _places;  // by the entries' own names
};

}  // namespace pis::base

#endif
