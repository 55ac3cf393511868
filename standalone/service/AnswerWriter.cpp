#include "service/AnswerWriter.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/write.hpp>
#include <ctime>
#include <sstream>
#include <utility>

#include "service/Chunks.h"
#include "service/Problem.h"

namespace pis::service {

namespace http = boost::beast::http;

namespace {

constexpr unsigned kHttp11 = 11;

constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; font-src 'self'; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

/// "Fri, 20 Nov 2026 13:25:08 GMT", whatever the locale.
std::string httpDate() {
    return fmt::format("{:%a, %d %b %Y %H:%M:%S} GMT", fmt::gmtime(std::time(nullptr)));
}

/// A document goes out in chunks where its size is not known before.
bool isInChunks(const HttpAnswer& answer) {
    return answer.stream || (answer.document && answer.gzip);
}

std::string headOf(const HttpAnswer& answer, const AnswerWriter::Manner& manner) {
    http::response<http::empty_body> head(static_cast<http::status>(answer.status), kHttp11);
    head.reason(reasonOf(answer.status));
    head.set(http::field::date, httpDate());
    head.set(http::field::cache_control, answer.cacheControl);
    head.set("X-Content-Type-Options", "nosniff");
    head.set("Referrer-Policy", "no-referrer");
    head.set("Cross-Origin-Resource-Policy", "same-origin");
    head.set("Content-Security-Policy", kPolicy);
    if (!answer.etag.empty()) head.set(http::field::etag, answer.etag);
    if (answer.varies) head.set(http::field::vary, "Accept-Encoding");
    if (answer.body || answer.document || answer.stream) head.set(http::field::content_type, answer.type);
    if (answer.gzip && (answer.body || answer.document)) head.set(http::field::content_encoding, "gzip");
    for (const auto& [name, value] : answer.headers) head.set(name, value);
    if (answer.stream) head.set("X-Accel-Buffering", "no");  // a proxy that gathers what comes would keep events back
    if (isInChunks(answer)) {
        head.chunked(manner.inChunks);
    } else if (answer.status != 304) {
        head.content_length(answer.document ? answer.document->size() : answer.body ? answer.body->size() : 0);
    }
    head.keep_alive(manner.keepAlive);
    if (manner.keepAlive && !manner.inChunks)
        head.set(http::field::connection, "keep-alive");  // HTTP/1.0 wants it said
    std::ostringstream text;
    text << head.base();
    return text.str();
}

/// Differs where readers are to hear at once how the feed is, though no table changed.
unsigned summaryOf(const feed::FeedStatus& feed) {
    return static_cast<unsigned>(feed.link) << 5U | (feed.partOfSnapshot ? 16U : 0U) | (feed.ready ? 8U : 0U) |
           (feed.serverKnown ? 4U : 0U) | (feed.serverOnline ? 2U : 0U) | (feed.automaticMessages ? 1U : 0U);
}

}  // namespace

void AnswerWriter::begin(const HttpAnswer& answer, Manner manner) {
    _ahead = 1;
    _inChunks = manner.inChunks;
    _outbox.add(std::make_shared<const std::string>(headOf(answer, manner)));
    if (!manner.bodyToo) return;
    if (answer.body) _outbox.add(answer.body);
    if (answer.document) {
        _document.emplace(answer.document, answer.gzip ? DocumentTexts::COMPRESSED : DocumentTexts::PLAIN);
    }
    if (answer.stream) _stream.emplace(Stream{ChangeStream::Reader(answer.stream->filter, answer.stream->knows)});
}

AnswerWriter::State AnswerWriter::writeOn(const std::shared_ptr<const picture::Picture>& picture) {
    constexpr std::size_t kMostAhead = 4;
    const State next = fill(picture);
    if (next == OVER || _outbox.empty()) return next;
    boost::system::error_code error;
    if (!_outbox.write(_socket, error)) {
        if (error) return OVER;
        _ahead = 1;
        return TAKES_IN;
    }
    if (next == MORE) _ahead = std::min(2 * _ahead, kMostAhead);
    return next;
}

/// Takes the next pieces. What it returns holds once all that waits is written.
AnswerWriter::State AnswerWriter::fill(const std::shared_ptr<const picture::Picture>& picture) {
    while (_stream || _document) {
        if (_outbox.texts() >= _ahead) return MORE;
        const State state = _stream ? fillFromStream(picture) : fillFromDocument(*picture);
        if (state != MORE) return state;
    }
    return DONE;
}

AnswerWriter::State AnswerWriter::fillFromStream(const std::shared_ptr<const picture::Picture>& picture) {
    if (!_stream->isToHear) return NO_NEWS;
    const unsigned ofFeed = summaryOf(picture->feed);
    const bool tick = _stream->isToHearTime || _stream->toldOfFeed != ofFeed;
    const ChangeStream::Piece piece = _sources.changes.next(_stream->reader, picture, tick);
    if (piece.state == ChangeStream::Piece::WAIT) return NO_TURN;
    if (piece.state == ChangeStream::Piece::LEFT_BEHIND) return leaveBehind();
    if (piece.chunk != nullptr) add(piece.chunk);
    _stream->coalesced += piece.coalesced;
    if (piece.state == ChangeStream::Piece::MORE) return MORE;
    _stream->isToHear = _stream->isToHearTime = false;
    _stream->knows = picture->revision;
    _stream->toldOfFeed = ofFeed;
    _stream->isTold = _stream->isTold || piece.chunk != nullptr;
    return NO_NEWS;
}

/// A document of a picture that the log has left behind would hold that picture for nobody's good.
AnswerWriter::State AnswerWriter::fillFromDocument(const picture::Picture& picture) {
    if (!picture.knowsSince(_document->document().revision())) return leaveBehind();
    SharedText piece = _sources.documents.next(*_document);
    if (piece == nullptr) return NO_TURN;
    _outbox.add(std::move(piece));
    if (!_document->isAtEnd()) return MORE;
    if (_document->isCompressed()) _outbox.add(nullptr, kLastChunk);
    _document.reset();
    return DONE;
}

AnswerWriter::State AnswerWriter::leaveBehind() {
    _isLeftBehind = true;
    return OVER;
}

void AnswerWriter::add(const SharedText& chunk) {
    _outbox.add(chunk, _inChunks ? std::string_view(*chunk) : textIn(*chunk));
}

bool AnswerWriter::isNews(const picture::Picture& picture) const {
    return _stream->knows != picture.revision || _stream->toldOfFeed != summaryOf(picture.feed);
}

void AnswerWriter::endStream() {
    _stream.reset();
    if (_inChunks) _outbox.add(nullptr, kLastChunk);
}

std::uint64_t AnswerWriter::bytesLeft() {
    int held = 0;
    if (ioctl(_socket.native_handle(), TIOCOUTQ, &held) != 0) held = 0;
    return _outbox.written() - std::min(_outbox.written(), static_cast<std::uint64_t>(std::max(held, 0)));
}

bool AnswerWriter::takeTold() {
    return _stream && std::exchange(_stream->isTold, false);
}

std::size_t AnswerWriter::takeCoalesced() {
    return _stream ? std::exchange(_stream->coalesced, 0) : 0;
}

}  // namespace pis::service
