#include "service/HttpConnection.h"

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>

#include "service/Chunks.h"

namespace pis::service {

namespace asio = boost::asio;
using boost::system::error_code;

HttpConnection::HttpConnection(HttpServer& server, asio::ip::tcp::socket socket, asio::ip::address peer)
    : _server(server),
      _socket(std::move(socket)),
      _peer(std::move(peer)),
      _reader(server._limits),
      _writer(_socket, server._sources.texts) {
    error_code ignored;
    _socket.non_blocking(true, ignored);
}

void HttpConnection::start() {
    error_code ignored;
    _socket.set_option(asio::ip::tcp::no_delay(true), ignored);
    _place = ADMITTED;
    await();
    expectWithin(_server._limits.request);  // a client that connects has something to say
}

void HttpConnection::refuse(const Problem& problem) {
    _place = REFUSED;
    send(answerOf(problem), {});
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
    if (_finishing || !_socket.is_open()) return;
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

/// Answers the request that has been read, as soon as there is room for an answer.
void HttpConnection::answer() {
    const HttpRequest& request = _received.request;
    AnswerWriter::Manner manner;
    manner.bodyToo = request.method != "HEAD";
    manner.inChunks = request.takesChunks;
    if (!_server._sources.account.hasRoom() && !request.isForOperator) {
        _waiting = FOR_TURN;
        return _server.awaitTurn(*this);
    }
    if (_place == OWN_PROBE && !request.isOwnProbe) {
        _server._metrics.refused();
        return send(answerOf(*_noRoom), manner);
    }
    const bool hasRoom = !_server._proxies.trust(_peer) || countFor(_received.client);
    const HttpAnswer answer = hasRoom ? _server._sources.api.answer(request) : answerOf(HttpServer::tooManyOfAddress());
    _server._metrics.answered(answer.route, answer.status);
    manner.keepAlive = _received.keepAlive && !_finishing && _place == ADMITTED && !(answer.stream && manner.bodyToo);
    _reader.next();
    send(answer, manner);
}

/// Nothing that comes behind what could not be read is a request.
void HttpConnection::refuseRequest(const Problem& problem) {
    const HttpAnswer answer = answerOf(problem);
    _server._metrics.answered("none", answer.status);
    send(answer, {});
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
    if (_writer.takeTold()) _lastTick = _server.now();
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
    if (state == AnswerWriter::MORE) return _server.writeLater(shared_from_this());
    _socket.async_wait(asio::ip::tcp::socket::wait_write, [self = shared_from_this()](error_code error) {
        error ? self->close() : self->_server.writeLater(self);
    });
}

/// The answer is out.
void HttpConnection::answered() {
    if (_isStream) return close();
    _state = WAITING;
    // A proxy's connection carries anybody's requests.
    if (_server._proxies.trust(_peer)) stopCounting();
    if (!_keepAlive || _finishing) return finish();
    // Requests that were sent along with this one take their turn on the loop.
    asio::post(_socket.get_executor(), [self = shared_from_this()] { self->await(); });
}

void HttpConnection::takeTurn() {
    if (!_socket.is_open()) return;
    _waiting = FOR_NOTHING;
    _state == WRITING ? writeOn(_server._sources.published.current()) : answer();
}

// --- Streams ------------------------------------------------------------------------------------

void HttpConnection::pictureChanged(const std::shared_ptr<const picture::Picture>& picture) {
    if (_waiting != FOR_NOTHING || _finishing || !_writer.isNews(*picture)) return;
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
        _writer.tellTime();
        writeOn(_server._sources.published.current());
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
