// What a simulated railway has still to do, in order of time. What is due at the same time keeps its order.
#ifndef PIS_SIMULATOR_AGENDA_H
#define PIS_SIMULATOR_AGENDA_H

#include <functional>
#include <iterator>
#include <map>
#include <utility>

namespace pis::simulator {

class Agenda {
public:
    static constexpr int kNobody = 0;

    int now() const { return _now; }

    /// When the first action is due; one must be there.
    int nextAt() const { return _due.begin()->first; }

    /// @param owner service that the action belongs to, so that it goes with it.
    void at(int time, int owner, std::function<void()> action) {
        _due.emplace(time < _now ? _now : time, Due{owner, std::move(action)});
    }

    void dropAllOf(int owner) {
        for (auto due = _due.begin(); due != _due.end();) {
            due = due->second.owner == owner ? _due.erase(due) : std::next(due);
        }
    }

    /// Lets time pass to the first action and does it. The action may change the agenda, and begin it anew.
    void doNext() {
        const auto due = _due.extract(_due.begin());
        _now = due.key();
        due.mapped().action();
    }

    /// Nothing is due before `time`: time passes.
    void passTo(int time) { _now = time; }

    /// Forgets everything and sets the time.
    void beginAt(int time) {
        _due.clear();
        _now = time;
    }

private:
    struct Due {
        int owner;
        std::function<void()> action;
    };

    std::multimap<int, Due> _due;
    int _now = 0;
};

}  // namespace pis::simulator

#endif
