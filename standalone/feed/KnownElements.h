// Which elements are known, which of their records came when, and how much that is in all. The intake's own notes.
#ifndef PIS_FEED_KNOWNELEMENTS_H
#define PIS_FEED_KNOWNELEMENTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

#include "feed/ElementSums.h"
#include "feed/ElementTypes.h"

namespace pis::feed {

/// A state belongs to its element. For one thread.
class KnownElements {
public:
    /// A snapshot begins: nothing has come in it yet.
    void beginSnapshot() {
        ++_snapshot;
        _standing = {};
    }

    /// A record of an element comes; the element is known from now on.
    /// @param type any but a status.
    void note(const ElementType& type, int id, std::size_t bytes);

    /// An element is known no more, its state included; type 0 stands for every type, id 0 for every element.
    void forget(int type, int id);

    /// The element's state is as if it had never come.
    void forgetState(SignallingCodes::Element table, int id);

    bool has(const ElementType& type, int id) const { return find(type, id) != nullptr; }

    /// Ids of the elements of which no record came since the latest snapshot began, ascending.
    std::vector<int> leftOut(SignallingCodes::Element table) const;

    /// Ids of those of which some record came since then, but not the state that had come before; ascending.
    std::vector<int> withOldState(SignallingCodes::Element table) const;

    /// Sums now, and as they would be once a record had come.
    struct Growth {
        ElementSums now;
        ElementSums then;
    };

    /// Of everything that is known.
    const ElementSums& all() const { return _all; }
    Growth growthOfAll(const ElementType& type, int id, std::size_t bytes) const;

    /// Of what will stand at the end of the snapshot that began last, were it to end now.
    Growth growthOfStanding(const ElementType& type, int id, std::size_t bytes) const;

private:
    /// A record: the number of the snapshot in or after which it came last, and what its texts took then.
    struct Came {
        std::uint64_t since = 0;  ///< 0 for a record that never came.
        std::size_t bytes = 0;
    };

    struct Element {
        Came own;
        Came state;
    };

    using Table = std::unordered_map<int, Element>;

    // The tables' codes follow each other.
    static constexpr std::size_t kTables = SignallingCodes::SERVICE_STOP - SignallingCodes::LINE + 1;
    static std::size_t placeOf(int table) { return static_cast<std::size_t>(table) - SignallingCodes::LINE; }

    const Element* find(const ElementType& type, int id) const;
    Element with(const Element* element, const ElementType& type, std::size_t bytes) const;
    bool cameIn(const Element& element) const;
    ElementSums standingOf(const Element& element) const;
    template <typename Wanted>
    std::vector<int> idsOf(SignallingCodes::Element table, Wanted wanted) const;
    void take(const Element& element);
    void give(const Element& element);

    std::array<Table, kTables> _tables;
    std::uint64_t _snapshot = 1;
    ElementSums _all;
    ElementSums _standing;
};

}  // namespace pis::feed

#endif
