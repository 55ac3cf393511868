#include "simulator/Positioning.h"

#include <zlib.h>

#include <boost/archive/iterators/binary_from_base64.hpp>
#include <boost/archive/iterators/transform_width.hpp>
#include <memory>
#include <optional>

#include "base/Numbers.h"
#include "base/Text.h"

namespace pis::simulator {

namespace {

constexpr std::size_t kLongestText = 262'144;  // bytes, the terminating zero included
constexpr std::size_t kLongestPiece = 1200;    // base64 characters
constexpr std::size_t kMostPieces = 300;       // more than text of that length can need

/// The bytes of padded base64; nothing when it is none. With Boost's headers, since a build for 32 bits has no OpenSSL.
std::optional<std::string> decoded(std::string_view encoded) {
    using namespace boost::archive::iterators;
    using Bytes = transform_width<binary_from_base64<const char*>, 8, 6>;
    if (encoded.size() % 4 != 0) return std::nullopt;
    for (int padding = 0; padding < 2 && !encoded.empty() && encoded.back() == '='; ++padding) encoded.remove_suffix(1);
    if (encoded.find('=') != std::string_view::npos) return std::nullopt;  // which Boost reads as zero bits
    std::string bytes;
    try {
        Bytes next(encoded.data());
        for (std::size_t left = encoded.size() * 6 / 8; left > 0; --left) bytes += static_cast<char>(*next++);
    } catch (const dataflow_exception&) {
        return std::nullopt;
    }
    return bytes;
}

std::string pieces(std::size_t number) {
    return base::counted(number, "piece");
}

}  // namespace

PositioningReassembly::Result PositioningReassembly::accept(const std::string& text) {
    if (const auto count = base::behind("START,", text)) return start(*count);
    if (const auto piece = base::behind("DATA,", text)) return data(*piece);
    if (text == "END") return end();
    return {false, "neither START,COUNT nor DATA,NUMBER/COUNT,TEXT nor END"};
}

PositioningReassembly::Result PositioningReassembly::start(std::string_view count) {
    const std::optional<std::size_t> expected = base::numberIn<std::size_t>(count);
    if (!expected || *expected > kMostPieces) {
        return {false, "START needs a number of pieces from 0 to " + std::to_string(kMostPieces)};
    }
    const std::string lost =
        _begun ? ", the one before is given up after " + std::to_string(_pieces.size()) + " of " + pieces(_expected)
               : "";
    _begun = true;
    _expected = *expected;
    _pieces.clear();
    return {true, "positioning update of " + pieces(_expected) + " begins" + lost};
}

PositioningReassembly::Result PositioningReassembly::data(std::string_view piece) {
    if (!_begun) return {false, "a piece without START"};
    const std::size_t comma = piece.find(',');
    const std::size_t slash = piece.find('/');
    if (comma == std::string_view::npos || slash == std::string_view::npos || slash > comma) {
        return {false, "DATA needs NUMBER/COUNT,TEXT"};
    }
    const std::optional<std::size_t> number = base::numberIn<std::size_t>(piece.substr(0, slash));
    const std::optional<std::size_t> count = base::numberIn<std::size_t>(piece.substr(slash + 1, comma - slash - 1));
    if (!number || !count || *number == 0) return {false, "DATA needs NUMBER/COUNT,TEXT"};
    if (*count != _expected) return {false, "a piece of " + pieces(*count) + ", START said " + pieces(_expected)};
    if (*number > _expected) return {false, "piece " + std::to_string(*number) + " of " + pieces(_expected)};
    if (*number <= _pieces.size()) return {false, "piece " + std::to_string(*number) + " came already"};
    if (*number > _pieces.size() + 1) {
        return {false, "piece " + std::to_string(*number) + " came before piece " + std::to_string(_pieces.size() + 1)};
    }
    if (piece.size() - comma - 1 > kLongestPiece) {
        return {false, "piece " + std::to_string(*number) + " is longer than " + std::to_string(kLongestPiece) +
                           " characters"};
    }
    _pieces.emplace_back(piece.substr(comma + 1));
    return {true, "piece " + std::to_string(*number) + " of " + std::to_string(_expected)};
}

PositioningReassembly::Result PositioningReassembly::end() {
    if (!_begun) return {false, "END without START"};
    _begun = false;
    if (_pieces.size() < _expected) {
        return {false, "END after " + std::to_string(_pieces.size()) + " of " + pieces(_expected) +
                           ": the update is given up"};
    }
    std::string encoded;
    for (const std::string& piece : _pieces) encoded += piece;
    const PositioningText update = inflated(encoded);
    const std::string what = "positioning update of " + std::to_string(update.text.size()) + " bytes, ";
    if (!update.damaged.empty()) return {false, what + update.damaged};
    return {true, what + (update.whole ? "whole" : "cut short on the wire")};
}

PositioningText inflated(const std::string& encoded) {
    const std::optional<std::string> bytes = decoded(encoded);
    if (!bytes) return {"", false, "not base64"};

    std::string text(kLongestText, '\0');
    z_stream stream{};
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes->data()));
    stream.avail_in = static_cast<uInt>(bytes->size());
    stream.next_out = reinterpret_cast<Bytef*>(text.data());
    stream.avail_out = static_cast<uInt>(text.size());
    if (inflateInit(&stream) != Z_OK) throw std::bad_alloc();
    const std::unique_ptr<z_stream, decltype(&inflateEnd)> ended(&stream, inflateEnd);
    const int status = inflate(&stream, Z_FINISH);
    text.resize(text.size() - stream.avail_out);

    PositioningText result{text, status == Z_STREAM_END, ""};
    if (status == Z_DATA_ERROR || status == Z_NEED_DICT) result.damaged = "damaged there";
    if (status == Z_BUF_ERROR && stream.avail_out == 0) result.damaged = "longer than a positioning update may be";
    if (status == Z_STREAM_END && stream.avail_in > 0) result.damaged = "with something behind its end";
    // The sender compresses the zero byte at the end of its text with it; a stream that lacks its checksum alone
    // has it, too.
    if (!result.text.empty() && result.text.back() == '\0') result.text.pop_back();
    return result;
}

}  // namespace pis::simulator
