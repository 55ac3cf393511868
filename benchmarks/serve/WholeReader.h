// A reader that wants to be brought up to date: by the whole picture, or from a revision that it knows.
#ifndef BENCHMARKS_SERVE_WHOLEREADER_H
#define BENCHMARKS_SERVE_WHOLEREADER_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

#include "Stream.h"

class WholeReader : public Stream {
public:
    /// @param passedOver bytes that may be taken from the kernel unseen behind the first: fewer than the whole has.
    WholeReader(EventLoop& loop, const Way& way, const std::string& request, std::size_t passedOver = 0)
        : Stream(loop, way, request), _passedOver(passedOver) {}

    /// Whether it is: the revision that it was brought to has come.
    bool isWhole() const { return _isWhole; }

    /// Whether it was sent the whole picture.
    bool wasReset() const { return _wasReset; }

    /// Bytes until it was whole.
    std::size_t wholeBytes() const { return _wholeBytes; }

private:
    static constexpr std::string_view kReset = "event: reset\n";
    static constexpr std::string_view kLast = "event: revision\n";

    void received(std::string_view bytes) override {
        if (_isWhole) return;
        const std::string seam = _rest + std::string(bytes.substr(0, kLast.size()));  // a line may come in two pieces
        const auto holds = [&](std::string_view line) {
            return bytes.find(line) != std::string_view::npos || seam.find(line) != std::string::npos;
        };
        if (!_wasReset) _wasReset = holds(kReset);
        if (holds(kLast)) {
            _isWhole = true;
            _wholeBytes = this->bytes();
        }
        const std::string_view end = bytes.size() < kLast.size() ? std::string_view(seam) : bytes;
        _rest = end.substr(end.size() - std::min(end.size(), kLast.size()));
    }

    std::size_t toBePassedOver() const override {
        constexpr std::size_t kAtOnce = std::size_t{1} << 20U;
        if (!_wasReset || bytes() >= _passedOver) return 0;
        return std::min(kAtOnce, _passedOver - bytes());
    }

    const std::size_t _passedOver;
    std::string _rest;  // the end of what has come
    bool _isWhole = false;
    bool _wasReset = false;
    std::size_t _wholeBytes = 0;
};

#endif
