// A reader of the stream of changes: events come in, and the tables that they make stand here.
#ifndef TESTS_SERVICE_EVENTSTREAM_H
#define TESTS_SERVICE_EVENTSTREAM_H

#include <string>

#include "HttpClient.h"
#include "JsonValues.h"

namespace pis::service {

struct Event {
    std::string kind;  ///< "reset", "update", "remove" or "revision"; "comment"; "end" of the stream; "cut" off.
    std::string id;
    std::string data;
};

class EventStream {
public:
    explicit EventStream(unsigned short port, const std::string& parameters = "", const std::string& lastEventId = "",
                         int receiveBuffer = 0)
        : _connection(port, receiveBuffer) {
        Headers headers{{"Accept", "text/event-stream"}};
        if (!lastEventId.empty()) headers.emplace_back("Last-Event-ID", lastEventId);
        _connection.send(requestText("GET", "/api/v1/changes" + parameters, headers));
    }

    /// The head of the answer; read with the first event if nobody asked before.
    const Answer& head() {
        if (_head.status == 0) _head = _connection.readHead();
        return _head;
    }

    /// The next event; tables follow it.
    Event next() {
        head();
        std::size_t end = 0;
        while ((end = _text.find("\n\n")) == std::string::npos) {
            const std::string how = readChunk();
            if (!how.empty()) return {how, "", ""};
        }
        const Event event = eventOf(_text.substr(0, end));
        _text.erase(0, end + 2);
        apply(event);
        return event;
    }

    /// Reads on to the end of a batch, which is a `revision` event. @return its data.
    Event nextRevision() {
        while (true) {
            const Event event = next();
            if (event.kind == "revision") return event;
            if (event.kind == "end" || event.kind == "cut")
                throw std::runtime_error("the stream is over: " + event.kind);
        }
    }

    /// Reads on until a row stands in a table.
    void awaitRow(const std::string& table, long id) {
        const auto until = patience::deadline();
        while (_rows[table].count(id) == 0) {
            if (patience::Clock::now() >= until) throw patience::Exhausted("no row " + std::to_string(id));
            nextRevision();
        }
    }

    const Rows& rows() const { return _rows; }

    /// Goes on from what an earlier reader had.
    void follow(Rows rows) { _rows = std::move(rows); }

    int resets() const { return _resets; }
    Connection& connection() { return _connection; }

private:
    /// Adds a chunk's text. Empty, or how the stream ended.
    std::string readChunk() {
        std::string line;
        std::string chunk;
        if (!_connection.takeLine(line)) return "cut";
        const std::size_t size = std::stoul(line, nullptr, 16);
        if (!_connection.take(size + 2, chunk) || chunk.substr(size) != "\r\n") return "cut";
        if (size == 0) return "end";
        _text += chunk.substr(0, size);
        return "";
    }

    static Event eventOf(const std::string& text) {
        Event event;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            if (line.rfind("event: ", 0) == 0) {
                event.kind = line.substr(7);
            } else if (line.rfind("id: ", 0) == 0) {
                event.id = line.substr(4);
            } else if (line.rfind("data: ", 0) == 0) {
                event.data += line.substr(6);
            } else if (line.rfind(':', 0) == 0) {
                event.kind = "comment";
            } else {
                throw std::runtime_error("no line of an event: " + line);
            }
        }
        return event;
    }

    void apply(const Event& event) {
        if (event.kind == "comment") return;
        simdjson::dom::parser parser;
        const simdjson::dom::element data = parser.parse(event.data).value();
        if (event.kind == "reset") {
            ++_resets;
            _rows.clear();
            for (const auto& table : data["tables"].get_object()) {
                for (const simdjson::dom::element row : table.value.get_array()) setRow(_rows, row);
            }
        } else if (event.kind == "update") {
            setRow(_rows, data);
        } else if (event.kind == "remove") {
            _rows[std::string(data["table"].get_string().value())].erase(
                static_cast<long>(data["id"].get_int64().value()));
        }
    }

    Connection _connection;
    Answer _head;
    std::string _text;
    Rows _rows;
    int _resets = 0;
};

}  // namespace pis::service

#endif
