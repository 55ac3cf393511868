// The service that is measured, as a process of its own: started, watched from outside, ended.
#ifndef BENCHMARKS_SERVE_SERVICEPROCESS_H
#define BENCHMARKS_SERVE_SERVICEPROCESS_H

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

class ServiceProcess {
public:
    /// Starts `pis serve` on a free port of loopback and waits until it listens. To be called while this program has
    /// one thread.
    /// @param log gets what it says.
    /// @throws std::runtime_error where it does not listen within ten seconds.
    ServiceProcess(const std::string& pis, std::vector<std::string> arguments, const std::string& log);
    ~ServiceProcess();

    unsigned short port() const { return _port; }

    /// The body of a 200. @throws std::runtime_error for any other answer.
    std::string get(const std::string& path) const;

    /// A figure of /metrics, by its whole name.
    double metric(const std::string& name) const;

    /// Bytes of memory that are resident; what the kernel holds for its sockets is not among them.
    double residentBytes() const;

    /// Seconds on a processor since it was started, all threads.
    double cpuSeconds() const;

    /// Asks it to end and waits. Returns how long that took. @throws std::runtime_error where it took more
    /// than five seconds or did not end in good order.
    std::chrono::milliseconds end();

    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

private:
    bool hasEnded();
    double procValue(const char* file, int place) const;

    pid_t _process = -1;
    int _status = 0;
    unsigned short _port = 0;
};

#endif
