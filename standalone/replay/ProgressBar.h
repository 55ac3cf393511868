// Shows on a terminal how far a replay has come.
#ifndef PIS_REPLAY_PROGRESSBAR_H
#define PIS_REPLAY_PROGRESSBAR_H

#include <chrono>
#include <cstdint>

namespace pis::replay {

/// A line on standard error that is drawn anew some ten times a second; nothing where standard error
/// is no terminal. Wiped off at the end.
class ProgressBar {
public:
    /// @param totalBytes size of everything to be read; 0 when it is not known, for a rate without a
    ///        remaining time.
    explicit ProgressBar(std::uint64_t totalBytes);
    ~ProgressBar();

    /// True when it is time to draw the line anew.
    bool isDue() const { return _onTerminal && Clock::now() >= _due; }

    /// @param bytes of the files read so far.
    void show(std::uint64_t records, std::uint64_t bytes);

    /// Takes the bar away, so that a message can be written; it comes back with the next show().
    void hide();

    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

private:
    using Clock = std::chrono::steady_clock;

    const std::uint64_t _totalBytes;
    const bool _onTerminal;
    const Clock::time_point _start = Clock::now();
    Clock::time_point _due = _start;
    bool _visible = false;
};

}  // namespace pis::replay

#endif
