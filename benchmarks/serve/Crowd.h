// Readers of the service's changes, thousands of them on one thread: bytes come in, each reader's state and the
// times from record to reader come out.
#ifndef BENCHMARKS_SERVE_CROWD_H
#define BENCHMARKS_SERVE_CROWD_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "ChangesParser.h"
#include "Latencies.h"
#include "RowPool.h"
#include "SignallingSide.h"
#include "Socket.h"

/// What a reader asks for.
std::string changesRequest();

/// [Threading] For one thread.
class Crowd {
public:
    /// What came in, for all readers together.
    struct Traffic {
        std::uint64_t bytes = 0;
        std::uint64_t events = 0;
        std::uint64_t resets = 0;
    };

    Crowd(const SignallingSide& side, unsigned short port);
    ~Crowd();

    /// Opens readers one after the other, so many a second, and serves those that are there meanwhile.
    void open(std::size_t count, double perSecond);

    /// Receives what comes until a moment. Into `latencies` goes, for each reader and each burst that went out,
    /// when the reader knew of it: at the burst's own mark or at a later one that took its place.
    void runUntil(Clock::time_point end, Latencies* latencies = nullptr);

    /// Receives what comes until something is so. False when that is not so within the limit.
    bool runUntil(const std::function<bool()>& isSo, std::chrono::seconds limit, Latencies* latencies = nullptr);

    std::size_t count() const { return _readers.size(); }
    const Traffic& traffic() const { return _traffic; }

    /// Whether every reader has been sent the whole picture.
    bool allBegan() const;

    /// Whether every reader knows the last mark that went out, and this revision.
    bool allKnow(const std::string& revision) const;

    /// Readers whose stream ended, whatever the reason.
    std::size_t ended() const;

    /// Readers whose rows differ from these, were it but one row.
    std::size_t differFrom(const ReaderState& expected) const;

    /// Where a reader first differs from these rows, for people; empty where none does.
    std::string firstDifference(const ReaderState& expected) const;

    RowPool& rows() { return _rows; }

    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

private:
    struct Reader {
        explicit Reader(tcp::socket connected) : socket(std::move(connected)) {}

        tcp::socket socket;
        ChangesParser stream;
        ReaderState rows;
        std::string revision;
        std::uint32_t mark = 0;  // the latest that it knows
        bool began = false;
    };

    void receiveWhatComes(Clock::duration wait, Latencies* latencies);
    void receive(Reader& reader, Latencies* latencies);
    void apply(Reader& reader, const StreamEvent& event, Clock::time_point now, Latencies* latencies);
    void noteMark(Reader& reader, std::uint32_t mark, Clock::time_point now, Latencies* latencies);

    const SignallingSide& _side;
    const unsigned short _port;
    RowPool _rows;
    std::vector<Reader> _readers;
    std::vector<char> _buffer;
    Traffic _traffic;
    const int _poll;  // the kernel's list of those to be served
};

#endif
