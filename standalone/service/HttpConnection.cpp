#include "service/HttpConnection.h"

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/read.hpp>

#include "service/Chunks.h"

namespace pis::service {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;

namespace {

constexpr unsigned kHttp11 = 11;

std::string valueOf(const http::request<http::string_body>& request, http::field name) {
    const auto found = request.find(name);
    return found == request.end() ? std::string() : std::string(found->value());
}

std::optional<std::string> givenValueOf(const http::request<http::string_body>& request, http::field name) {
    const auto found = request.find(name);
    if (found == request.end()) return std::nullopt;
    return std::string(found->value());
}

HttpRequest requestOf(const http::request<http::string_body>& message, const asio::ip::address& peer,
                      bool peerIsTrusted) {
    HttpRequest request;
    request.method = std::string(message.method_string());
    request.target = std::string(message.target());
    if (message.count(http::field::host) == 1) request.host = valueOf(message, http::field::host);
    // Browsers have long stopped to speak HTTP/1.0; proxies have not, and name the host that they ask.
    const bool isOld = message.version() < kHttp11;
    request.takesChunks = !isOld;
    request.hostIsProxys = isOld || peerIsTrusted;
    request.mayLackHost = isOld && message.count(http::field::host) == 0;
    if (const auto host = peerIsTrusted ? forwardedHost(message) : std::nullopt) {
        request.host = *host;
        request.hostIsProxys = false;
    }
    request.origin = givenValueOf(message, http::field::origin);
    request.fetchSite = std::string(message["Sec-Fetch-Site"]);
    request.ifNoneMatch = valueOf(message, http::field::if_none_match);
    request.acceptEncoding = valueOf(message, http::field::accept_encoding);
    request.lastEventId = std::string(message["Last-Event-ID"]);
    const bool handedOn = message.count(http::field::forwarded) > 0 || message.count("X-Forwarded-For") > 0;
    request.fromLoopback = peer.is_loopback() && !peerIsTrusted && !isOld && !handedOn;
    return request;
}

/// What a client is told whose request cannot be read; nothing where it just went away.
std::optional<Problem> problemOf(error_code error, const HttpLimits& limits) {
    if (error == http::error::header_limit) {
        return Problem{431, "The header is longer than " + std::to_string(limits.headerBytes) + " bytes.", ""};
    }
    if (error == http::error::body_limit) {
        return Problem{413, "The body is longer than " + std::to_string(limits.bodyBytes) + " bytes.", ""};
    }
    const bool notHttp = error.category() == make_error_code(http::error::bad_method).category();
    if (notHttp && error != http::error::end_of_stream && error != http::error::partial_message) {
        return Problem{400, "This is no HTTP request: " + error.message() + ".", ""};
    }
    return std::nullopt;
}

}  // namespace

HttpConnection::HttpConnection(HttpServer& server, asio::ip::tcp::socket socket, asio::ip::address peer)
    : _server(server),
      _socket(std::move(socket)),
      _peer(std::move(peer)),
      _buffer(server._limits.headerBytes + server._limits.bodyBytes),
      _writer(_socket, server._sources.texts) {}

void HttpConnection::start() {
    error_code ignored;
    _socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    _socket.non_blocking(true, ignored);
    await();
    expectWithin(_server._limits.request);  // a client that connects has something to say
}

void HttpConnection::refuse(const Problem& problem) {
    error_code ignored;
    _socket.non_blocking(true, ignored);
    _isRefused = true;
    send(answerOf(problem), {});
}

// --- Requests -----------------------------------------------------------------------------------

/// The first byte of a request begins its time.
void HttpConnection::await() {
    _state = WAITING;
    expectWithin(_server._limits.idle);
    if (_buffer.size() > 0) return read();  // sent along with the request before
    _socket.async_wait(asio::ip::tcp::socket::wait_read, [self = shared_from_this()](error_code error) {
        if (error) return self->close();
        self->read();
    });
}

void HttpConnection::read() {
    _state = READING;
    expectWithin(_server._limits.request);
    _parser.emplace();
    _parser->header_limit(static_cast<std::uint32_t>(_server._limits.headerBytes));
    _parser->body_limit(_server._limits.bodyBytes);
    http::async_read_header(_socket, _buffer, *_parser, [self = shared_from_this()](error_code error, std::size_t) {
        if (error || self->_parser->is_done()) return self->onRead(error);
        self->askForBody();
    });
}

/// Some clients wait to be asked for the body that they have announced.
void HttpConnection::askForBody() {
    static constexpr std::string_view kGoOn = "HTTP/1.1 100 Continue\r\n\r\n";
    if (_buffer.size() > 0 || _parser->get().count(http::field::expect) == 0) return readBody();
    asio::async_write(_socket, asio::buffer(kGoOn), [self = shared_from_this()](error_code error, std::size_t) {
        if (error) return self->close();
        self->readBody();
    });
}

void HttpConnection::readBody() {
    http::async_read(_socket, _buffer, *_parser,
                     [self = shared_from_this()](error_code error, std::size_t) { self->onRead(error); });
}

void HttpConnection::onRead(error_code error) {
    if (error) {
        const std::optional<Problem> problem = problemOf(error, _server._limits);
        if (!problem) return close();
        const HttpAnswer answer = answerOf(*problem);
        _server._metrics.answered("none", answer.status);
        return send(answer, {});
    }
    answer();
}

/// Answers the request that has been read, as soon as there is room for an answer.
void HttpConnection::answer() {
    const http::request<http::string_body>& message = _parser->get();
    const bool peerIsTrusted = _server._proxies.trust(_peer);
    const HttpRequest request = requestOf(message, _peer, peerIsTrusted);
    if (!_server._sources.account.hasRoom() && !Api::isOfOperator(request)) {
        _waiting = FOR_TURN;
        return _server.awaitTurn(*this);
    }
    const bool hasRoom = !peerIsTrusted || countFor(_server._proxies.clientOf(_peer, message));
    const HttpAnswer answer = hasRoom ? _server._sources.api.answer(request) : answerOf(HttpServer::tooManyOfAddress());
    _server._metrics.answered(answer.route, answer.status);
    AnswerWriter::Manner manner;
    manner.bodyToo = request.method != "HEAD";
    manner.inChunks = request.takesChunks;
    manner.keepAlive = message.keep_alive() && !_finishing && !(answer.stream && manner.bodyToo);
    _parser.reset();
    send(answer, manner);
}

// --- Answers ------------------------------------------------------------------------------------

void HttpConnection::send(const HttpAnswer& answer, AnswerWriter::Manner manner) {
    _state = WRITING;
    _keepAlive = manner.keepAlive;
    _writer.begin(answer, manner);
    if (_writer.streams()) beginStream();
    writeOn(_server._sources.published.current());
}

void HttpConnection::beginStream() {
    error_code ignored;
    _socket.set_option(asio::socket_base::send_buffer_size(_server._limits.sendBufferBytes), ignored);
    _isStream = true;
    _lastComment = _lastTick = _server.now();
    _server.streamBegan(*this);
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

void HttpConnection::writeOn(const std::shared_ptr<const picture::Picture>& picture) {
    if (!_socket.is_open()) return;
    const Waiting before = _waiting;
    _waiting = FOR_NOTHING;
    const AnswerWriter::State state = _writer.writeOn(picture);
    _server._metrics.coalesced(_writer.takeCoalesced());
    _server.textsMayHaveGone();
    switch (state) {
        case AnswerWriter::DONE: return answered();
        case AnswerWriter::OVER:
            if (_writer.isLeftBehind()) _server._metrics.leftBehind();
            return close();
        case AnswerWriter::NO_NEWS:
            if (_finishing) finish();
            return;
        case AnswerWriter::NO_TURN: _waiting = FOR_TURN; return _server.awaitTurn(*this);
        case AnswerWriter::MORE:
        case AnswerWriter::TAKES_IN: break;
    }
    if (before != FOR_CLIENT) _progress.begin(_server.now(), _writer.bytesLeft());
    _waiting = FOR_CLIENT;
    const auto writeOnThen = [self = shared_from_this()](error_code error) {
        if (error) return self->close();
        self->writeOn(self->_server._sources.published.current());
    };
    if (state == AnswerWriter::TAKES_IN) {
        _socket.async_wait(asio::ip::tcp::socket::wait_write, writeOnThen);
    } else {
        asio::post(_socket.get_executor(), [writeOnThen] { writeOnThen({}); });
    }
}

/// The answer is out.
void HttpConnection::answered() {
    if (_isStream) return close();
    _state = WAITING;
    // A proxy's connection carries anybody's requests.
    if (_server._proxies.trust(_peer)) stopCounting();
    if (!_keepAlive || _finishing) return finish();
    await();
}

void HttpConnection::takeTurn() {
    if (!_socket.is_open()) return;
    _waiting = FOR_NOTHING;
    _state == WRITING ? writeOn(_server._sources.published.current()) : answer();
}

// --- Streams ------------------------------------------------------------------------------------

void HttpConnection::pictureChanged(const std::shared_ptr<const picture::Picture>& picture) {
    if (_waiting != FOR_NOTHING || _finishing || !_writer.isNews(*picture)) return;
    sendNews(picture);
}

void HttpConnection::sendNews(const std::shared_ptr<const picture::Picture>& picture) {
    _lastTick = _server.now();
    _writer.tellNews();
    writeOn(picture);
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
    if (_state != WRITING) {
        if (_waiting != FOR_TURN && now >= _deadline) close();
        return;
    }
    if (_waiting == FOR_CLIENT) return watchProgress(now);
    if (_waiting == FOR_NOTHING && !_finishing) keepAlive(now);
}

void HttpConnection::watchProgress(Clock::time_point now) {
    const Progress::Verdict verdict = _progress.look(now, _writer.bytesLeft(), _server._limits);
    if (verdict == Progress::TAKES) return;
    if (_isStream)
        verdict == Progress::TOO_SLOW ? _server._metrics.streamTooSlow() : _server._metrics.streamStoodStill();
    close();
}

/// A stream where nothing happens shows that it lives.
void HttpConnection::keepAlive(Clock::time_point now) {
    static const auto kComment = std::make_shared<const std::string>(chunkOf(": still here\n\n"));
    if (now - _lastComment >= _server._limits.comment) {
        _lastComment = now;
        _writer.addToStream(kComment);
        writeOn(_server._sources.published.current());
    } else if (now - _lastTick >= _server._limits.tick) {
        // With what is new, if anything is: a tick names the revision that the reader knows.
        sendNews(_server._sources.published.current());
    }
}

void HttpConnection::finish() {
    _finishing = true;
    if (_isStream && _writer.streams() && _waiting == FOR_NOTHING) {
        _writer.endStream();
        return writeOn(_server._sources.published.current());
    }
    if (_state != WAITING) return;  // comes back here when that is done
    error_code ignored;
    _socket.shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    if (_server._stopping) return close();
    // Closing on what a client still sends would take the answer from it.
    expectWithin(_server._limits.hearOut);
    listenForEnd();
}

void HttpConnection::close() {
    if (!_socket.is_open()) return;
    error_code ignored;
    _socket.close(ignored);
    stopCounting();
    _server.closed(*this);
}

}  // namespace pis::service
