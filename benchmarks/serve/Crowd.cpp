#include "Crowd.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <boost/asio/write.hpp>
#include <optional>
#include <stdexcept>
#include <thread>

namespace {

RowPool::RowId rowAt(const ReaderState& state, std::size_t place) {
    return place < state.size() ? state[place] : 0;
}

std::optional<std::size_t> placeOfDifference(const ReaderState& one, const ReaderState& other) {
    for (std::size_t place = 0; place < std::max(one.size(), other.size()); ++place) {
        if (rowAt(one, place) != rowAt(other, place)) return place;
    }
    return std::nullopt;
}

}  // namespace

std::string changesRequest() {
    return "GET /api/v1/changes HTTP/1.1\r\nHost: 127.0.0.1\r\nAccept: text/event-stream\r\n\r\n";
}

Crowd::Crowd(const SignallingSide& side, unsigned short port)
    : _side(side), _port(port), _buffer(1U << 18U), _poll(epoll_create1(EPOLL_CLOEXEC)) {
    if (_poll < 0) throw std::runtime_error("readers cannot be watched");
}

Crowd::~Crowd() {
    close(_poll);
}

void Crowd::open(std::size_t count, double perSecond) {
    const Clock::time_point began = Clock::now();
    _readers.reserve(_readers.size() + count);  // the kernel holds addresses of readers
    for (std::size_t i = 0; i < count; ++i) {
        const std::chrono::duration<double> due(static_cast<double>(i) / perSecond);
        runUntil(began + std::chrono::duration_cast<Clock::duration>(due));
        Reader& reader = _readers.emplace_back(connectedTo(_port));
        boost::asio::write(reader.socket, boost::asio::buffer(changesRequest()));
        reader.socket.non_blocking(true);
        epoll_event interest{};
        interest.events = EPOLLIN;
        interest.data.u64 = _readers.size() - 1;
        if (epoll_ctl(_poll, EPOLL_CTL_ADD, reader.socket.native_handle(), &interest) != 0) {
            throw std::runtime_error("a reader cannot be watched");
        }
    }
}

void Crowd::runUntil(Clock::time_point end, Latencies* latencies) {
    for (Clock::time_point now = Clock::now(); now < end; now = Clock::now()) receiveWhatComes(end - now, latencies);
}

bool Crowd::runUntil(const std::function<bool()>& isSo, std::chrono::seconds limit, Latencies* latencies) {
    constexpr std::chrono::milliseconds kLook{20};
    const Clock::time_point end = Clock::now() + limit;
    while (!isSo()) {
        if (Clock::now() >= end) return false;
        runUntil(Clock::now() + kLook, latencies);
    }
    return true;
}

bool Crowd::allBegan() const {
    return std::all_of(_readers.begin(), _readers.end(), [](const Reader& reader) { return reader.began; });
}

bool Crowd::allKnow(const std::string& revision) const {
    const std::uint32_t last = _side.marks();
    return std::all_of(_readers.begin(), _readers.end(),
                       [&](const Reader& reader) { return reader.mark == last && reader.revision == revision; });
}

std::size_t Crowd::ended() const {
    const auto count =
        std::count_if(_readers.begin(), _readers.end(), [](const Reader& reader) { return !reader.socket.is_open(); });
    return static_cast<std::size_t>(count);
}

std::size_t Crowd::differFrom(const ReaderState& expected) const {
    const auto count = std::count_if(_readers.begin(), _readers.end(),
                                     [&](const Reader& reader) { return placeOfDifference(reader.rows, expected); });
    return static_cast<std::size_t>(count);
}

std::string Crowd::firstDifference(const ReaderState& expected) const {
    for (const Reader& reader : _readers) {
        const std::optional<std::size_t> place = placeOfDifference(reader.rows, expected);
        if (!place) continue;
        return "a reader at revision " + reader.revision + " has " + _rows.textOf(rowAt(reader.rows, *place)) +
               " for " + _rows.textOf(rowAt(expected, *place));
    }
    return "";
}

// --- What comes ---------------------------------------------------------------------------------

void Crowd::receiveWhatComes(Clock::duration wait, Latencies* latencies) {
    std::array<epoll_event, 256> ready{};
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
    const int count = epoll_wait(_poll, ready.data(), static_cast<int>(ready.size()),
                                 static_cast<int>(std::min<std::int64_t>(milliseconds, 1000)));
    for (int i = 0; i < count; ++i) {
        receive(_readers[ready.at(static_cast<std::size_t>(i)).data.u64], latencies);
    }
}

void Crowd::receive(Reader& reader, Latencies* latencies) {
    boost::system::error_code fault;
    const std::size_t count = reader.socket.read_some(boost::asio::buffer(_buffer), fault);
    if (fault == boost::asio::error::would_block) return;
    if (fault) return reader.socket.close();
    const Clock::time_point now = Clock::now();
    _traffic.bytes += count;
    reader.stream.accept({_buffer.data(), count});
    for (StreamEvent event; reader.stream.next(event);) apply(reader, event, now, latencies);
    if (reader.stream.ended()) reader.socket.close();
}

void Crowd::apply(Reader& reader, const StreamEvent& event, Clock::time_point now, Latencies* latencies) {
    if (event.kind.empty()) return;  // a comment
    ++_traffic.events;
    if (event.kind == "update") {
        const RowPool::RowId row = _rows.rowOf(event.data);
        RowPool::put(reader.rows, _rows.placeOf(row), row);
        noteMark(reader, _rows.markOf(row), now, latencies);
    } else if (event.kind == "remove") {
        RowPool::put(reader.rows, _rows.placeNamed(event.data), 0);
    } else if (event.kind == "revision") {
        reader.revision = event.id;
    } else if (event.kind == "reset") {
        ++_traffic.resets;
        reader.rows = _rows.stateOf(event.data);
        Latencies* const onlyWhatFollows = reader.began ? latencies : nullptr;
        reader.began = true;
        for (const RowPool::RowId row : reader.rows) noteMark(reader, _rows.markOf(row), now, onlyWhatFollows);
    } else {
        throw std::runtime_error("an event of a kind that nobody knows: " + std::string(event.kind));
    }
}

/// Bursts whose own mark was overtaken by a later one came in with that.
void Crowd::noteMark(Reader& reader, std::uint32_t mark, Clock::time_point now, Latencies* latencies) {
    if (mark <= reader.mark) return;
    if (latencies != nullptr) {
        for (std::uint32_t known = reader.mark + 1; known <= mark; ++known) latencies->add(now - _side.sentAt(known));
    }
    reader.mark = mark;
}
