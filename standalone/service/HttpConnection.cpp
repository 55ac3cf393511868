#include "service/HttpConnection.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/write.hpp>
#include <ctime>
#include <sstream>

namespace pis::service {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;

namespace {

constexpr unsigned kHttp11 = 11;

constexpr const char* kPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; font-src 'self'; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

/// "Fri, 20 Nov 2026 13:25:08 GMT", whatever the locale.
std::string httpDate() {
    return fmt::format("{:%a, %d %b %Y %H:%M:%S} GMT", fmt::gmtime(std::time(nullptr)));
}

/// The headers of every answer.
template <typename Message>
void addHeaders(Message& message, const HttpAnswer& answer) {
    message.reason(reasonOf(answer.status));
    message.set(http::field::date, httpDate());
    message.set(http::field::cache_control, answer.cacheControl);
    message.set("X-Content-Type-Options", "nosniff");
    message.set("Referrer-Policy", "no-referrer");
    message.set("Cross-Origin-Resource-Policy", "same-origin");
    message.set("Content-Security-Policy", kPolicy);
    if (!answer.etag.empty()) message.set(http::field::etag, answer.etag);
    if (answer.varies) message.set(http::field::vary, "Accept-Encoding");
    if (answer.gzip && answer.body) message.set(http::field::content_encoding, "gzip");
    for (const auto& [name, value] : answer.headers) message.set(name, value);
}

/// Differs where readers are to hear at once how the feed is, though no table changed.
unsigned summaryOf(const feed::FeedStatus& feed) {
    return static_cast<unsigned>(feed.link) << 4U | (feed.ready ? 8U : 0U) | (feed.serverKnown ? 4U : 0U) |
           (feed.serverOnline ? 2U : 0U) | (feed.automaticMessages ? 1U : 0U);
}

}  // namespace

HttpConnection::HttpConnection(HttpServer& server, asio::ip::tcp::socket socket, asio::ip::address peer)
    : _server(server), _socket(std::move(socket)), _peer(std::move(peer)), _reader(server._limits) {}

void HttpConnection::start() {
    error_code ignored;
    _socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    _place = ADMITTED;
    await();
    expectWithin(_server._limits.request);  // a client that connects has something to say
}

void HttpConnection::refuse(const Problem& problem) {
    _place = REFUSED;
    expectWithin(_server._limits.progress);
    send(answerOf(problem), false, true);
}

void HttpConnection::startOwnProbe(const Problem& noRoom) {
    _noRoom = noRoom;
    start();
    _place = OWN_PROBE;
    expectWithin(_server._limits.ownProbe);
}

void HttpConnection::giveWay() {
    const bool answered = _state == WRITING || _finishing;
    if (answered) return close();
    _server.leaveOwnProbes(*this);
    _place = NOWHERE;
    _server.refuse(shared_from_this(), *_noRoom);
}

// --- Requests -----------------------------------------------------------------------------------

void HttpConnection::await() {
    _state = WAITING;
    expectWithin(_server._limits.idle);
    read();
}

/// Reads on in what has come. The first byte of a request begins its time.
void HttpConnection::read() {
    try {
        const RequestReader::Progress progress = _reader.readOn();
        if (progress == RequestReader::NOTHING) return awaitFirstByte();
        if (_state == WAITING) {
            _state = READING;
            if (_place == ADMITTED) expectWithin(_server._limits.request);
        }
        if (progress == RequestReader::HALFWAY) return readMore();
        if (progress == RequestReader::WHOLE) return answer();
        _received = requestOf(_reader.message(), _peer, _server._proxies);
        _reader.waitsToBeAsked() ? askForBody() : read();
    } catch (const Problem& problem) {
        refuseRequest(problem);
    }
}

/// Takes no memory as long as a client says nothing.
void HttpConnection::awaitFirstByte() {
    _socket.async_wait(asio::ip::tcp::socket::wait_read, [self = shared_from_this()](error_code error) {
        if (error) return self->close();
        if (self->_place != REFUSED) self->readMore();
    });
}

void HttpConnection::readMore() {
    _socket.async_read_some(_reader.room(), [self = shared_from_this()](error_code error, std::size_t bytes) {
        if (error) return self->close();
        self->_reader.came(bytes);
        if (self->_place != REFUSED) self->read();
    });
}

/// Some clients wait to be asked for the body that they have announced.
void HttpConnection::askForBody() {
    static constexpr std::string_view kGoOn = "HTTP/1.1 100 Continue\r\n\r\n";
    asio::async_write(_socket, asio::buffer(kGoOn), [self = shared_from_this()](error_code error, std::size_t) {
        if (error) return self->close();
        if (self->_place != REFUSED) self->read();
    });
}

void HttpConnection::answer() {
    const ReceivedRequest received = std::move(_received);
    const HttpRequest& request = received.request;
    _reader.next();
    const bool bodyToo = request.method != "HEAD";
    if (_place == OWN_PROBE && !request.isOwnProbe) {
        _server._metrics.refused();
        return send(answerOf(*_noRoom), false, bodyToo);
    }
    const bool hasRoom = !_server._proxies.trust(_peer) || countFor(received.client);
    const HttpAnswer answer = hasRoom ? _server._api.answer(request) : answerOf(HttpServer::tooManyOfAddress());
    _server._metrics.answered(answer.route, answer.status);
    if (answer.stream && bodyToo) {
        _inChunks = !received.isOld;
        return beginStream(answer);
    }
    send(answer, received.keepAlive && !_finishing && _place == ADMITTED, bodyToo);
}

/// Nothing that comes behind what could not be read is a request.
void HttpConnection::refuseRequest(const Problem& problem) {
    const HttpAnswer answer = answerOf(problem);
    _server._metrics.answered("none", answer.status);
    send(answer, false, true);
}

// --- Answers ------------------------------------------------------------------------------------

void HttpConnection::send(const HttpAnswer& answer, bool keepAlive, bool bodyToo) {
    _state = WRITING;
    _body = answer.body;
    _keepAlive = keepAlive;
    _response.emplace(static_cast<http::status>(answer.status), kHttp11);
    addHeaders(*_response, answer);
    if (_body || answer.stream) _response->set(http::field::content_type, answer.type);
    if (answer.status != 304 && !answer.stream) _response->content_length(_body ? _body->size() : 0);
    _response->keep_alive(keepAlive);
    if (_body && bodyToo) _response->body() = {_body->data(), _body->size()};
    _serializer.emplace(*_response);
    _serializer->split(!bodyToo);
    writeOn();
}

/// Writes piece by piece: a reader that takes anything gets time for the next.
void HttpConnection::writeOn() {
    expectWithin(_server._limits.progress);
    http::async_write_some(_socket, *_serializer, [self = shared_from_this()](error_code error, std::size_t) {
        if (error) return self->close();
        const bool headAlone = self->_serializer->split() && self->_serializer->is_header_done();
        if (!self->_serializer->is_done() && !headAlone) return self->writeOn();
        self->_serializer.reset();
        self->_response.reset();
        self->_body.reset();
        self->_state = WAITING;
        // A proxy's connection carries anybody's requests.
        if (self->_server._proxies.trust(self->_peer)) self->stopCounting();
        if (!self->_keepAlive || self->_finishing) return self->finish();
        self->await();
    });
}

// --- Streams ------------------------------------------------------------------------------------

void HttpConnection::beginStream(const HttpAnswer& answer) {
    error_code ignored;
    _socket.set_option(asio::socket_base::send_buffer_size(_server._limits.sendBufferBytes), ignored);
    http::response<http::empty_body> head(http::status::ok, kHttp11);
    addHeaders(head, answer);
    head.set(http::field::content_type, answer.type);
    head.set("X-Accel-Buffering", "no");  // a proxy that gathers what comes would keep events back
    head.chunked(_inChunks);
    head.keep_alive(false);
    std::ostringstream text;
    text << head.base();

    _state = STREAMING;
    _stream = answer.stream;
    _lastComment = _lastTick = Clock::now();
    _server._metrics.streamBegan();
    // Head and first chunk go out as one: the chunk's own head comes behind the answer's.
    sendPicture(_server._published.current());
    _chunkHead.insert(0, text.str());
    writeChunk();
    listenForEnd();
}

/// From a client that has nothing more to say: what comes is passed over until it closes.
void HttpConnection::listenForEnd() {
    static std::array<char, 16384> passedOver;  // by all connections: nobody reads it
    _socket.async_read_some(asio::buffer(passedOver), [self = shared_from_this()](error_code error, std::size_t) {
        if (error) return self->close();
        self->listenForEnd();
    });
}

/// Makes a chunk of what is new in a picture.
void HttpConnection::sendPicture(const std::shared_ptr<const picture::Picture>& picture) {
    const auto piece = _server._changes.piece(picture, _stream->filter, _stream->knows);
    _stream->knows = picture->revision;
    _toldOfFeed = summaryOf(picture->feed);
    _lastTick = Clock::now();
    _server._metrics.coalesced(piece.coalesced);
    sendEvents(piece.events);
}

/// Makes a chunk of some events.
void HttpConnection::sendEvents(std::shared_ptr<const std::string> events) {
    _chunkHead = _inChunks ? fmt::format("{:x}\r\n", events->size()) : "";
    _events = std::move(events);
    _sent = 0;
    expectWithin(_server._limits.progress);
}

void HttpConnection::writeChunk() {
    const std::string_view chunkEnd = _inChunks ? "\r\n" : "";
    const std::array<asio::const_buffer, 3> whole{asio::buffer(_chunkHead), asio::buffer(*_events),
                                                  asio::buffer(chunkEnd)};
    std::array<asio::const_buffer, 3> left;
    std::size_t sent = _sent;
    std::size_t total = 0;
    for (std::size_t i = 0; i < whole.size(); ++i) {
        const std::size_t passed = std::min(sent, whole[i].size());
        left[i] = whole[i] + passed;
        sent -= passed;
        total += whole[i].size();
    }
    _socket.async_write_some(left, [self = shared_from_this(), total](error_code error, std::size_t written) {
        if (error) return self->close();
        self->_sent += written;
        self->expectWithin(self->_server._limits.progress);
        if (self->_sent < total) return self->writeChunk();
        self->_events.reset();
        if (self->_finishing) return self->finish();
        self->pictureChanged(self->_server._published.current());
    });
}

void HttpConnection::pictureChanged(const std::shared_ptr<const picture::Picture>& picture) {
    if (!_stream || _events || _finishing) return;
    if (_stream->knows == picture->revision && _toldOfFeed == summaryOf(picture->feed)) return;
    sendPicture(picture);
    writeChunk();
}

// --- Room for each address ----------------------------------------------------------------------

bool HttpConnection::countFor(const asio::ip::address& client) {
    if (_countedFor == client) return true;
    stopCounting();
    if (!_server.admit(client)) return false;
    _countedFor = client;
    return true;
}

void HttpConnection::stopCounting() {
    if (_countedFor) _server.release(*_countedFor);
    _countedFor.reset();
}

// --- Time and ends ------------------------------------------------------------------------------

void HttpConnection::watch(Clock::time_point now) {
    static const auto kComment = std::make_shared<const std::string>(": still here\n\n");
    const bool waits = _stream && !_events;
    if (!waits && now >= _deadline) {
        if (_stream) _server._metrics.streamStoodStill();
        return close();
    }
    if (!waits || _finishing) return;
    if (now - _lastComment >= _server._limits.comment) {
        _lastComment = now;
        sendEvents(kComment);
        writeChunk();
    } else if (now - _lastTick >= _server._limits.tick) {
        // With what is new, if anything is: a tick names the revision that the reader knows.
        sendPicture(_server._published.current());
        writeChunk();
    }
}

void HttpConnection::finish() {
    static constexpr std::string_view kLastChunk = "0\r\n\r\n";
    _finishing = true;
    if (_state == READING || _state == WRITING || _events) return;  // comes back here when that is done
    if (_state == STREAMING && _inChunks) {
        _state = WRITING;  // the last chunk waits for room like any other
        asio::async_write(_socket, asio::buffer(kLastChunk),
                          [self = shared_from_this()](error_code, std::size_t) { self->close(); });
        return;
    }
    error_code ignored;
    _socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    if (_state == STREAMING || _server._stopping) return close();
    // Closing on what a client still sends would take the answer from it.
    expectWithin(_server._limits.hearOut);
    listenForEnd();
}

void HttpConnection::close() {
    if (!_socket.is_open()) return;
    error_code ignored;
    _socket.close(ignored);
    stopCounting();
    if (_stream) _server._metrics.streamEnded();
    _server.closed(*this);
}

}  // namespace pis::service
