// The requests of a connection, read off its bytes one after the other. Knows no sockets.
#ifndef PIS_SERVICE_REQUESTREADING_H
#define PIS_SERVICE_REQUESTREADING_H

#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/address.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <cstdint>
#include <optional>
#include <string_view>

#include "service/HttpLimits.h"
#include "service/HttpMessages.h"
#include "service/TrustedProxies.h"

namespace pis::service {

/// The body of a request: nobody wants one here, so it is passed over as it comes.
struct PassedOver {
    struct value_type {};

    class reader {
    public:
        template <bool isRequest, typename Fields>
        reader(boost::beast::http::header<isRequest, Fields>& /*header*/, value_type& /*body*/) {}

        void init(const boost::optional<std::uint64_t>& /*length*/, boost::system::error_code& error) { error = {}; }

        template <typename Buffers>
        std::size_t put(const Buffers& bytes, boost::system::error_code& error) {
            error = {};
            return boost::asio::buffer_size(bytes);
        }

        void finish(boost::system::error_code& error) { error = {}; }
    };
};

class RequestReader {
public:
    using Message = boost::beast::http::request<PassedOver>;

    enum Progress {
        NOTHING,  ///< No byte of the next request has come.
        HALFWAY,  ///< More has to come.
        HEADER,   ///< The header has come, and is told of once; the body is still to be passed over.
        WHOLE     ///< The request is behind; next() goes on to the one after it.
    };

    explicit RequestReader(const HttpLimits& limits);

    /// Where bytes go that come next.
    boost::asio::mutable_buffer room();

    /// So many bytes have come there.
    void came(std::size_t bytes) { _bytes.commit(bytes); }

    /// Reads on in what has come.
    /// @throws Problem where it is no request or takes too much. Where the next request would begin is not known
    ///         then: nothing may be read any more.
    Progress readOn();

    /// The request from its header on. What stands behind the body counts for nothing: headers there would be of
    /// somebody whom those in front of this service have not looked at.
    const Message& message() const { return _parser->get(); }

    /// Whether its client sends the body only once it has been asked for. Once the header has come.
    bool waitsToBeAsked() const;

    /// Forgets the request and goes on to the next one.
    void next();

private:
    using Parser = boost::beast::http::request_parser<PassedOver>;

    void passOverEmptyLines();
    bool readHeader();
    bool readBody();
    void requireRoom() const;

    const HttpLimits& _limits;
    boost::beast::flat_buffer _bytes;
    std::optional<Parser> _parser;
    std::size_t _ofHeader = 0;  // bytes at the front that the parser has read already
    unsigned _emptyLines = 0;
};

/// A request, and what its connection has to know of it.
struct ReceivedRequest {
    HttpRequest request;
    boost::asio::ip::address client;  ///< Whom it comes from, as far as trusted proxies say.
    bool keepAlive = false;           ///< Its client has more to say on this connection.
};

/// What a header says, received from a peer.
/// @throws Problem where it says two things of who asks.
ReceivedRequest requestOf(const RequestReader::Message& message, const boost::asio::ip::address& peer,
                          const TrustedProxies& proxies);

/// Holds a header, from the first line to the empty one, against what leaves no doubt where its body ends: one
/// `Content-Length` in digits, or `Transfer-Encoding: chunked` since HTTP/1.1. What anybody on the way might read
/// otherwise is refused, be it in order by the letter: a second request could hide behind it.
/// @throws Problem that says what is in doubt.
void checkFraming(std::string_view header, bool isOld);

}  // namespace pis::service

#endif
