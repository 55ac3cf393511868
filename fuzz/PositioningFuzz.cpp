// In goes the text of a positioning update; R and N in front make a long one, as long as the next byte
// says, of the rest repeated or of noise. The length rule must hold; the pieces put together and decoded
// must be the compressed text up to its first zero byte and inflate to a beginning of the text.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <random>
#include <set>
#include <stdexcept>

#include "FakeHost.h"
#include "FuzzCheck.h"

namespace {

constexpr std::size_t kBound = 262144;  // an update is shorter; what is kept of a stream is not longer
constexpr std::size_t kPiece = 1200;

/// Some 30 bytes below to some 30 above the bound.
std::size_t lengthNearBound(unsigned char byte) {
    return kBound - 32 + byte % 64U;
}

std::string repeated(const std::string& text, std::size_t length) {
    std::string all;
    while (all.size() < length) all += text;
    return all.substr(0, length);
}

std::string noise(const std::string& seed, std::size_t length) {
    std::seed_seq sequence(seed.begin(), seed.end());
    std::mt19937 random(sequence);
    std::string all(length, ' ');
    for (char& character : all) character = static_cast<char>(random() & 0xffU);
    return all;
}

/// Long texts take a hundred times as long as others: of each length and kind one is enough.
bool isFirstOfItsKind(const std::string& input) {
    static std::set<std::string> tried;
    const auto length = lengthNearBound(static_cast<unsigned char>(input[1]));
    return tried.insert(input[0] + std::to_string(length)).second;
}

std::string updateFrom(const std::string& input) {
    if (input.size() < 3 || (input[0] != 'R' && input[0] != 'N') || !isFirstOfItsKind(input)) return input;
    const std::size_t length = lengthNearBound(static_cast<unsigned char>(input[1]));
    return input[0] == 'R' ? repeated(input.substr(2), length) : noise(input.substr(2), length);
}

/// The text and its zero byte compressed in one go; what a buffer of that size keeps, up to a zero.
std::string expectedBytes(const std::string& text) {
    std::string stream(compressBound(static_cast<uLong>(text.size() + 1)), '\0');
    uLongf length = static_cast<uLongf>(stream.size());
    const int code = compress2(reinterpret_cast<Bytef*>(&stream[0]), &length,
                               reinterpret_cast<const Bytef*>(text.c_str()), static_cast<uLong>(text.size() + 1), 9);
    require(code == Z_OK, "the check itself cannot compress");
    stream.resize(std::min<std::size_t>(length, kBound));
    return stream.substr(0, stream.find('\0'));
}

std::string inflated(const std::string& bytes, std::size_t length) {
    std::string text(length, '\0');
    z_stream stream{};
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(&text[0]);
    stream.avail_out = static_cast<uInt>(length);
    require(inflateInit(&stream) == Z_OK, "the check itself cannot inflate");
    const int code = inflate(&stream, Z_SYNC_FLUSH);
    text.resize(stream.total_out);
    inflateEnd(&stream);
    require(code == Z_OK || code == Z_STREAM_END || code == Z_BUF_ERROR, "what goes out is no compressed text");
    return text;
}

std::string decoded(const std::string& text) {
    constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    require(text.size() % 4 == 0, "the pieces are not whole groups of four");
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 4) {
        std::uint32_t bits = 0;
        for (std::size_t k = i; k < i + 4; ++k) {
            const std::size_t value = text[k] == '=' ? 0 : kAlphabet.find(text[k]);
            require(value < 64, "a character that base64 has not");
            bits = bits << 6 | static_cast<std::uint32_t>(value);
        }
        for (const int shift : {16, 8, 0}) bytes += static_cast<char>(bits >> shift & 0xffU);
    }
    const std::size_t end = text.find_last_not_of('=');
    bytes.resize(bytes.size() - (text.empty() ? 0 : text.size() - 1 - end));
    return bytes;
}

/// The pieces of a transcript that must hold one whole update and nothing else, put together.
std::string piecesOf(const std::string& transcript) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < transcript.size();) {
        const std::size_t end = transcript.find('\n', begin);
        lines.push_back(transcript.substr(begin, end - begin));
        begin = end + 1;
    }
    require(lines.size() >= 2, "no start or no end: " + transcript);
    const std::size_t count = lines.size() - 2;
    requireEqual(lines.front(), "operation 72 START," + std::to_string(count), "the start");
    requireEqual(lines.back(), std::string("operation 72 END"), "the end");

    std::string text;
    for (std::size_t number = 1; number <= count; ++number) {
        const std::string head = "operation 72 DATA," + std::to_string(number) + "/" + std::to_string(count) + ",";
        const std::string& line = lines[number];
        requireEqual(line.substr(0, head.size()), head, "a piece");
        const std::size_t length = line.size() - head.size();
        require(number < count ? length == kPiece : length > 0 && length <= kPiece, "the length of piece " + line);
        text += line.substr(head.size());
    }
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    GTEST_FLAG_SET(throw_on_failure, true);  // so that what the fake host finds ends the program, too
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = updateFrom(textOf(data, size));
    FakeHost host;
    bool rejected = false;
    try {
        gPassengerInformationServer.processPositioningUpdate(text);
    } catch (const std::out_of_range& fault) {
        rejected = true;
        requireEqual(std::string(fault.what()), std::string("expecting data length to be between 1 and 256kb"),
                     "the fault of a length of " + std::to_string(text.size()));
        requireEqual(host.transcript(), std::string(), "what a rejected update sends");
    }
    require(rejected == (text.empty() || text.size() >= kBound), "the length rule at " + std::to_string(text.size()));
    if (rejected) return 0;

    const std::string bytes = decoded(piecesOf(host.transcript()));
    requireEqual(bytes, expectedBytes(text), "the bytes that go out");
    const std::string beginning = inflated(bytes, text.size() + 1);
    require((text + '\0').compare(0, beginning.size(), beginning) == 0, "what goes out inflates to something else");
    return 0;
}
