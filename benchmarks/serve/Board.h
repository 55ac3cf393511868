// One departure board, in the two parts that the page has: the stream of changes and the asking for departures.
#ifndef BENCHMARKS_SERVE_BOARD_H
#define BENCHMARKS_SERVE_BOARD_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Boards.h"
#include "Stream.h"

/// Follows a station's changes and tells when the page would look at its departures: when the revision or the clock's
/// text is another one.
class BoardStream : public Stream {
public:
    BoardStream(EventLoop& loop, const Way& way, int station, std::function<void()> onMoment)
        : Stream(loop, way, requestFor("/api/v1/changes?station=" + std::to_string(station))),
          _onMoment(std::move(onMoment)) {}

private:
    void received(std::string_view bytes) override;

    const std::function<void()> _onMoment;
    std::string _text;  // of events that are still coming in
    std::string _moment;
};

/// Asks over one connection that is kept; one question at a time, two a second at most, and one after fifteen seconds
/// in any case.
class Board : public Watched {
public:
    Board(Boards& boards, const Way& way, int station);
    ~Board() override;

    /// Asks soon.
    void refresh();

    /// The pause behind an answer is over, or fifteen seconds without a question are.
    void due(Clock::time_point when);

    void readable() override;

    /// Whether it was answered and follows its station.
    bool stands() const { return _isAnswered && _socket >= 0 && _stream != nullptr && _stream->isOpen(); }

private:
    void ask();
    bool takeAnswer();
    void lose();
    void callIn(Clock::duration pause);

    Boards& _boards;
    const Way _way;
    const int _station;
    const std::string _path;
    int _socket;
    std::string _text;  // of an answer that is still coming in
    std::string _tag;
    Clock::time_point _askedAt;
    Clock::time_point _due;  // the one call that counts
    bool _isAnswered = false;
    bool _isRunning = false;
    bool _isWanted = false;
    std::unique_ptr<BoardStream> _stream;
};

#endif
