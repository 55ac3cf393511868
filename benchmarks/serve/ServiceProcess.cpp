#include "ServiceProcess.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "HttpClient.h"

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

/// The port in "listening on http://127.0.0.1:PORT/"; 0 where that has not been said yet.
unsigned short portIn(const std::string& log) {
    static const std::string kBefore = "listening on http://127.0.0.1:";
    const std::size_t found = log.find(kBefore);
    if (found == std::string::npos || log.find('/', found + kBefore.size()) == std::string::npos) return 0;
    return static_cast<unsigned short>(std::stoul(log.substr(found + kBefore.size())));
}

}  // namespace

ServiceProcess::ServiceProcess(const std::string& pis, std::vector<std::string> arguments, const std::string& log) {
    constexpr int kLooks = 500;
    constexpr std::chrono::milliseconds kLook{20};
    arguments.insert(arguments.begin(), {pis, "serve", "--listen", "127.0.0.1:0"});
    _process = start(arguments, log);
    for (int look = 0; look < kLooks && _port == 0 && !hasEnded(); ++look) {
        std::this_thread::sleep_for(kLook);
        _port = portIn(contentsOf(log));
    }
    if (_port != 0) return;
    if (!hasEnded()) kill(_process, SIGKILL);
    throw std::runtime_error("the service does not listen: " + contentsOf(log));
}

ServiceProcess::~ServiceProcess() {
    if (hasEnded()) return;
    kill(_process, SIGKILL);
    waitpid(_process, nullptr, 0);
}

std::string ServiceProcess::get(const std::string& path) const {
    pis::service::Answer answer = pis::service::get(_port, path);
    if (answer.status != 200) throw std::runtime_error(path + " was answered " + std::to_string(answer.status));
    return std::move(answer.body);
}

double ServiceProcess::metric(const std::string& name) const {
    const std::string text = "\n" + get("/metrics");
    const std::size_t found = text.find("\n" + name + " ");
    if (found == std::string::npos) throw std::runtime_error("there is no metric " + name);
    return std::stod(text.substr(found + name.size() + 2));
}

double ServiceProcess::residentBytes() const {
    return procValue("statm", 1) * static_cast<double>(sysconf(_SC_PAGESIZE));
}

double ServiceProcess::cpuSeconds() const {
    constexpr int kUser = 11;
    constexpr int kSystem = 12;
    return (procValue("stat", kUser) + procValue("stat", kSystem)) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

std::chrono::milliseconds ServiceProcess::end() {
    using std::chrono::steady_clock;
    constexpr std::chrono::seconds kPatience{5};
    constexpr std::chrono::milliseconds kShortLook{2};
    const auto asked = steady_clock::now();
    kill(_process, SIGTERM);
    while (!hasEnded()) {
        if (steady_clock::now() - asked > kPatience) throw std::runtime_error("the service does not end");
        std::this_thread::sleep_for(kShortLook);
    }
    if (!WIFEXITED(_status) || WEXITSTATUS(_status) != 0) {
        throw std::runtime_error("the service ended with status " + std::to_string(_status));
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - asked);
}

bool ServiceProcess::hasEnded() {
    if (_process > 0 && waitpid(_process, &_status, WNOHANG) == _process) _process = -1;
    return _process <= 0;
}

/// A number of a file of /proc, counted from 0, behind the program's name where there is one: it may hold spaces.
double ServiceProcess::procValue(const char* file, int place) const {
    const std::string text = contentsOf("/proc/" + std::to_string(_process) + "/" + file);
    const std::size_t name = text.rfind(')');
    std::istringstream values(name == std::string::npos ? text : text.substr(name + 1));
    std::string value;
    for (int i = 0; i <= place; ++i) values >> value;
    return std::stod(value);
}
