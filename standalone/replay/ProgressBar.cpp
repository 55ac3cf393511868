#include "replay/ProgressBar.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "base/Numbers.h"

namespace pis::replay {

namespace {

constexpr int kWidth = 30;  // characters of the bar itself

std::string minutes(double seconds) {
    const long long whole = std::llround(seconds);
    return whole < 3600 ? fmt::format("{}:{:02}", whole / 60, whole % 60)
                        : fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

/// Columns of the terminal on standard error; 80 where it does not say.
int widthOfTerminal() {
    constexpr int kUsual = 80;
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : kUsual;
}

}  // namespace

ProgressBar::ProgressBar(std::uint64_t totalBytes) : _totalBytes(totalBytes), _onTerminal(isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
    hide();
}

void ProgressBar::show(std::uint64_t records, std::uint64_t bytes) {
    const Clock::time_point now = Clock::now();
    _due = now + std::chrono::milliseconds(100);

    const double passed = std::chrono::duration<double>(now - _start).count();
    std::string line = fmt::format("{}, {}/s", base::counted(records, "record"),
                                   base::grouped(static_cast<std::uint64_t>(static_cast<double>(records) / passed)));
    if (_totalBytes > 0) {
        const double done = std::min(1.0, static_cast<double>(bytes) / static_cast<double>(_totalBytes));
        const int filled = static_cast<int>(done * kWidth);
        const std::string bar = std::string(static_cast<std::size_t>(filled), '#') +
                                std::string(static_cast<std::size_t>(kWidth - filled), '.');
        line = fmt::format("[{}] {:3.0f}%  {}", bar, done * 100, line);
        if (done > 0) line += fmt::format(", {} left", minutes(passed / done - passed));
    }
    // A line that wraps could not be drawn over: what does not fit is left out.
    fmt::print(stderr, "\r{:.{}}\x1b[K", line, widthOfTerminal() - 1);
    std::fflush(stderr);
    _visible = true;
}

void ProgressBar::hide() {
    if (!_visible) return;
    fmt::print(stderr, "\r\x1b[K");
    std::fflush(stderr);
    _visible = false;
}

}  // namespace pis::replay
