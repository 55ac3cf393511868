#include "SignallingSide.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <algorithm>
#include <boost/asio/write.hpp>
#include <exception>
#include <stdexcept>
#include <utility>

#include "FeedFile.h"
#include "RowPool.h"
#include "SignallingCodes.h"
#include "feed/FeedWriter.h"

using namespace pis::feed;

namespace {

std::string markLine(std::uint32_t mark) {
    FeedRecord record;
    record.type = SignallingCodes::VEHICLE;
    record.id = RowPool::kMarkVehicle;
    record.fields.append(std::string(RowPool::kMarkName) + std::to_string(mark));
    return toJsonLine(record) + "\n";
}

Clock::duration seconds(double value) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(value));
}

}  // namespace

SignallingSide::SignallingSide(const std::string& feed, double speed)
    : _speed(speed),
      _listener(ioContext(), {boost::asio::ip::address_v4::loopback(), 0}),
      _service(ioContext()),
      _sentAt(kMostMarks) {
    fcntl(_listener.native_handle(), F_SETFD, FD_CLOEXEC);  // the service is not to have it
    divideFeed(feed);
}

SignallingSide::~SignallingSide() {
    ask(ENDING, {});
    shutdown(_listener.native_handle(), SHUT_RDWR);  // in case nobody ever connected
    if (_thread.joinable()) _thread.join();
}

void SignallingSide::start() {
    _thread = std::thread([this] {
        try {
            run();
        } catch (const std::exception& fault) {
            const std::lock_guard<std::mutex> guard(_mutex);
            _failure = fault.what();
        }
    });
}

void SignallingSide::play(std::chrono::milliseconds beat) {
    ask(PLAYING, beat);
}

void SignallingSide::hold() {
    ask(HOLDING, {});
}

void SignallingSide::ask(Wish wish, std::chrono::milliseconds beat) {
    {
        const std::lock_guard<std::mutex> guard(_mutex);
        _wish = wish;
        _beat = beat;
        ++_asked;
    }
    _changed.notify_all();
}

Clock::time_point SignallingSide::sentAt(std::uint32_t mark) const {
    return Clock::time_point(Clock::duration(_sentAt[mark]));
}

std::string SignallingSide::failure() const {
    const std::lock_guard<std::mutex> guard(_mutex);
    return _failure;
}

/// Cuts a feed into the state that it begins with and the bursts behind it.
void SignallingSide::divideFeed(const std::string& path) {
    bool inState = true;
    for (const FeedRecord& record : recordsIn(path)) {
        const double at = record.at.value_or(_day.empty() ? 0 : _day.back().at);
        if (!inState && (_day.empty() || _day.back().at != at)) _day.push_back({at, {}, 0});
        Burst& burst = inState ? _wholeState : _day.back();
        burst.lines += toJsonLine(record) + "\n";
        ++burst.records;
        if (record.kind == FeedRecord::SNAPSHOT_END) inState = false;
    }
    if (_day.empty()) throw std::runtime_error(path + ": must be a whole state and a day behind it");
}

// --- The thread ---------------------------------------------------------------------------------

void SignallingSide::run() {
    _service = _listener.accept();
    _service.set_option(tcp::no_delay(true));
    send(_wholeState);
    std::size_t next = 0;
    std::unique_lock<std::mutex> lock(_mutex);
    while (true) {
        _changed.wait(lock, [this] { return _wish != HOLDING; });
        if (_wish == ENDING) return;
        const std::uint32_t asked = _asked;
        const std::chrono::milliseconds beat = _beat;
        const Clock::time_point began = Clock::now();
        const double from = _day.at(next).at;
        Clock::time_point nextBeat = beat.count() > 0 ? began + beat : Clock::time_point::max();
        while (true) {
            const Clock::time_point due = began + seconds((_day[next].at - from) / _speed);
            if (_changed.wait_until(lock, std::min(due, nextBeat), [&] { return _asked != asked; })) break;
            lock.unlock();
            if (due <= nextBeat) {
                send(_day[next++]);
            } else {
                send({});
                nextBeat += beat;
            }
            if (next == _day.size()) throw std::runtime_error("the feed is at its end before the measurement is");
            lock.lock();
        }
    }
}

void SignallingSide::send(const Burst& burst) {
    const std::uint32_t mark = _marks + 1;
    if (mark >= _sentAt.size()) throw std::runtime_error("there are more bursts than can be kept");
    const std::string lines = burst.lines + markLine(mark);
    // The record comes in when it is sent: whatever the service needs to read it counts.
    _sentAt[mark] = Clock::now().time_since_epoch().count();
    _marks = mark;
    boost::asio::write(_service, boost::asio::buffer(lines));
    _records += burst.records + 1;
}
