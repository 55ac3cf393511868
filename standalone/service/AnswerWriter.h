// Writes answers into one socket without ever waiting: a text, a document in pieces, or a stream of changes. Whoever
// owns it waits for whatever it says that it waits for.
#ifndef PIS_SERVICE_ANSWERWRITER_H
#define PIS_SERVICE_ANSWERWRITER_H

#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "service/ChangeStream.h"
#include "service/DocumentTexts.h"
#include "service/HttpMessages.h"
#include "service/Outbox.h"

namespace pis::service {

/// [Threading] The server's thread alone.
class AnswerWriter {
public:
    using Clock = std::chrono::steady_clock;

    /// Where texts come from; must outlive every writer.
    struct Sources {
        ChangeStream& changes;
        DocumentTexts& documents;
    };

    /// @param socket does not block, and outlives this.
    AnswerWriter(boost::asio::ip::tcp::socket& socket, Sources sources) : _socket(socket), _sources(sources) {}

    struct Manner {
        bool keepAlive = false;
        bool bodyToo = true;
        bool inChunks = true;  ///< Not for clients that speak HTTP/1.0.
    };

    /// Takes an answer, to be written from now on.
    void begin(const HttpAnswer& answer, Manner manner);

    enum State {
        DONE,      ///< The answer is out.
        MORE,      ///< A few pieces are out; more follow when others have had their turn.
        TAKES_IN,  ///< The client is still taking in what the socket holds.
        NO_TURN,   ///< No text may be made now; others have to take theirs first.
        NO_NEWS,   ///< A stream's reader knows the picture that was given last.
        OVER       ///< The connection has failed, or the client is too far behind what it is sent.
    };

    /// Writes what the socket takes at present, some pieces at the most.
    /// @param picture the latest.
    State writeOn(const std::shared_ptr<const picture::Picture>& picture);

    /// Whether a stream is under way.
    bool streams() const { return _stream.has_value(); }

    /// Whether a stream's reader may have to hear of a picture at once.
    bool isNews(const picture::Picture& picture) const;

    /// A stream's reader is to be sent what is new of the picture for it, or how the feed is where that is new.
    void tellNews() { _stream->isToHear = true; }

    /// A stream's reader is to be sent what is new, and be it the time.
    void tellTime() { _stream->isToHear = _stream->isToHearTime = true; }

    /// Adds a text to a stream whose reader waits: a comment.
    void addToStream(const SharedText& text) { add(text); }

    /// Whether it is over because the client is too far behind.
    bool isLeftBehind() const { return _isLeftBehind; }

    /// Ends a stream in good order; what has been begun goes out.
    void endStream();

    /// Bytes that have left this machine for the client. Asks the system.
    std::uint64_t bytesLeft();

    /// Whether the stream's reader has been told the time since this was last asked.
    bool takeTold();

    /// Changes that the stream's reader did not see one by one since this was last asked.
    std::size_t takeCoalesced();

private:
    struct Stream {
        ChangeStream::Reader reader;
        bool isToHear = true;
        bool isToHearTime = true;
        bool isTold = false;
        picture::Revision knows = 0;
        unsigned toldOfFeed = 0;
        std::size_t coalesced = 0;
    };

    State fill(const std::shared_ptr<const picture::Picture>& picture);
    State leaveBehind();
    State fillFromStream(const std::shared_ptr<const picture::Picture>& picture);
    State fillFromDocument(const picture::Picture& picture);
    void add(const SharedText& chunk);

    boost::asio::ip::tcp::socket& _socket;
    Sources _sources;
    Outbox _outbox;
    std::size_t _ahead = 1;  // pieces that are taken at a time: more for those who take them at once
    bool _inChunks = true;
    bool _isLeftBehind = false;
    std::optional<DocumentTexts::Reader> _document;
    std::optional<Stream> _stream;
};

}  // namespace pis::service

#endif
