// The service that is measured.
#ifndef BENCHMARKS_SERVE_SERVICEPROCESS_H
#define BENCHMARKS_SERVE_SERVICEPROCESS_H

#include <string>
#include <vector>

#include "ChildProcess.h"

class ServiceProcess : public ChildProcess {
public:
    /// Starts `pis serve` on a free port of loopback and waits until it listens.
    /// @param log a file that gets what it says.
    ServiceProcess(const std::string& pis, std::vector<std::string> arguments, const std::string& log);

    unsigned short port() const { return _port; }

    /// The body of a 200. @throws std::runtime_error for any other answer.
    std::string get(const std::string& path) const;

    /// A figure of /metrics, by its whole name.
    double metric(const std::string& name) const;

    /// The revision of the picture that stands.
    std::string revision() const;

private:
    const unsigned short _port;
};

#endif
