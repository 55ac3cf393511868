// What readers of changes are to hold, and one that goes by what it is sent.
#ifndef TESTS_SERVICE_WIREREADER_H
#define TESTS_SERVICE_WIREREADER_H

#include <memory>
#include <sstream>
#include <string>

#include "JsonValues.h"
#include "StationModel.h"
#include "service/ChangeStream.h"
#include "service/Chunks.h"

namespace pis::service {

/// What a filter takes.
inline Rows wanted(const picture::Picture& picture, const ChangeFilter& filter) {
    Rows rows;
    simdjson::dom::parser parser;
    const picture::StationModel stations(picture);
    for (const records::Table table : records::kEveryTable) {
        if (!filter.includes(table)) continue;
        for (const auto& row : picture.rowsOf(table)) {
            if (filter.isOfStation() && stations.of(table, row->id).count(filter.stationId) == 0) continue;
            setRow(rows, parser.parse(row->json).value());
        }
    }
    return rows;
}

/// A reader over the wire: what it holds is made of events alone, and a break costs it what it had not read whole.
class WireReader {
public:
    explicit WireReader(const ChangeFilter& wanted) : filter(wanted), _reader(wanted, std::nullopt) {}

    /// Begins anew with what it knows, as after a break.
    void reconnect(const RevisionTokens& tokens) {
        _text.clear();
        _reader = ChangeStream::Reader(filter, tokens.read(_id).revision);
    }

    /// Reads a piece. True where it knows the picture.
    bool read(ChangeStream& stream, const std::shared_ptr<const picture::Picture>& picture) {
        const ChangeStream::Piece piece = stream.next(_reader, picture);
        if (piece.state == ChangeStream::Piece::LEFT_BEHIND) {
            ++leftBehind;
            _text.clear();
            _id.clear();
            _reader = ChangeStream::Reader(filter, std::nullopt);
            return false;
        }
        if (piece.state == ChangeStream::Piece::WAIT) return false;
        _text += textIn(*piece.chunk);
        for (std::size_t end = 0; (end = _text.find("\n\n")) != std::string::npos; _text.erase(0, end + 2)) {
            hear(_text.substr(0, end));
        }
        return piece.state == ChangeStream::Piece::LATEST;
    }

    const Rows& rows() const { return _rows; }

    const ChangeFilter filter;
    int resets = 0;
    int leftBehind = 0;

private:
    void hear(const std::string& event) {
        if (event[0] == ':') return;
        std::istringstream lines(event);
        std::string kind;
        std::string data;
        for (std::string line; std::getline(lines, line);) {
            if (line.rfind("event: ", 0) == 0) kind = line.substr(7);
            if (line.rfind("id: ", 0) == 0) _id = line.substr(4);
            if (line.rfind("data: ", 0) == 0) data = line.substr(6);
        }
        if (kind == "revision") return;
        const simdjson::dom::element value = _parser.parse(data).value();
        if (kind == "reset") {
            ++resets;
            _rows.clear();
            for (const auto& table : value["tables"].get_object()) {
                for (const simdjson::dom::element row : table.value.get_array()) setRow(_rows, row);
            }
        } else if (kind == "update") {
            setRow(_rows, value);
        } else {
            const std::string table(value["table"].get_string().value());
            _rows[table].erase(static_cast<long>(value["id"].get_int64().value()));
        }
    }

    ChangeStream::Reader _reader;
    simdjson::dom::parser _parser;
    std::string _text;
    std::string _id;
    Rows _rows;
};

}  // namespace pis::service

#endif
