// A program that is measured, as a process of its own: started, watched from outside, ended.
#ifndef BENCHMARKS_SERVE_CHILDPROCESS_H
#define BENCHMARKS_SERVE_CHILDPROCESS_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

class ChildProcess {
public:
    /// Starts it and waits until it is ready. To be called while this program has one thread.
    /// @param words program and arguments.
    /// @param log a file that gets what it says.
    /// @param isReady is handed what it has said so far.
    /// @throws std::runtime_error where it is not ready within ten seconds.
    ChildProcess(const std::vector<std::string>& words, const std::string& log,
                 const std::function<bool(const std::string& said)>& isReady);
    ~ChildProcess();

    /// What it has said so far.
    std::string said() const;

    /// Bytes of memory that are resident; what the kernel holds for its sockets is not among them.
    double residentBytes() const;

    /// The most that were, since the start or since the last reset.
    double mostResidentBytes() const;
    void resetMostResident() const;

    /// Seconds on a processor since it was started, all threads, but not its children.
    double cpuSeconds() const;

    /// Asks it to end and waits. Returns how long that took. @throws std::runtime_error where it took more
    /// than five seconds or did not end in good order.
    std::chrono::milliseconds end();

    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

private:
    bool hasEnded();
    std::string procFile(const char* name) const;
    double procValue(const char* file, int place) const;

    const std::string _log;
    pid_t _process = -1;
    int _status = 0;
};

#endif
