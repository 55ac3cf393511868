#include "service/RequestReading.h"

#include <algorithm>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/field.hpp>
#include <string>

#include "base/Text.h"
#include "service/Problem.h"

namespace pis::service {

namespace http = boost::beast::http;
using boost::system::error_code;

namespace {

constexpr unsigned kHttp11 = 11;
constexpr std::size_t kPiece = 4096;  // bytes that are read at a time
constexpr unsigned kEmptyLines = 4;   // before a request; some clients send one behind a body
constexpr std::string_view kLineEnd = "\r\n";

Problem tooLong(const HttpLimits& limits) {
    return {431, "The header is longer than " + std::to_string(limits.headerBytes) + " bytes.", ""};
}

/// What a client is told whose request cannot be read.
Problem problemOf(error_code error, const HttpLimits& limits) {
    if (error == http::error::header_limit) return tooLong(limits);
    if (error == http::error::body_limit) {
        return {413, "The body is longer than " + std::to_string(limits.bodyBytes) + " bytes.", ""};
    }
    return {400, "This is no HTTP request: " + error.message() + ".", ""};
}

std::string valueOf(const http::fields& fields, http::field name) {
    return std::string(fields[name]);
}

std::string_view textOf(const boost::beast::flat_buffer& bytes) {
    return {static_cast<const char*>(bytes.data().data()), bytes.size()};
}

/// Without the blanks around it. A tab is allowed there as well, and known to be read by some alone.
std::string_view withoutBlanks(std::string_view text) {
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

bool isDigits(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

void checkFraming(std::string_view header, bool isOld) {
    unsigned lengths = 0;
    unsigned codings = 0;
    const auto doubt = [](const char* what) {
        return Problem{400, std::string("The request is in doubt: ") + what, ""};
    };
    header.remove_prefix(header.find(kLineEnd) + kLineEnd.size());
    while (header.substr(0, kLineEnd.size()) != kLineEnd) {
        const std::string_view line = header.substr(0, header.find(kLineEnd));
        header.remove_prefix(line.size() + kLineEnd.size());
        if (line.front() == ' ' || line.front() == '\t') throw doubt("a header goes on in a second line.");
        const std::size_t colon = line.find(':');
        const std::string name = base::lowered(line.substr(0, colon));
        const std::string_view value = withoutBlanks(line.substr(colon + 1));
        if (name == "content-length") {
            ++lengths;
            if (!isDigits(value)) throw doubt("Content-Length must be one number.");
        } else if (name == "transfer-encoding") {
            ++codings;
            // Nothing else can be undone here, so the end of a body in another coding, even below the chunks, would
            // be for others to find.
            if (base::lowered(value) != "chunked") throw doubt("Transfer-Encoding must be chunked, and nothing else.");
        }
    }
    if (lengths + codings > 1) throw doubt("its length is said twice, by Content-Length or Transfer-Encoding.");
    if (codings > 0 && isOld) throw doubt("HTTP/1.0 has no Transfer-Encoding.");
}

ReceivedRequest requestOf(const RequestReader::Message& message, const boost::asio::ip::address& peer,
                          const TrustedProxies& proxies) {
    ReceivedRequest received;
    HttpRequest& request = received.request;
    const bool peerIsTrusted = proxies.trust(peer);
    received.client = peerIsTrusted ? proxies.clientOf(peer, message) : peer;
    received.keepAlive = message.keep_alive();
    received.isOld = message.version() < kHttp11;
    request.method = std::string(message.method_string());
    request.target = std::string(message.target());
    if (message.count(http::field::host) == 1) request.host = valueOf(message, http::field::host);
    // Browsers have long stopped to speak HTTP/1.0; proxies have not, and name the host that they ask.
    request.hostIsProxys = received.isOld || peerIsTrusted;
    request.mayLackHost = received.isOld && message.count(http::field::host) == 0;
    if (const auto host = peerIsTrusted ? forwardedHost(message) : std::nullopt) {
        request.host = *host;
        request.hostIsProxys = false;
    }
    if (message.count(http::field::origin) > 0) request.origin = valueOf(message, http::field::origin);
    request.fetchSite = std::string(message["Sec-Fetch-Site"]);
    request.ifNoneMatch = valueOf(message, http::field::if_none_match);
    request.acceptEncoding = valueOf(message, http::field::accept_encoding);
    request.lastEventId = std::string(message["Last-Event-ID"]);
    const bool handedOn = message.count(http::field::forwarded) > 0 || message.count("X-Forwarded-For") > 0;
    request.fromLoopback = peer.is_loopback() && !peerIsTrusted && !received.isOld && !handedOn;
    return received;
}

RequestReader::RequestReader(const HttpLimits& limits) : _limits(limits) {}

boost::asio::mutable_buffer RequestReader::room() {
    return _bytes.prepare(kPiece);
}

RequestReader::Progress RequestReader::readOn() {
    if (!_parser) {
        passOverEmptyLines();
        if (_bytes.size() == 0) return NOTHING;
        if (textOf(_bytes) == kLineEnd.substr(0, 1) && _emptyLines < kEmptyLines) return HALFWAY;
        _parser.emplace();
        _parser->header_limit(static_cast<std::uint32_t>(_limits.headerBytes));
        _parser->body_limit(_limits.bodyBytes);
    }
    if (!_parser->is_header_done()) return readHeader() ? HEADER : HALFWAY;
    return readBody() ? WHOLE : HALFWAY;
}

void RequestReader::passOverEmptyLines() {
    while (_emptyLines < kEmptyLines && textOf(_bytes).substr(0, kLineEnd.size()) == kLineEnd) {
        _bytes.consume(kLineEnd.size());
        ++_emptyLines;
    }
}

/// The header stays among the bytes until all of it is there, so that it can be looked at as it came.
bool RequestReader::readHeader() {
    error_code error;
    const boost::asio::const_buffer fresh = _bytes.data() + _ofHeader;
    if (fresh.size() > 0) _ofHeader += _parser->put(fresh, error);
    if (error && error != http::error::need_more) throw problemOf(error, _limits);
    if (!_parser->is_header_done()) {
        requireRoom();
        return false;
    }
    if (_ofHeader > _limits.headerBytes) throw tooLong(_limits);
    checkFraming(textOf(_bytes).substr(0, _ofHeader), message().version() < kHttp11);
    _bytes.consume(_ofHeader);
    return true;
}

bool RequestReader::readBody() {
    while (!_parser->is_done() && _bytes.size() > 0) {
        error_code error;
        _bytes.consume(_parser->put(_bytes.data(), error));
        if (error == http::error::need_more) {
            requireRoom();
            return false;
        }
        if (error) throw problemOf(error, _limits);
    }
    return _parser->is_done();
}

/// Neither a header, nor a line of a chunk, nor what stands behind the last chunk may be longer.
void RequestReader::requireRoom() const {
    if (_bytes.size() >= _limits.headerBytes) throw tooLong(_limits);
}

bool RequestReader::waitsToBeAsked() const {
    if (_parser->is_done() || _bytes.size() > 0 || message().version() < kHttp11) return false;
    return boost::beast::iequals(message()[http::field::expect], "100-continue");
}

void RequestReader::next() {
    _parser.reset();
    _ofHeader = 0;
    _emptyLines = 0;
    if (_bytes.size() == 0) _bytes.shrink_to_fit();  // many connections say nothing for long
}

}  // namespace pis::service
