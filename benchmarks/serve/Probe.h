// Whether the service still answers: asks /healthz at a steady pace, over a connection that it keeps and over one that
// it makes anew each time.
#ifndef BENCHMARKS_SERVE_PROBE_H
#define BENCHMARKS_SERVE_PROBE_H

#include <stdexcept>
#include <string>

#include "HttpClient.h"
#include "Latencies.h"
#include "Pacer.h"

/// [Threading] Asks on two threads of its own.
class Probe {
public:
    explicit Probe(unsigned short port)
        : _port(port),
          _connection(port),
          _askKept(kPerSecond, [this](Clock::time_point due) { ask(_connection, due, kept); }),
          _askAnew(kPerSecond, [this](Clock::time_point due) {
              pis::service::Connection connection(_port);
              ask(connection, due, anew);
          }) {}

    /// @throws std::runtime_error where a question was not answered as it should be.
    void stop() {
        _askKept.stop();
        _askAnew.stop();
    }

    // Times from when a question was due, so that one long wait counts for all questions that fell into it. To be read
    // when it has stopped.
    Latencies kept;
    Latencies anew;

private:
    static constexpr double kPerSecond = 50;

    static void ask(pis::service::Connection& connection, Clock::time_point due, Latencies& latencies) {
        const int status = connection.ask("GET", "/healthz").status;
        if (status != 200) throw std::runtime_error("/healthz was answered " + std::to_string(status));
        latencies.add(Clock::now() - due);
    }

    const unsigned short _port;
    pis::service::Connection _connection;
    Pacer _askKept;
    Pacer _askAnew;
};

#endif
