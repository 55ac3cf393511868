// nginx with nchan, as yardstick: what a server that does nothing but hand messages on takes for the same events.
#ifndef BENCHMARKS_SERVE_NGINX_H
#define BENCHMARKS_SERVE_NGINX_H

#include <memory>
#include <string>

#include "ChildProcess.h"
#include "HttpClient.h"

/// One worker; readers ask for kReaders, whatever is published reaches them all.
class Nginx {
public:
    static constexpr const char* kReaders = "/readers";

    /// @param folder for its files.
    explicit Nginx(const std::string& folder);

    unsigned short port() const { return _port; }
    ChildProcess& process() { return *_process; }

    /// Hands a text on to every reader. [Threading] For one thread. @throws std::runtime_error where it is not taken.
    void publish(const std::string& text);

private:
    const unsigned short _port;
    std::unique_ptr<ChildProcess> _process;
    std::unique_ptr<pis::service::Connection> _publisher;
};

#endif
