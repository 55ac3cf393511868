#include "ServiceProcess.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/empty_body.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <thread>

namespace asio = boost::asio;
namespace http = boost::beast::http;

namespace {

constexpr std::chrono::milliseconds kLook{20};

std::string contentsOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Starts a program whose standard error goes to a file.
pid_t spawn(const std::vector<std::string>& words, const std::string& log) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t process = -1;
    const int fault = posix_spawn(&process, words.front().c_str(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (fault != 0) throw std::system_error(fault, std::generic_category(), words.front());
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
    arguments.insert(arguments.begin(), {pis, "serve", "--listen", "127.0.0.1:0"});
    _process = spawn(arguments, log);
    for (int look = 0; look < kLooks && _port == 0; ++look) {
        std::this_thread::sleep_for(kLook);
        _port = portIn(contentsOf(log));
        if (_port == 0 && hasEnded()) break;
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
    asio::io_context context;
    asio::ip::tcp::socket socket(context);
    socket.connect({asio::ip::address_v4::loopback(), _port});
    http::request<http::empty_body> request(http::verb::get, path, 11);
    request.set(http::field::host, "127.0.0.1");
    request.keep_alive(false);
    http::write(socket, request);

    boost::beast::flat_buffer buffer;
    http::response_parser<http::string_body> answer;
    answer.body_limit(boost::none);
    http::read(socket, buffer, answer);
    if (answer.get().result() != http::status::ok) {
        throw std::runtime_error(path + " was answered " + std::to_string(answer.get().result_int()));
    }
    return std::move(answer.get().body());
}

double ServiceProcess::metric(const std::string& name) const {
    const std::string text = "\n" + get("/metrics");
    const std::size_t found = text.find("\n" + name + " ");
    if (found == std::string::npos) throw std::runtime_error("there is no metric " + name);
    return std::stod(text.substr(found + name.size() + 2));
}

double ServiceProcess::residentBytes() const {
    std::istringstream pages(procFile("statm"));
    double size = 0;
    double resident = 0;
    pages >> size >> resident;
    return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

double ServiceProcess::cpuSeconds() const {
    constexpr int kBeforeTimes = 11;  // fields behind the name, which may hold spaces
    const std::string stat = procFile("stat");
    std::istringstream fields(stat.substr(stat.rfind(')') + 1));
    std::string passedOver;
    for (int i = 0; i < kBeforeTimes; ++i) fields >> passedOver;
    double user = 0;
    double system = 0;
    fields >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

std::chrono::milliseconds ServiceProcess::end() {
    using std::chrono::steady_clock;
    const auto asked = steady_clock::now();
    constexpr std::chrono::seconds kPatience{5};
    constexpr std::chrono::milliseconds kShortLook{2};
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

std::string ServiceProcess::procFile(const char* name) const {
    return contentsOf("/proc/" + std::to_string(_process) + "/" + name);
}
