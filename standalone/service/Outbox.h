// Texts on their way into one socket, in their order.
#ifndef PIS_SERVICE_OUTBOX_H
#define PIS_SERVICE_OUTBOX_H

#include <boost/asio/ip/tcp.hpp>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "service/TextAccount.h"

namespace pis::service {

class Outbox {
public:
    /// @param text stands in what the owner holds.
    void add(SharedText owner, std::string_view text) {
        if (!text.empty()) _texts.push_back({std::move(owner), text});
    }
    void add(SharedText text) {
        const std::string_view whole = *text;
        add(std::move(text), whole);
    }

    bool empty() const { return _texts.empty(); }
    std::size_t texts() const { return _texts.size(); }

    /// Writes what a socket takes without waiting, in one go.
    /// @return false where it takes no more for now, or failed as `error` says.
    bool write(boost::asio::ip::tcp::socket& socket, boost::system::error_code& error);

    /// Bytes that a socket was given so far.
    std::uint64_t written() const { return _written; }

private:
    struct Text {
        SharedText owner;
        std::string_view left;
    };

    std::vector<Text> _texts;
    std::uint64_t _written = 0;
};

}  // namespace pis::service

#endif
