#include "ServiceProcess.h"

#include <stdexcept>
#include <utility>

#include "HttpClient.h"

namespace {

/// The port in "listening on http://127.0.0.1:PORT/"; 0 where that has not been said yet.
unsigned short portIn(const std::string& log) {
    static const std::string kBefore = "listening on http://127.0.0.1:";
    const std::size_t found = log.find(kBefore);
    if (found == std::string::npos || log.find('/', found + kBefore.size()) == std::string::npos) return 0;
    return static_cast<unsigned short>(std::stoul(log.substr(found + kBefore.size())));
}

std::vector<std::string> words(const std::string& pis, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {pis, "serve", "--listen", "127.0.0.1:0"});
    return arguments;
}

}  // namespace

ServiceProcess::ServiceProcess(const std::string& pis, std::vector<std::string> arguments, const std::string& log)
    : ChildProcess(words(pis, std::move(arguments)), log, [](const std::string& said) { return portIn(said) != 0; }),
      _port(portIn(said())) {}

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

std::string ServiceProcess::revision() const {
    static const std::string kBefore = R"("revision":")";
    const std::string status = get("/api/v1/status");
    const std::size_t begin = status.find(kBefore) + kBefore.size();
    return status.substr(begin, status.find('"', begin) - begin);
}
