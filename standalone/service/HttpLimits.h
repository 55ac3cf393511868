// What the service takes from its clients before it looks after itself.
#ifndef PIS_SERVICE_HTTPLIMITS_H
#define PIS_SERVICE_HTTPLIMITS_H

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace pis::service {

/// What a client may ask of the service's patience and memory.
struct HttpLimits {
    std::size_t connections = 20000;
    std::size_t connectionsPerAddress = 64;
    std::size_t refusals = 64;  ///< Connections that hear at a time why there is no room; others are just closed.
    std::size_t ownProbes =
        4;  ///< Connections from this machine beyond all these, for whoever looks after the service.
    std::size_t headerBytes = 8192;
    std::size_t bodyBytes = 16384;
    std::chrono::seconds request{10};   ///< For a whole request, from its first byte or the connection on.
    std::chrono::seconds ownProbe{2};   ///< For a request on one of those.
    std::chrono::seconds idle{60};      ///< Between two requests.
    std::chrono::seconds progress{30};  ///< For a reader to take anything at all.
    std::uint64_t lowestRate = 1024;    ///< Bytes a second that a reader has to take, over
    std::chrono::seconds rateOver{60};  ///< this time, as long as there is something to take.
    std::chrono::seconds hearOut{2};    ///< For a client to take a last answer in and to say what it still says.
    std::chrono::seconds lastWords{1};  ///< For everybody together, when the service ends.
    std::chrono::seconds comment{15};   ///< Between comments in a stream.
    std::chrono::seconds tick{5};       ///< Between revision events in a stream where nothing changes.
    int sendBufferBytes = 65536;        ///< Of a stream's socket: what a reader that stands still holds.
    std::uint64_t bytesInFlight = std::uint64_t{256} << 20;  ///< Of texts for clients, each counted once.
};

}  // namespace pis::service

#endif
