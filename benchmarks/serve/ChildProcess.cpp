#include "ChildProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace {

std::string contentsOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Starts a program whose standard error goes to a file.
pid_t start(const std::vector<std::string>& words, const std::string& log) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const pid_t process = file < 0 ? -1 : fork();
    if (process == 0) {
        dup2(file, STDERR_FILENO);
        execv(arguments.front(), arguments.data());
        _exit(127);
    }
    close(file);
    if (process < 0) throw std::runtime_error(words.front() + " cannot be started");
    return process;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& words, const std::string& log,
                           const std::function<bool(const std::string& said)>& isReady)
    : _log(log) {
    constexpr int kLooks = 500;
    constexpr std::chrono::milliseconds kLook{20};
    _process = start(words, log);
    for (int look = 0; look < kLooks && !hasEnded(); ++look) {
        std::this_thread::sleep_for(kLook);
        if (isReady(said())) return;
    }
    if (!hasEnded()) kill(_process, SIGKILL);
    throw std::runtime_error(words.front() + " does not come up: " + said());
}

ChildProcess::~ChildProcess() {
    if (hasEnded()) return;
    kill(_process, SIGKILL);
    waitpid(_process, nullptr, 0);
}

std::string ChildProcess::said() const {
    return contentsOf(_log);
}

double ChildProcess::residentBytes() const {
    return procValue("statm", 1) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

double ChildProcess::mostResidentBytes() const {
    static const std::string kBefore = "VmHWM:";
    constexpr double kKilobyte = 1024;
    const std::string status = procFile("status");
    const std::size_t found = status.find(kBefore);
    if (found == std::string::npos) throw std::runtime_error("this system does not tell how much memory was used");
    return std::stod(status.substr(found + kBefore.size())) * kKilobyte;
}

void ChildProcess::resetMostResident() const {
    std::ofstream("/proc/" + std::to_string(_process) + "/clear_refs") << "5\n";
}

double ChildProcess::cpuSeconds() const {
    constexpr int kUser = 11;
    constexpr int kSystem = 12;
    return (procValue("stat", kUser) + procValue("stat", kSystem)) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

std::chrono::milliseconds ChildProcess::end() {
    using std::chrono::steady_clock;
    constexpr std::chrono::seconds kPatience{5};
    constexpr std::chrono::milliseconds kShortLook{2};
    const auto asked = steady_clock::now();
    kill(_process, SIGTERM);
    while (!hasEnded()) {
        if (steady_clock::now() - asked > kPatience)
            throw std::runtime_error("a program that was measured does not end");
        std::this_thread::sleep_for(kShortLook);
    }
    if (!WIFEXITED(_status) || WEXITSTATUS(_status) != 0) {
        throw std::runtime_error("a program that was measured ended with status " + std::to_string(_status));
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - asked);
}

bool ChildProcess::hasEnded() {
    if (_process > 0 && waitpid(_process, &_status, WNOHANG) == _process) _process = -1;
    return _process <= 0;
}

std::string ChildProcess::procFile(const char* name) const {
    return contentsOf("/proc/" + std::to_string(_process) + "/" + name);
}

/// A number of a file of /proc, counted from 0, behind the program's name where there is one: it may hold spaces.
double ChildProcess::procValue(const char* file, int place) const {
    const std::string text = procFile(file);
    const std::size_t name = text.rfind(')');
    std::istringstream values(name == std::string::npos ? text : text.substr(name + 1));
    std::string value;
    for (int i = 0; i <= place; ++i) values >> value;
    return std::stod(value);
}
