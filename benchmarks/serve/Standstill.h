// Readers that ask for the changes and never take any: opened, and watched from a thread of their own until
// the service has closed them.
#ifndef BENCHMARKS_SERVE_STANDSTILL_H
#define BENCHMARKS_SERVE_STANDSTILL_H

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "Crowd.h"
#include "Latencies.h"
#include "ServiceProcess.h"
#include "Socket.h"

class Standstill {
public:
    static constexpr int kReceiveBuffer = 4096;  ///< Bytes.

    /// Opens the readers and begins to watch.
    Standstill(const ServiceProcess& service, std::size_t count) : _service(service), _count(count) {
        for (std::size_t i = 0; i < count; ++i) {
            _sockets.push_back(Socket::connectedTo(service.port(), kReceiveBuffer));
            _sockets.back().send(changesRequest());
        }
        _thread = std::thread([this] { watch(); });
    }
    ~Standstill() {
        _stopping = true;
        _thread.join();
    }

    /// Whether the service has closed them all, by its own count: they themselves take nothing and
    /// therefore cannot see it.
    bool allClosed() const { return _allClosed; }

    // What was seen, once all are closed.
    double secondsUntilClosed() const { return _seconds; }
    double mostResidentBytes() const { return _mostResident; }

    Standstill(const Standstill&) = delete;
    Standstill& operator=(const Standstill&) = delete;

private:
    void watch() {
        constexpr std::chrono::milliseconds kLook{250};
        while (!_stopping && !_allClosed) {
            std::this_thread::sleep_for(kLook);
            _mostResident = std::max(_mostResident, _service.residentBytes());
            try {
                const double closed = _service.metric("pis_changes_stood_still_total");
                _seconds = std::chrono::duration<double>(Clock::now() - _opened).count();
                _allClosed = closed >= static_cast<double>(_count);
            } catch (const std::exception&) {
                return;  // the service is gone: never all closed, as the measurement will find
            }
        }
    }

    const ServiceProcess& _service;
    const std::size_t _count;
    const Clock::time_point _opened = Clock::now();
    std::vector<Socket> _sockets;
    std::atomic<bool> _stopping{false};
    std::atomic<bool> _allClosed{false};
    double _seconds = 0;
    double _mostResident = 0;
    std::thread _thread;
};

#endif
