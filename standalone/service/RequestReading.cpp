#include "service/RequestReading.h"

#include <algorithm>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/url/parse.hpp>
#include <boost/url/url_view.hpp>
#include <string>
#include <utility>

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

/// A header that says who asks. @throws Problem where it stands twice: one of them is somebody else's.
std::optional<std::string> onlyValueOf(const http::fields& fields, const char* name) {
    const std::size_t times = fields.count(name);
    if (times > 1) throw Problem{400, "The request must bear one " + std::string(name) + " at most.", ""};
    return times == 0 ? std::nullopt : std::make_optional(std::string(fields[name]));
}

/// Takes the host out of a target that is a whole address, "http://boards.example/board?station=1", and leaves a path
/// with its query. Any other target stays as it is.
void takeHost(HttpRequest& request) {
    const auto address = boost::urls::parse_absolute_uri(request.target);
    if (!address || !address->has_authority() || address->has_userinfo() || address->encoded_host().empty()) return;
    if (address->scheme_id() != boost::urls::scheme::http && address->scheme_id() != boost::urls::scheme::https) return;
    const boost::urls::string_view path = address->encoded_path();
    std::string target = path.empty() ? "/" : std::string(path);
    if (address->has_query()) target.append("?").append(address->encoded_query());
    request.host = std::string(address->encoded_host_and_port());
    request.target = std::move(target);
}

/// Whether a target is for whoever looks after the service.
bool isForOperator(std::string_view target) {
    const std::string_view path = target.substr(0, target.find('?'));
    return path == "/healthz" || path == "/readyz" || path == "/metrics";
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
    // Behind CONNECT something else than requests would follow.
    received.keepAlive = message.keep_alive() && message.method() != http::verb::connect;
    const bool isOld = message.version() < kHttp11;
    request.method = std::string(message.method_string());
    request.target = std::string(message.target());
    request.mayLackHost = isOld && message.count(http::field::host) == 0;
    if (message.count(http::field::host) == 1) request.host = valueOf(message, http::field::host);
    if (request.host || request.mayLackHost) takeHost(request);
    // Browsers have long stopped to speak HTTP/1.0; proxies have not, and name the host that they ask.
    request.hostIsProxys = isOld || peerIsTrusted;
    request.takesChunks = !isOld;
    if (const auto host = peerIsTrusted ? forwardedHost(message) : std::nullopt) {
        request.host = *host;
        request.hostIsProxys = false;
    }
    request.origin = onlyValueOf(message, "Origin");
    request.fetchSite = onlyValueOf(message, "Sec-Fetch-Site").value_or("");
    request.ifNoneMatch = valueOf(message, http::field::if_none_match);
    request.acceptEncoding = valueOf(message, http::field::accept_encoding);
    request.lastEventId = std::string(message["Last-Event-ID"]);
    const bool handedOn = message.count(http::field::forwarded) > 0 || message.count("X-Forwarded-For") > 0;
    request.isForOperator = isForOperator(request.target);
    const bool isOwn = peer.is_loopback() && !peerIsTrusted && !handedOn;
    request.fromLoopback = isOwn && !isOld;
    request.isOwnProbe = isOwn && (!isOld || request.mayLackHost) && request.isForOperator;
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
    // Chunks end with "0", an empty line and its end: the parser insists that these come together.
    constexpr std::size_t kLastChunk = 5;
    const std::size_t fewest = _parser->chunked() ? kLastChunk : 1;
    while (!_parser->is_done() && _bytes.size() >= fewest) {
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
