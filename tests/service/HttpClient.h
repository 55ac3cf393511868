// A small HTTP client on a plain socket: raw bytes out, answers in. Every wait has a generous limit.
#ifndef TESTS_SERVICE_HTTPCLIENT_H
#define TESTS_SERVICE_HTTPCLIENT_H

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Patience.h"

namespace pis::service {

/// One answer. Names of headers are in lower case.
struct Answer {
    int status = 0;
    std::string phrase;
    std::map<std::string, std::string> headers;
    std::string body;

    std::string header(const std::string& name) const {
        const auto found = headers.find(name);
        return found == headers.end() ? "" : found->second;
    }
    bool has(const std::string& name) const { return headers.count(name) > 0; }
};

using Headers = std::vector<std::pair<std::string, std::string>>;

/// A request with a Host, unless the headers bring their own.
inline std::string requestText(const std::string& method, const std::string& target, const Headers& headers = {}) {
    std::string text = method + " " + target + " HTTP/1.1\r\n";
    bool named = false;
    for (const auto& [name, value] : headers) {
        named = named || name == "Host";
        text += name + ": " + value + "\r\n";
    }
    if (!named) text += "Host: localhost\r\n";
    return text + "\r\n";
}

class Connection {
public:
    /// @param receiveBuffer bytes that the system may hold for this side; 0 for as many as it likes.
    explicit Connection(unsigned short port, int receiveBuffer = 0) {
        _socket = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (receiveBuffer > 0) setsockopt(_socket, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            const std::string why = std::strerror(errno);
            closeSocket();
            throw std::runtime_error("cannot connect: " + why);
        }
        fcntl(_socket, F_SETFL, O_NONBLOCK);
    }
    ~Connection() { closeSocket(); }
    Connection(Connection&& other) noexcept
        : _socket(std::exchange(other._socket, -1)), _read(std::move(other._read)), _ended(other._ended) {}
    Connection& operator=(Connection&&) = delete;

    /// Sends bytes. False when the other side closed before it took them all.
    bool send(const std::string& bytes) {
        const auto until = patience::deadline();
        for (std::size_t sent = 0; sent < bytes.size();) {
            const ssize_t count = ::send(_socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count > 0) sent += static_cast<std::size_t>(count);
            if (count >= 0) continue;
            if (errno != EAGAIN) return false;
            wait(POLLOUT, until, "sending");
        }
        return true;
    }

    /// Nothing more comes from this side.
    void endSending() { shutdown(_socket, SHUT_WR); }

    void closeSocket() {
        if (_socket >= 0) close(_socket);
        _socket = -1;
    }

    /// Reads until the text that is not read yet holds a part. False when the connection ends before.
    bool readUntil(const std::string& part) {
        const auto until = patience::deadline();
        std::size_t from = 0;
        while (_read.find(part, from) == std::string::npos) {
            from = _read.size() < part.size() ? 0 : _read.size() - part.size();
            if (!readMore(until)) return false;
        }
        return true;
    }

    /// Takes bytes out of what was read. False when the connection ends before there are so many.
    bool take(std::size_t count, std::string& bytes) {
        const auto until = patience::deadline();
        while (_read.size() < count) {
            if (!readMore(until)) return false;
        }
        bytes = _read.substr(0, count);
        _read.erase(0, count);
        return true;
    }

    /// Takes a line without its end.
    bool takeLine(std::string& line) {
        if (!readUntil("\r\n")) return false;
        line = _read.substr(0, _read.find("\r\n"));
        _read.erase(0, line.size() + 2);
        return true;
    }

    /// Takes everything up to the end of the connection.
    std::string takeRest() {
        const auto until = patience::deadline();
        while (readMore(until)) {
        }
        return std::exchange(_read, "");
    }

    /// An answer's head. Its status is 0 when the connection ended before it.
    Answer readHead() {
        Answer answer;
        std::string line;
        if (!takeLine(line)) return answer;
        if (line.rfind("HTTP/1.1 ", 0) != 0) throw std::runtime_error("no answer: " + line);
        answer.status = std::stoi(line.substr(9));
        answer.phrase = line.substr(std::min<std::size_t>(13, line.size()));
        while (takeLine(line) && !line.empty()) {
            const std::size_t colon = line.find(": ");
            if (colon == std::string::npos) throw std::runtime_error("no header: " + line);
            std::string name = line.substr(0, colon);
            for (char& character : name) character = static_cast<char>(std::tolower(character));
            if (!answer.headers.emplace(name, line.substr(colon + 2)).second) {
                throw std::runtime_error("twice: " + name);
            }
        }
        return answer;
    }

    /// @param bodyToo false for the answer to HEAD.
    Answer readAnswer(bool bodyToo = true) {
        Answer answer = readHead();
        if (!bodyToo || answer.status == 0 || answer.status == 304 || answer.status < 200) return answer;
        if (answer.header("transfer-encoding") == "chunked") {
            answer.body = readChunks();
            return answer;
        }
        if (!answer.has("content-length")) throw std::runtime_error("an answer without Content-Length");
        if (!take(std::stoul(answer.header("content-length")), answer.body)) throw std::runtime_error("body cut short");
        return answer;
    }

    /// The text of all chunks, the last one read as well.
    std::string readChunks() {
        std::string text;
        std::string line;
        std::string chunk;
        while (takeLine(line)) {
            const std::size_t size = std::stoul(line, nullptr, 16);
            if (!take(size + 2, chunk) || chunk.substr(size) != "\r\n") break;
            if (size == 0) return text;
            text += chunk.substr(0, size);
        }
        throw std::runtime_error("chunks cut short");
    }

    Answer ask(const std::string& method, const std::string& target, const Headers& headers = {}) {
        send(requestText(method, target, headers));
        return readAnswer(method != "HEAD");
    }

    /// Whether the other side has closed; waits for it.
    bool isClosed() { return takeRest().empty(); }

private:
    void wait(short events, patience::Clock::time_point until, const char* what) const {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - patience::Clock::now());
        pollfd watched{_socket, events, 0};
        if (left.count() <= 0 || poll(&watched, 1, static_cast<int>(left.count())) == 0) {
            throw patience::Exhausted(std::string(what) + " takes too long; read so far: " + _read.substr(0, 200));
        }
    }

    /// False at the end of the connection, orderly or not.
    bool readMore(patience::Clock::time_point until) {
        char bytes[65536];
        while (!_ended) {
            const ssize_t count = recv(_socket, bytes, sizeof bytes, 0);
            if (count > 0) {
                _read.append(bytes, static_cast<std::size_t>(count));
                return true;
            }
            if (count < 0 && errno == EAGAIN) {
                wait(POLLIN, until, "reading");
            } else {
                _ended = true;
            }
        }
        return false;
    }

    int _socket = -1;
    std::string _read;
    bool _ended = false;
};

/// One request on a connection of its own.
inline Answer ask(unsigned short port, const std::string& method, const std::string& target,
                  const Headers& headers = {}) {
    return Connection(port).ask(method, target, headers);
}

inline Answer get(unsigned short port, const std::string& target, const Headers& headers = {}) {
    return ask(port, "GET", target, headers);
}

/// What a gzip body holds.
inline std::string gunzipped(const std::string& packed) {
    constexpr int kGzip = 16;
    z_stream stream{};
    if (inflateInit2(&stream, 15 + kGzip) != Z_OK) throw std::runtime_error("inflateInit2");
    std::string plain;
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    int result = Z_OK;
    while (result == Z_OK) {
        char piece[65536];
        stream.next_out = reinterpret_cast<Bytef*>(piece);
        stream.avail_out = sizeof piece;
        result = inflate(&stream, Z_NO_FLUSH);
        plain.append(piece, sizeof piece - stream.avail_out);
    }
    inflateEnd(&stream);
    if (result != Z_STREAM_END) throw std::runtime_error("not gzip");
    return plain;
}

}  // namespace pis::service

#endif
