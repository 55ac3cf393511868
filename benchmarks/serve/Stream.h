// A connection that asks once and reads what comes, as cheap as can be: what thousands of them cost the load program is
// not to be measured. Its socket is in no list but the loop's.
#ifndef BENCHMARKS_SERVE_STREAM_H
#define BENCHMARKS_SERVE_STREAM_H

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "EventLoop.h"
#include "Latencies.h"

/// Where a connection goes and how it is made.
struct Way {
    unsigned short port = 0;
    std::size_t from = 0;   ///< Number of an address of loopback to come from; 0 for 127.0.0.1.
    int receiveBuffer = 0;  ///< Bytes that the kernel is to hold; 0 leaves that to the kernel.
};

/// GET with what a browser sends besides. @param headers lines, each with its end.
std::string requestFor(const std::string& path, const std::string& headers = {});

/// The headers of a reader who comes back.
std::string knowing(const std::string& revision);

class Stream : public Watched {
public:
    /// Connects and asks. @throws std::runtime_error where there is no connection.
    Stream(EventLoop& loop, const Way& way, const std::string& request);
    ~Stream() override;

    bool isOpen() const { return _socket >= 0; }
    std::size_t bytes() const { return _bytes; }

    /// An answer other than 200 ends the connection.
    void readable() override;

protected:
    /// Something has come, the answer's head and what frames it among it.
    virtual void received(std::string_view bytes) = 0;

    /// How many of the next bytes nobody needs to see: they are taken from the kernel and not copied.
    virtual std::size_t toBePassedOver() const { return 0; }

    /// From now on the kernel notes when bytes come in, however long it takes until they are read.
    void noteArrivals();

    /// When the latest of what was received had come in, by the clock of the run.
    Clock::time_point arrivedAt() const { return _arrivedAt; }

    void closeSocket();
    void send(std::string_view text);

private:
    bool readOnce();
    ssize_t receiveInto(char* buffer, std::size_t size);
    void refused(std::string_view answer);

    int _socket;
    std::size_t _bytes = 0;
    bool _notesArrivals = false;
    Clock::time_point _arrivedAt;
};

/// Connected and blocking. @throws std::runtime_error
int connectedSocket(const Way& way);

#endif
