// The signalling side's end of the link: whatever is to be sent goes to the service that has connected.
#ifndef BENCHMARKS_SERVE_SIGNALLINGLINK_H
#define BENCHMARKS_SERVE_SIGNALLINGLINK_H

#include <fcntl.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/write.hpp>
#include <mutex>
#include <string>

#include "Socket.h"

/// [Threading] Any thread may send.
class SignallingLink {
public:
    SignallingLink() {
        fcntl(_listener.native_handle(), F_SETFD, FD_CLOEXEC);  // the service is not to have it
    }

    unsigned short port() const { return _listener.local_endpoint().port(); }

    /// Waits for the service.
    void accept() {
        _service = _listener.accept();
        _service.set_option(tcp::no_delay(true));
    }

    /// @throws std::runtime_error where the service has gone.
    void send(const std::string& lines) {
        const std::lock_guard<std::mutex> guard(_mutex);
        boost::asio::write(_service, boost::asio::buffer(lines));
    }

private:
    tcp::acceptor _listener{ioContext(), {boost::asio::ip::address_v4::loopback(), 0}};
    std::mutex _mutex;
    tcp::socket _service{ioContext()};
};

#endif
