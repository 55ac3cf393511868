// The program pis as a process of its own: options go in, lines through its standard input, signals; what it
// says comes out. Nothing is left running when a test ends.
#ifndef TESTS_SERVICE_PROGRAM_H
#define TESTS_SERVICE_PROGRAM_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "FeedFiles.h"
#include "Patience.h"

namespace pis::service {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kUnderSanitizer = true;
#elif defined(__has_feature)
constexpr bool kUnderSanitizer = __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool kUnderSanitizer = false;
#endif

class Program {
public:
    /// Starts `pis ARGUMENTS`.
    /// @param mostFiles that it may have open; 0 for as many as this process.
    explicit Program(const std::vector<std::string>& arguments, rlim_t mostFiles = 0) {
        std::signal(SIGPIPE, SIG_IGN);
        int input[2];
        if (pipe2(input, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        _input = input[1];
        const std::string outPath = _folder.path("out");
        const std::string errPath = _folder.path("err");
        std::vector<char*> words{const_cast<char*>("pis")};
        for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
        words.push_back(nullptr);
        const pid_t parent = getpid();
        _pid = fork();
        if (_pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            const int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            const int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
            const rlimit files{mostFiles, mostFiles};
            if (mostFiles != 0 && setrlimit(RLIMIT_NOFILE, &files) != 0) _exit(124);
            if (getppid() != parent || out < 0 || err < 0) _exit(125);
            dup2(input[0], STDIN_FILENO);
            dup2(out, STDOUT_FILENO);
            dup2(err, STDERR_FILENO);
            std::signal(SIGPIPE, SIG_DFL);
            execv(PIS_PROGRAM, words.data());
            _exit(126);
        }
        close(input[0]);
        if (_pid < 0) throw std::runtime_error("no process");
    }

    /// Ends it as an operator does, so that leak checks and coverage see what it was.
    ~Program() {
        endInput();
        try {
            if (isRunning()) signal(SIGTERM);
            status();
        } catch (const std::exception& fault) {
            ADD_FAILURE() << fault.what() << ": " << err();
            kill(_pid, SIGKILL);
            waitpid(_pid, nullptr, 0);
        }
        const std::string said = err();
        if (said.find("Sanitizer") != std::string::npos || said.find("runtime error:") != std::string::npos) {
            ADD_FAILURE() << "a sanitizer found something in the program: " << said;
        }
    }

    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Writes to the standard input, all of it.
    void feed(const std::string& text) {
        const auto until = patience::deadline();
        fcntl(_input, F_SETFL, O_NONBLOCK);
        for (std::size_t sent = 0; sent < text.size();) {
            const ssize_t count = write(_input, text.data() + sent, text.size() - sent);
            if (count > 0) sent += static_cast<std::size_t>(count);
            if (count >= 0) continue;
            if (errno != EAGAIN) throw std::runtime_error("the program takes no input any more");
            if (patience::Clock::now() >= until) throw patience::Exhausted("the program does not read its input");
            pollfd writable{_input, POLLOUT, 0};
            poll(&writable, 1, 100);
        }
    }

    void endInput() {
        if (_input >= 0) close(_input);
        _input = -1;
    }

    pid_t pid() const { return _pid; }
    void signal(int number) {
        kill(_pid, number);
        _toldToEnd = _toldToEnd || number == SIGTERM || number == SIGINT;
    }

    /// Whether it has been told to end: told again, it would end at once.
    bool isToldToEnd() const { return _toldToEnd; }

    std::string out() const { return _folder.read("out"); }
    std::string err() const { return _folder.read("err"); }

    bool isRunning() {
        if (!_ended && waitpid(_pid, &_status, WNOHANG) == _pid) _ended = true;
        return !_ended;
    }

    /// Waits for its end. @return the exit status, 128 and the signal's number where one ended it.
    int status() {
        patience::await("the program's end", [this] { return !isRunning(); });
        return WIFSIGNALED(_status) ? 128 + WTERMSIG(_status) : WEXITSTATUS(_status);
    }

    /// Waits until it has said something on standard error.
    void awaitErr(const std::string& part) {
        patience::await("\"" + part + "\" on standard error", [&] {
            if (err().find(part) != std::string::npos) return true;
            if (!isRunning()) throw std::runtime_error("the program ended early: " + err());
            return false;
        });
    }

    /// Memory in use, in KiB. Says nothing under a sanitizer, which keeps what was freed.
    long memory() const {
        std::ifstream file("/proc/" + std::to_string(_pid) + "/status");
        for (std::string line; std::getline(file, line);) {
            if (line.rfind("VmRSS:", 0) == 0) return std::stol(line.substr(6));
        }
        return 0;
    }

private:
    TempFolder _folder;
    pid_t _pid = -1;
    int _input = -1;
    int _status = 0;
    bool _ended = false;
    bool _toldToEnd = false;
};

/// What `pis ARGUMENTS` prints on standard output; the input goes to its standard input.
inline std::string outputOf(const std::vector<std::string>& arguments, const std::string& input = "") {
    Program program(arguments);
    program.feed(input);
    program.endInput();
    if (program.status() != 0) throw std::runtime_error(arguments.front() + " failed: " + program.err());
    return program.out();
}

/// `pis serve` on a free port of the loopback interface, its records from standard input unless a --link is given.
class ServiceProcess : public Program {
public:
    explicit ServiceProcess(std::vector<std::string> options = {}, rlim_t mostFiles = 0)
        : Program(withDefaults(std::move(options)), mostFiles) {
        const std::string front = "listening on http://";
        awaitErr("\n  link");
        const std::string said = err();
        const std::size_t begin = said.find(front) + front.size();
        const std::string authority = said.substr(begin, said.find('/', begin) - begin);
        _port = static_cast<unsigned short>(std::stoul(authority.substr(authority.rfind(':') + 1)));
    }

    ~ServiceProcess() {
        if (!isRunning()) return;
        if (!isToldToEnd()) signal(SIGTERM);
        try {
            EXPECT_EQ(0, status()) << err();
        } catch (const patience::Exhausted& fault) {
            ADD_FAILURE() << fault.what();
        }
    }
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;

    unsigned short port() const { return _port; }

private:
    static std::vector<std::string> withDefaults(std::vector<std::string> options) {
        const auto given = [&options](const std::string& name) {
            for (const std::string& option : options) {
                if (option == name) return true;
            }
            return false;
        };
        if (!given("--link")) options.insert(options.end(), {"--link", "file:-"});
        if (!given("--listen")) options.insert(options.end(), {"--listen", "127.0.0.1:0"});
        options.insert(options.begin(), "serve");
        return options;
    }

    unsigned short _port = 0;
};

}  // namespace pis::service

#endif
