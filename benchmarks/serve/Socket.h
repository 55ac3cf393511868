// TCP on loopback.
#ifndef BENCHMARKS_SERVE_SOCKET_H
#define BENCHMARKS_SERVE_SOCKET_H

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

using boost::asio::ip::tcp;

/// Sockets must belong to one; every call on them is synchronous, so nobody runs it.
inline boost::asio::io_context& ioContext() {
    static boost::asio::io_context context;
    return context;
}

/// @param receiveBuffer bytes that the kernel is to hold for a slow reader; 0 leaves that to the kernel.
inline tcp::socket connectedTo(unsigned short port, int receiveBuffer = 0) {
    tcp::socket socket(ioContext(), tcp::v4());
    if (receiveBuffer > 0) socket.set_option(tcp::socket::receive_buffer_size(receiveBuffer));
    socket.connect({boost::asio::ip::address_v4::loopback(), port});
    return socket;
}

#endif
