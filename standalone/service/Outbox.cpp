#include "service/Outbox.h"

#include <algorithm>
#include <array>
#include <boost/asio/buffer.hpp>

namespace pis::service {

namespace asio = boost::asio;

bool Outbox::write(asio::ip::tcp::socket& socket, boost::system::error_code& error) {
    constexpr std::size_t kAtOnce = 8;
    std::size_t written = 0;
    error = {};
    if (_texts.size() == 1) {
        written = socket.write_some(asio::buffer(_texts.front().left), error);
    } else {
        std::array<asio::const_buffer, kAtOnce> buffers;
        for (std::size_t i = 0; i < std::min(kAtOnce, _texts.size()); ++i) buffers[i] = asio::buffer(_texts[i].left);
        written = socket.write_some(buffers, error);
    }
    if (error == asio::error::would_block || error == asio::error::try_again) error = {};
    _written += written;
    auto text = _texts.begin();
    while (text != _texts.end() && written >= text->left.size()) written -= (text++)->left.size();
    if (text != _texts.end()) text->left.remove_prefix(written);
    _texts.erase(_texts.begin(), text);
    return _texts.empty();
}

}  // namespace pis::service
