#include "Boards.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "Board.h"
#include "base/Numbers.h"

namespace {

// As the page has them.
constexpr std::chrono::milliseconds kGap{500};
constexpr std::chrono::seconds kLongest{15};
constexpr int kRows = 30;

/// What stands between two texts, of which the first is looked for from a place on; empty where they are not there.
std::string_view between(std::string_view text, std::string_view before, std::string_view behind,
                         std::size_t from = 0) {
    const std::size_t found = text.find(before, from);
    if (found == std::string_view::npos) return {};
    const std::size_t begin = found + before.size();
    const std::size_t end = text.find(behind, begin);
    return end == std::string_view::npos ? std::string_view() : text.substr(begin, end - begin);
}

}  // namespace

// --- The stream ---------------------------------------------------------------------------------

void BoardStream::received(std::string_view bytes) {
    _text.append(bytes);
    const std::size_t end = _text.rfind("\n\n");
    if (end == std::string::npos) return;
    const std::size_t latest = _text.rfind("event: revision\n", end);
    if (latest != std::string::npos) {
        std::string moment(between(_text, "\"revision\":\"", "\"", latest));
        moment.append(" ").append(between(_text, "\"text\":\"", "\"", latest));
        if (moment != _moment) {
            _moment = std::move(moment);
            _onMoment();
        }
    }
    _text.erase(0, end + 2);
}

// --- The asking ---------------------------------------------------------------------------------

Board::Board(Boards& boards, const Way& way, int station)
    : _boards(boards),
      _way(way),
      _station(station),
      _path("/api/v1/stations/" + std::to_string(station) + "/departures?limit=" + std::to_string(kRows)),
      _socket(connectedSocket(way)) {
    fcntl(_socket, F_SETFL, O_NONBLOCK);
    boards._loop.add(_socket, *this);
    refresh();
}

Board::~Board() {
    if (_socket >= 0) close(_socket);
}

void Board::refresh() {
    _isWanted = true;
    if (_isRunning) return;
    _isRunning = true;
    ask();
}

void Board::due(Clock::time_point when) {
    if (when != _due) return;  // one was asked for earlier meanwhile
    if (_isRunning && _isWanted) return ask();
    if (!_isRunning) return refresh();
    _isRunning = false;
    callIn(kLongest);
}

void Board::callIn(Clock::duration pause) {
    _due = Clock::now() + pause;
    _boards.callAt(_due, *this);
}

void Board::ask() {
    _isWanted = false;
    _due = {};
    std::string headers = "Accept-Encoding: gzip, deflate\r\nSec-Fetch-Site: same-origin\r\n";
    if (!_tag.empty()) headers += "If-None-Match: " + _tag + "\r\n";
    const std::string request = requestFor(_path, headers);
    _askedAt = Clock::now();
    if (_socket < 0 || send(_socket, request.data(), request.size(), MSG_NOSIGNAL) < 0) lose();
}

void Board::readable() {
    static std::array<char, std::size_t{1} << 16U> buffer;  // all boards are one thread's
    for (auto count = static_cast<ssize_t>(buffer.size()); count == static_cast<ssize_t>(buffer.size());) {
        if (_socket < 0) return;
        count = recv(_socket, buffer.data(), buffer.size(), 0);
        if (count < 0 && errno == EAGAIN) break;
        if (count <= 0) return lose();
        _text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    if (!takeAnswer()) return;
    callIn(kGap);
    if (_stream == nullptr) {
        _stream = std::make_unique<BoardStream>(_boards._loop, _way, _station, [this] { refresh(); });
    }
}

/// True when an answer is whole.
bool Board::takeAnswer() {
    constexpr std::string_view kHeadEnd = "\r\n\r\n";
    const std::size_t end = _text.find(kHeadEnd);
    if (end == std::string::npos) return false;
    const std::string_view head = std::string_view(_text).substr(0, end + 2);
    const bool isNew = head.find("HTTP/1.1 200 ") == 0;
    const bool isOld = head.find("HTTP/1.1 304 ") == 0;
    const auto length = pis::base::numberIn<std::size_t>(between(head, "\r\nContent-Length: ", "\r\n"));
    if (!isOld && _text.size() < end + kHeadEnd.size() + length.value_or(0)) return false;
    Boards::Figures& figures = _boards.figures;
    figures.latencies.add(Clock::now() - _askedAt);
    ++figures.answers;
    if (isOld) ++figures.notModified;
    if (!isOld && (!isNew || !length)) ++figures.failed;
    _isAnswered = isNew || isOld;
    _tag = between(head, "\r\nETag: ", "\r\n");
    _text.clear();
    return true;
}

void Board::lose() {
    ++_boards.figures.failed;
    if (_socket >= 0) close(_socket);
    _socket = -1;
}

// --- All of them --------------------------------------------------------------------------------

Boards::Boards(EventLoop& loop, unsigned short port) : _loop(loop), _port(port) {}

Boards::~Boards() = default;

void Boards::open(std::size_t count, const std::vector<int>& stations, double perSecond) {
    const Clock::time_point began = Clock::now();
    for (std::size_t i = 0; i < count; ++i) {
        const std::chrono::duration<double> due(static_cast<double>(i) / perSecond);
        runUntil(began + std::chrono::duration_cast<Clock::duration>(due));
        _boards.push_back(std::make_unique<Board>(*this, Way{_port, i + 1}, stations[i % stations.size()]));
    }
}

void Boards::runUntil(Clock::time_point end) {
    for (Clock::time_point now = Clock::now(); now < end; now = Clock::now()) {
        _loop.turn((_due.empty() ? end : std::min(end, _due.top().first)) - now);
        callThoseDue();
    }
}

void Boards::callThoseDue() {
    const Clock::time_point now = Clock::now();
    while (!_due.empty() && _due.top().first <= now) {
        const Due due = _due.top();
        _due.pop();
        due.second->due(due.first);
    }
}

std::size_t Boards::lost() const {
    const auto count =
        std::count_if(_boards.begin(), _boards.end(), [](const auto& board) { return !board->stands(); });
    return static_cast<std::size_t>(count);
}
