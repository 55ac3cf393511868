// One connection of a client: requests in, answers out, or a stream of changes. Owned by the server.
#ifndef PIS_SERVICE_HTTPCONNECTION_H
#define PIS_SERVICE_HTTPCONNECTION_H

#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "service/AnswerWriter.h"
#include "service/HttpMessages.h"
#include "service/HttpServer.h"
#include "service/Problem.h"
#include "service/Progress.h"
#include "service/RequestReading.h"

namespace pis::service {

/// [Threading] The server's thread alone. Lives as long as the server knows it and an operation is under
/// way.
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
public:
    using Clock = std::chrono::steady_clock;

    HttpConnection(HttpServer& server, boost::asio::ip::tcp::socket socket, boost::asio::ip::address peer);

    /// Awaits the first request.
    void start();

    /// Says why there is no room, then closes.
    void refuse(const Problem& problem);

    /// Awaits one request of somebody on this machine who looks after the service, though there is no room; whoever
    /// asks for anything else hears why.
    void startOwnProbe(const Problem& noRoom);

    /// Leaves the place of such a one to the next: says why there is no room if nothing has been answered yet.
    void giveWay();

    /// Sends a stream's reader what is new, be it the state of the link alone, unless it is still busy with
    /// what came before. The server calls it for streams alone.
    void pictureChanged(const std::shared_ptr<const picture::Picture>& picture);

    /// It is this connection's turn to have a text made.
    void takeTurn();

    /// Looks after time limits, comments and ticks; called some times a second.
    void watch(Clock::time_point now);

    /// Ends in good order: a stream with its last chunk, an answer under way when it is out.
    void finish();

    /// Ends at once.
    void close();

    /// Takes a place among the connections of a client's address. False where there is none left.
    bool countFor(const boost::asio::ip::address& client);

    /// What it counts among.
    enum Place { NOWHERE, ADMITTED, OWN_PROBE, REFUSED };
    Place place() const { return _place; }

private:
    friend class HttpServer;

    void await();
    void read();
    void awaitFirstByte();
    void readMore();
    void askForBody();
    void answer();
    void refuseRequest(const Problem& problem);
    void send(const HttpAnswer& answer, AnswerWriter::Manner manner);
    void listenForEnd();
    void beginStream();
    void writeOn(const std::shared_ptr<const picture::Picture>& picture);
    void answered();
    void watchProgress(Clock::time_point now);
    void keepAlive(Clock::time_point now);
    void stopCounting();
    void expectWithin(std::chrono::seconds time) { _deadline = Clock::now() + time; }

    HttpServer& _server;
    boost::asio::ip::tcp::socket _socket;
    boost::asio::ip::address _peer;
    std::optional<boost::asio::ip::address> _countedFor;
    RequestReader _reader;
    ReceivedRequest _received;
    Clock::time_point _deadline;
    enum State { WAITING, READING, WRITING } _state = WAITING;
    bool _finishing = false;
    Place _place = NOWHERE;
    std::optional<Problem> _noRoom;  // for an own probe that is none

    // An answer under way.
    AnswerWriter _writer;
    bool _keepAlive = false;
    bool _isStream = false;
    std::size_t _placeAmongStreams = 0;  // of the server
    Progress _progress;
    enum Waiting {
        FOR_NOTHING,  ///< A stream's reader has all there is.
        FOR_CLIENT,   ///< To take in what was sent, or for others on the loop.
        FOR_TURN      ///< To have a text made; the client need not take anything meanwhile.
    } _waiting = FOR_NOTHING;
    Clock::time_point _lastComment;  // of a stream
    Clock::time_point _lastTick;     // of a stream
};

}  // namespace pis::service

#endif
