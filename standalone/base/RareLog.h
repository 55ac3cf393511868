// Log lines about what may come in floods: one a second at most, and how many were passed over.
#ifndef PIS_BASE_RARELOG_H
#define PIS_BASE_RARELOG_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace pis::base {

/// For one thread.
class RareLog {
public:
    using Clock = std::chrono::steady_clock;
    using Write = std::function<void(const std::string& line)>;

    static constexpr std::chrono::seconds kBetweenLines{1};

    explicit RareLog(Write write) : _write(std::move(write)) {}

    /// Writes a line, or keeps it until it may be written; of those kept the last one stays.
    void say(std::string line, Clock::time_point now) {
        if (!_kept.empty()) ++_passedOver;
        _kept = std::move(line);
        writeWhatIsDue(now);
    }

    /// Writes what was kept, once it is time.
    void writeWhatIsDue(Clock::time_point now) {
        if (_kept.empty() || (_nextLine && now < *_nextLine)) return;
        writeRest();
        _nextLine = now + kBetweenLines;
    }

    /// Writes what was kept, whether or not it is time: nothing more will come.
    void writeRest() {
        if (_kept.empty()) return;
        if (_passedOver > 0) _kept += " (and " + std::to_string(_passedOver) + " more since the line before)";
        _write(std::exchange(_kept, std::string()));
        _passedOver = 0;
    }

    /// When something kept may be written; nothing when there is none.
    std::optional<Clock::time_point> due() const { return _kept.empty() ? std::nullopt : _nextLine; }

private:
    Write _write;
    std::string _kept;
    std::uint64_t _passedOver = 0;
    std::optional<Clock::time_point> _nextLine;
};

}  // namespace pis::base

#endif
