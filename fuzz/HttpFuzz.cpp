// In go the bytes of a client; 0x1f cuts them into pieces that come one by one. The service answers on a connection of
// the loopback interface. Every answer is well-formed; there are no more of them than a reader of its own, which knows
// nothing but where requests end, counts requests; nothing comes behind the last one; and the connection is given back.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <cerrno>

#include "FuzzCheck.h"
#include "RandomRailway.h"
#include "SmallService.h"
#include "base/Numbers.h"
#include "base/Text.h"
#include "service/HttpServer.h"

namespace {

constexpr char kCut = '\x1f';
constexpr std::string_view kLineEnd = "\r\n";

/// Small, so that inputs reach them.
pis::service::HttpLimits smallLimits() {
    pis::service::HttpLimits limits;
    limits.connections = 64;  // those that are not given back show before long
    limits.ownProbes = 0;
    limits.headerBytes = 512;
    limits.bodyBytes = 64;
    return limits;
}

struct Server {
    Server() : port(http.listen("127.0.0.1", 0)) {
        constexpr int kRecords = 60;
        for (int i = 0; i < kRecords; ++i) railway.change();
        railway.publish();
    }

    /// Does all that can be done without anything more coming.
    void workOff() {
        while (context.poll() > 0) {
        }
    }

    boost::asio::io_context context{1};
    pis::picture::RandomRailway railway{1};
    pis::picture::ServiceClock clock{{pis::picture::ClockOptions::FEED, "day", "UTC", "03:00"}};
    small::Service service{railway.published(), clock};
    pis::service::ServiceMetrics metrics;
    pis::service::HttpServer http{
        context, smallLimits(),
        pis::service::HttpServer::Sources{
            service.api, {service.changes, service.documents}, service.account, railway.published()},
        metrics};
    unsigned short port;
};

class Client {
public:
    explicit Client(unsigned short port) : _socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const linger atOnce{1, 0};
        setsockopt(_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        // A port that was used rests for a minute: each client has an address of its own, so that they do not run out.
        static std::uint32_t clients = 0;
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK + (++clients & 0xffffU));
        require(bind(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "cannot bind");
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        require(connect(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "cannot connect");
        fcntl(_socket, F_SETFL, O_NONBLOCK);
    }
    ~Client() { close(_socket); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void send(std::string_view bytes) { ::send(_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    void endSending() { shutdown(_socket, SHUT_WR); }

    /// Adds to a text what has come. False when there was nothing.
    bool take(std::string& text) {
        char bytes[65536];
        const ssize_t count = recv(_socket, bytes, sizeof bytes, 0);
        if (count > 0) text.append(bytes, static_cast<std::size_t>(count));
        _ended = count == 0 || (count < 0 && errno != EAGAIN);
        return count > 0;
    }

    /// Whether the other side has ended the connection. Waits a little for something to come where it has not.
    bool hasEnded() {
        pollfd watched{_socket, POLLIN, 0};
        if (!_ended) poll(&watched, 1, 1);
        return _ended;
    }

private:
    int _socket;
    bool _ended = false;
};

// --- Where requests end ---

/// Takes a line with its end off the front; nothing where it has none.
std::optional<std::string_view> takeLine(std::string_view& bytes) {
    const std::size_t end = bytes.find(kLineEnd);
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view line = bytes.substr(0, end);
    bytes.remove_prefix(end + kLineEnd.size());
    return line;
}

/// Takes chunks up to the last one and what stands behind it. False where they are none.
bool takeChunks(std::string_view& bytes) {
    while (const auto line = takeLine(bytes)) {
        std::size_t size = 0;
        const auto [end, fault] = std::from_chars(line->data(), line->data() + line->size(), size, 16);
        if (fault != std::errc() || end == line->data()) return false;
        if (size == 0) {
            auto trailer = takeLine(bytes);
            while (trailer && !trailer->empty()) trailer = takeLine(bytes);
            return trailer.has_value();
        }
        if (bytes.size() < size || bytes.substr(size, kLineEnd.size()) != kLineEnd) return false;
        bytes.remove_prefix(size + kLineEnd.size());
    }
    return false;
}

/// Takes a request off the front. False where nothing behind it may be read as one.
bool takeRequest(std::string_view& bytes) {
    std::vector<std::string> lengths;
    std::vector<std::string> codings;
    auto line = takeLine(bytes);
    const bool isOld = line && line->size() > 8 && line->substr(line->size() - 8) == "HTTP/1.0";
    for (line = takeLine(bytes); line && !line->empty(); line = takeLine(bytes)) {
        if (line->front() == ' ' || line->front() == '\t') return false;
        const std::string name = pis::base::lowered(line->substr(0, line->find(':')));
        const std::string value = pis::base::lowered(
            pis::base::trimmed(line->substr(name.size() + 1 <= line->size() ? name.size() + 1 : line->size())));
        if (name == "content-length") lengths.push_back(value);
        if (name == "transfer-encoding") codings.push_back(value);
    }
    if (!line || lengths.size() + codings.size() > 1) return false;
    if (!codings.empty()) return !isOld && codings[0] == "chunked" && takeChunks(bytes);
    if (lengths.empty()) return true;
    const auto length = pis::base::numberIn<std::size_t>(lengths[0]);
    if (!length || *length > bytes.size()) return false;
    bytes.remove_prefix(*length);
    return true;
}

/// The methods of the requests that bytes begin with, that of the first one that is none or not whole among them.
std::vector<std::string> methodsIn(std::string_view bytes) {
    std::vector<std::string> methods;
    while (true) {
        while (bytes.substr(0, kLineEnd.size()) == kLineEnd) bytes.remove_prefix(kLineEnd.size());
        if (bytes.empty()) return methods;
        methods.emplace_back(bytes.substr(0, bytes.find(' ')));
        if (!takeRequest(bytes)) return methods;
    }
}

// --- What comes back ---

/// Takes an answer off the front. False where nothing may come behind it.
bool takeAnswer(std::string_view& bytes, bool toHead) {
    const auto first = takeLine(bytes);
    require(first && first->substr(0, 9) == "HTTP/1.1 ", "no status line");
    const int status = pis::base::numberIn<int>(first->substr(9, 3)).value_or(0);
    require(status >= 100 && status < 600 && status != 503 && status != 500, "status: " + std::string(*first));
    std::optional<std::size_t> length;
    bool last = false;
    bool isStream = false;
    auto line = takeLine(bytes);
    for (; line && !line->empty(); line = takeLine(bytes)) {
        const std::size_t colon = line->find(": ");
        require(colon != std::string_view::npos && colon > 0, "no header: " + std::string(*line));
        require(std::all_of(line->begin(), line->end(), [](char c) { return c >= ' ' && c <= '~'; }),
                "bytes in a header");
        const std::string name = pis::base::lowered(line->substr(0, colon));
        const std::string_view value = line->substr(colon + 2);
        if (name == "content-length") length = pis::base::numberIn<std::size_t>(value);
        if (name == "connection" && value == "close") last = true;
        if (name == "content-type" && value == "text/event-stream") isStream = true;
    }
    require(line.has_value(), "a header without end");
    if (status == 100) return !bytes.empty() && takeAnswer(bytes, toHead);
    if (isStream && !toHead) return false;
    const bool noBody = status == 304 || (toHead && (bytes.empty() || bytes.substr(0, 5) == "HTTP/"));
    if (!noBody) {
        require(length.has_value() && bytes.size() >= *length, "a body without end");
        bytes.remove_prefix(*length);
    }
    require(!last || bytes.empty(), "something behind the last answer");
    return !last;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Server server;
    std::string_view pieces(reinterpret_cast<const char*>(data), size);
    std::string sent;
    std::string came;
    {
        Client client(server.port);
        const auto workOff = [&] {
            do server.workOff();
            while (client.take(came));
        };
        while (!pieces.empty()) {
            const std::string_view piece = pieces.substr(0, pieces.find(kCut));
            pieces.remove_prefix(std::min(piece.size() + 1, pieces.size()));
            if (piece.empty()) continue;
            client.send(piece);
            sent += piece;
            workOff();
        }
        client.endSending();
        workOff();
        for (int i = 0; !client.hasEnded(); ++i) {
            require(i < 5000, "a connection whose client has said it all does not end");
            workOff();
        }
    }
    server.workOff();

    const std::vector<std::string> methods = methodsIn(sent);
    std::string_view answers = came;
    std::size_t count = 0;
    for (bool more = true; more && !answers.empty(); ++count) {
        require(count < methods.size(), "more answers than requests: " + sent + "\n---\n" + came);
        more = takeAnswer(answers, methods[count] == "HEAD");
    }
    return 0;
}
