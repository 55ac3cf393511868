#include "feed/KnownElements.h"

#include <algorithm>

namespace pis::feed {

using namespace SignallingCodes;

namespace {

void add(ElementSums& sums, const ElementSums& more) {
    sums.elements += more.elements;
    sums.bytes += more.bytes;
}

void subtract(ElementSums& sums, const ElementSums& less) {
    sums.elements -= less.elements;
    sums.bytes -= less.bytes;
}

KnownElements::Growth growth(const ElementSums& now, const ElementSums& before, const ElementSums& after) {
    KnownElements::Growth growth{now, now};
    subtract(growth.then, before);
    add(growth.then, after);
    return growth;
}

}  // namespace

const KnownElements::Element* KnownElements::find(const ElementType& type, int id) const {
    if (type.isStatus()) return nullptr;
    const Table& table = _tables[placeOf(type.table)];
    const auto found = table.find(id);
    return found == table.end() ? nullptr : &found->second;
}

/// An element as it is once a record of the type has come.
KnownElements::Element KnownElements::with(const Element* element, const ElementType& type, std::size_t bytes) const {
    Element then = element == nullptr ? Element() : *element;
    (type.hasTable() ? then.own : then.state) = {_snapshot, bytes};
    return then;
}

bool KnownElements::cameIn(const Element& element) const {
    return element.own.since == _snapshot || element.state.since == _snapshot;
}

ElementSums KnownElements::standingOf(const Element& element) const {
    if (!cameIn(element)) return {};
    return {1, element.own.bytes + (element.state.since == _snapshot ? element.state.bytes : 0)};
}

KnownElements::Growth KnownElements::growthOfAll(const ElementType& type, int id, std::size_t bytes) const {
    const Element* before = find(type, id);
    const Element after = with(before, type, bytes);
    const ElementSums had = before == nullptr ? ElementSums() : ElementSums{1, before->own.bytes + before->state.bytes};
    return growth(_all, had, {1, after.own.bytes + after.state.bytes});
}

KnownElements::Growth KnownElements::growthOfStanding(const ElementType& type, int id, std::size_t bytes) const {
    const Element* before = find(type, id);
    const ElementSums had = before == nullptr ? ElementSums() : standingOf(*before);
    return growth(_standing, had, standingOf(with(before, type, bytes)));
}

// --- What comes and goes ------------------------------------------------------------------------

void KnownElements::take(const Element& element) {
    add(_all, {1, element.own.bytes + element.state.bytes});
    add(_standing, standingOf(element));
}

void KnownElements::give(const Element& element) {
    subtract(_all, {1, element.own.bytes + element.state.bytes});
    subtract(_standing, standingOf(element));
}

void KnownElements::note(const ElementType& type, int id, std::size_t bytes) {
    const auto [place, isNew] = _tables[placeOf(type.table)].try_emplace(id);
    Element& element = place->second;
    if (!isNew) give(element);
    element = with(&element, type, bytes);
    take(element);
}

void KnownElements::forget(int type, int id) {
    for (std::size_t place = 0; place < kTables; ++place) {
        if (type != ALL_ELEMENTS && place != placeOf(type)) continue;
        Table& table = _tables[place];
        if (id == 0) {
            for (const auto& known : table) give(known.second);
            table.clear();
        } else if (const auto found = table.find(id); found != table.end()) {
            give(found->second);
            table.erase(found);
        }
    }
}

void KnownElements::forgetState(SignallingCodes::Element table, int id) {
    const auto found = _tables[placeOf(table)].find(id);
    if (found == _tables[placeOf(table)].end()) return;
    give(found->second);
    found->second.state = {};
    take(found->second);
}

// --- What a snapshot did not bring --------------------------------------------------------------

template <typename Wanted>
std::vector<int> KnownElements::idsOf(SignallingCodes::Element table, Wanted wanted) const {
    std::vector<int> ids;
    for (const auto& [id, element] : _tables[placeOf(table)]) {
        if (wanted(element)) ids.push_back(id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

std::vector<int> KnownElements::leftOut(SignallingCodes::Element table) const {
    return idsOf(table, [this](const Element& element) { return !cameIn(element); });
}

std::vector<int> KnownElements::withOldState(SignallingCodes::Element table) const {
    return idsOf(table, [this](const Element& element) {
        return cameIn(element) && element.state.since != 0 && element.state.since != _snapshot;
    });
}

}  // namespace pis::feed
