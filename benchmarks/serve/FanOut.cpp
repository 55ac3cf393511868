#include "FanOut.h"

#include <algorithm>
#include <cstring>

#include "base/Numbers.h"

void FanOut::open(std::size_t count, unsigned short port, const std::string& request) {
    constexpr std::size_t kAtOnce = 50;
    for (std::size_t i = 0; i < count; ++i) {
        _readers.emplace_back(*this, port, request);
        if (i % kAtOnce == 0) _loop.turn(std::chrono::milliseconds(5));
    }
}

bool FanOut::allBegan() const {
    return std::all_of(_readers.begin(), _readers.end(), [](const Reader& reader) { return reader.bytes() > 0; });
}

void FanOut::begin() {
    out = {};
    read = {};
    for (Reader& reader : _readers) {
        reader.known = _marks.next() - 1;
        reader.overtaken = 0;
    }
}

std::size_t FanOut::behind() const {
    const auto count = std::count_if(_readers.begin(), _readers.end(), [this](const Reader& reader) {
        return !reader.isOpen() || reader.known != _marks.next() - 1;
    });
    return static_cast<std::size_t>(count);
}

std::size_t FanOut::overtaken() const {
    std::size_t sum = 0;
    for (const Reader& reader : _readers) sum += reader.overtaken;
    return sum;
}

std::size_t FanOut::bytes() const {
    std::size_t sum = 0;
    for (const Reader& reader : _readers) sum += reader.bytes();
    return sum;
}

/// Looks for the marks only: each is a number with a comma behind it.
void FanOut::Reader::received(std::string_view bytes) {
    constexpr std::size_t kLongestMark = 32;
    if (!_rest.empty()) {
        _rest.append(bytes);
        bytes = _rest;
    }
    std::size_t read = 0;
    while (true) {
        const void* const found =
            memmem(bytes.data() + read, bytes.size() - read, Marks::kBefore.data(), Marks::kBefore.size());
        if (found == nullptr) break;
        const auto begin = static_cast<std::size_t>(static_cast<const char*>(found) - bytes.data());
        const std::size_t end = bytes.find(',', begin);
        if (end == std::string_view::npos) break;
        const std::size_t number = begin + Marks::kBefore.size();
        const auto mark = pis::base::numberIn<std::uint32_t>(bytes.substr(number, end - number));
        if (mark && _crowd._marks.isMark(*mark)) note(*mark);
        read = end;
    }
    if (bytes.back() == '\n') return _rest.clear();
    // A mark may come in two pieces.
    _rest = std::string(bytes.substr(std::max(read, bytes.size() - std::min(bytes.size(), kLongestMark))));
}

void FanOut::Reader::note(std::uint32_t mark) {
    const Clock::time_point now = Clock::now();
    if (mark <= known) return;
    overtaken += mark - known - 1;
    for (std::uint32_t next = known + 1; next <= mark; ++next) {
        const Clock::time_point sentAt = _crowd._marks.sentAt(next);
        _crowd.out.add(arrivedAt() - sentAt);
        _crowd.read.add(now - sentAt);
    }
    known = mark;
}
