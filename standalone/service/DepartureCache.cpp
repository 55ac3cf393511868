#include "service/DepartureCache.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace pis::service {

namespace {

/// Looking through more facts than these costs as much as making an answer.
constexpr std::size_t kMostFacts = 8192;

std::string requestOf(const picture::DepartureQuery& query) {
    const bool ofStation = query.stationId != 0;
    return (ofStation ? "departures/station/" : "departures/platform/") +
           std::to_string(ofStation ? query.stationId : query.platformId) + "/" + std::to_string(query.limit);
}

}  // namespace

std::shared_ptr<AnswerBody> DepartureCache::get(const std::shared_ptr<const picture::Picture>& picture,
                                                const picture::DepartureQuery& query,
                                                const picture::ServiceMoment& now) {
    follow(picture);
    const std::string request = requestOf(query);
    Basis* basis = _bases.find(request);
    if (basis == nullptr || !stands(*basis, now)) return makeAnew(request, query, now);
    std::shared_ptr<AnswerBody> body = basis->body.lock();
    if (body == nullptr) return makeAnew(request, query, now);
    ++_kept;
    return _bodies.get(request, basis->edition, body->tag, [&body] { return *body->plain; });
}

/// Counts what another picture says otherwise.
void DepartureCache::follow(const std::shared_ptr<const picture::Picture>& picture) {
    if (!_book) _book.emplace(picture);
    if (&_book->picture() == picture.get()) return;
    try {
        const std::optional<std::vector<picture::Fact>> changed = _book->follow(picture);
        if (!changed) return forget(_changed.size() + 1);
        _changed.insert(_changed.end(), changed->begin(), changed->end());
    } catch (...) {  // no memory: what changed is not known any more
        forget(_changed.size() + 1);
        _book.reset();
        throw;
    }
    if (_changed.size() > kMostFacts) forget(_changed.size() - kMostFacts);
}

/// The facts counted first; a count that goes beyond them leaves no answer standing.
void DepartureCache::forget(std::size_t facts) {
    _forgotten += facts;
    const std::size_t held = std::min(facts, _changed.size());
    _changed.erase(_changed.begin(), _changed.begin() + static_cast<std::ptrdiff_t>(held));
}

bool DepartureCache::stands(Basis& basis, const picture::ServiceMoment& now) const {
    if (basis.heldAgainst < _forgotten) return false;
    if (!(basis.now == now) || basis.hasTimetable != picture::hasTimetable(_book->picture())) return false;
    for (std::size_t i = basis.heldAgainst - _forgotten; i < _changed.size(); ++i) {
        if (basis.reads.hold(_changed[i])) return false;
    }
    basis.heldAgainst = _forgotten + _changed.size();
    return true;
}

std::shared_ptr<AnswerBody> DepartureCache::makeAnew(const std::string& request, const picture::DepartureQuery& query,
                                                     const picture::ServiceMoment& now) {
    ++_made;
    picture::Reads reads;
    std::string text = departuresJson(*_book, query, now, reads);
    const Basis* known = _bases.find(request);
    const std::shared_ptr<AnswerBody> last = known != nullptr ? known->body.lock() : nullptr;
    const bool saysTheSame = last != nullptr && *last->plain == text;
    const std::uint64_t edition = saysTheSame ? known->edition : ++_editions;
    auto body = _bodies.get(request, edition, saysTheSame ? last->tag : "", [&text] { return std::move(text); });
    const std::size_t bytes = sizeof(Basis) + reads.bytes();
    _bases.put(
        request,
        {std::move(reads), now, picture::hasTimetable(_book->picture()), _forgotten + _changed.size(), edition, body},
        bytes);
    return body;
}

}  // namespace pis::service
