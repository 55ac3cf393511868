// Positioning: texts of an outside positioning system come in, numbered pieces of compressed and
// encoded text go out as operations. Touches neither tables nor lock.
#include <zlib.h>

#include <cstring>
#include <map>
#include <stdexcept>
#include <vector>

#include "RequestText.h"
#include "SignallingCodes.h"
#include "SignallingController.h"
#include "hostStrings.h"

using namespace SignallingCodes;
using namespace SignallingControllerPrivate;

namespace {

constexpr std::size_t maxDataLen = 262144;   // bytes: excluded bound of the input, size of the output
constexpr std::size_t maxTokenBytes = 1200;  // base64 characters in a piece

/// The text, its terminating zero byte included, compressed; as far as the first zero byte of the
/// result. Kept: the receiving side counts on it, although it may cut the stream short.
std::vector<unsigned char> compressed(const std::string& text) {
    std::vector<unsigned char> compressedDataBuf(maxDataLen);

    z_stream defstream{};
    defstream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.c_str()));
    defstream.avail_in = static_cast<uInt>(text.size() + 1);
    defstream.next_out = compressedDataBuf.data();
    defstream.avail_out = static_cast<uInt>(compressedDataBuf.size());
    // Kept: none of the three results is looked at; what was written is sent.
    deflateInit_(&defstream, Z_BEST_COMPRESSION, "1.2.3", static_cast<int>(sizeof defstream));
    deflate(&defstream, Z_FINISH);
    deflateEnd(&defstream);

    const void* firstZero = std::memchr(compressedDataBuf.data(), 0, compressedDataBuf.size());
    if (firstZero != nullptr) {
        const auto length = static_cast<const unsigned char*>(firstZero) - compressedDataBuf.data();
        compressedDataBuf.resize(static_cast<std::size_t>(length));
    }
    return compressedDataBuf;
}

}  // namespace

void PassengerInformationServer::activatePositioningProtocol(PositioningProtocol _protocol, int _timeOutSeconds) {
    if (_timeOutSeconds < 30) throw std::out_of_range("expecting minimum timeOutSeconds of 30s");
    if (_protocol != PP_NONE && _protocol != PP_KELT_CBTC) throw std::out_of_range("invalid protocol supplied");

    RequestText opArgs;
    opArgs << static_cast<int>(_protocol) << ',' << _timeOutSeconds;
    queueOperation(ACTIVATE_POSITIONING, opArgs.str());
}

void PassengerInformationServer::processPositioningUpdate(const std::string& _data) {
    if (_data.empty() || _data.size() >= maxDataLen) {
        throw std::out_of_range("expecting data length to be between 1 and 256kb");
    }

    const std::vector<unsigned char> bytes = compressed(_data);
    const std::string _compressedEncodedData = base64_encode(bytes.data(), static_cast<unsigned int>(bytes.size()));

    std::map<int, std::string> _compressedEncodedDataTokens;
    int totalItemsToSend = 0;
    for (std::size_t position = 0; position < _compressedEncodedData.size(); position += maxTokenBytes) {
        _compressedEncodedDataTokens[++totalItemsToSend] = _compressedEncodedData.substr(position, maxTokenBytes);
    }

    RequestText actionArgsOSS;
    actionArgsOSS << "START," << totalItemsToSend;
    queueOperation(POSITIONING_DATA, actionArgsOSS.str());
    for (const auto& [number, piece] : _compressedEncodedDataTokens) {
        actionArgsOSS.str(std::string());
        actionArgsOSS << "DATA," << number << '/' << totalItemsToSend << ',' << piece;
        queueOperation(POSITIONING_DATA, actionArgsOSS.str());
    }
    queueOperation(POSITIONING_DATA, "END");
}
