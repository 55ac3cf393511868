#include "replay/ProgressBar.h"

#include <fmt/format.h>
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

}  // namespace

ProgressBar::ProgressBar(std::uint64_t totalBytes) : _totalBytes(totalBytes), _onTerminal(isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
    hide();
}

void ProgressBar::show(std::uint64_t records, std::uint64_t bytes) {
    const Clock::time_point now = Clock::now();
    _due = now + std::chrono::milliseconds(100);

    const double passed = std::chrono::duration<double>(now - _start).count();
    std::string line = fmt::format("{} records, {}/s", base::grouped(records),
                                   base::grouped(static_cast<std::uint64_t>(static_cast<double>(records) / passed)));
    if (_totalBytes > 0) {
        const double done = std::min(1.0, static_cast<double>(bytes) / static_cast<double>(_totalBytes));
        const int filled = static_cast<int>(done * kWidth);
        const std::string bar = std::string(static_cast<std::size_t>(filled), '#') +
                                std::string(static_cast<std::size_t>(kWidth - filled), '.');
        line = fmt::format("[{}] {:3.0f}%  {}", bar, done * 100, line);
        if (done > 0) line += fmt::format(", {} left", minutes(passed / done - passed));
    }
    fmt::print(stderr, "\r{}\x1b[K", line);
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
