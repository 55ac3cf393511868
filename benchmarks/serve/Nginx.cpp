#include "Nginx.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "Socket.h"

namespace {

constexpr const char* kProgram = "/usr/sbin/nginx";
constexpr const char* kModule = "/usr/lib/nginx/modules/ngx_nchan_module.so";

unsigned short freePort() {
    return tcp::acceptor(ioContext(), {boost::asio::ip::address_v4::loopback(), 0}).local_endpoint().port();
}

bool listensAt(unsigned short port) {
    boost::system::error_code fault;
    tcp::socket(ioContext()).connect({boost::asio::ip::address_v4::loopback(), port}, fault);
    return !fault;
}

/// The file that says what nginx is to do.
std::string writtenConfiguration(const std::string& folder, unsigned short port) {
    std::string path = folder + "/nginx.conf";
    std::ofstream file(path);
    file << "load_module " << kModule << ";\n"
         << "daemon off;\n"
            "master_process off;\n"
            "worker_rlimit_nofile 16384;\n"
         << "pid " << folder << "/nginx.pid;\n"
         << "events { worker_connections 16384; }\n"
            "http {\n"
            "    access_log off;\n"
         << "    client_body_temp_path " << folder << "/nginx;\n"
         << "    keepalive_requests 1000000;\n"
            "    server {\n"
         << "        listen 127.0.0.1:" << port << " backlog=4096;\n"
         << "        location = " << Nginx::kReaders
         << " { nchan_subscriber eventsource; nchan_channel_id events; nchan_subscriber_first_message newest; }\n"
            "        location = /publish { nchan_publisher; nchan_channel_id events; nchan_message_timeout 5s; }\n"
            "    }\n"
            "}\n";
    file.close();
    if (!file) throw std::runtime_error(path + " cannot be written");
    return path;
}

}  // namespace

Nginx::Nginx(const std::string& folder) : _port(freePort()) {
    if (!std::filesystem::exists(kProgram) || !std::filesystem::exists(kModule)) {
        throw std::runtime_error("nginx with nchan is missing: install nginx-light and libnginx-mod-nchan");
    }
    const std::string configuration = writtenConfiguration(folder, _port);
    _process = std::make_unique<ChildProcess>(
        std::vector<std::string>{kProgram, "-p", folder, "-c", configuration, "-e", "stderr"}, folder + "/nginx.log",
        [this](const std::string&) { return listensAt(_port); });
    _publisher = std::make_unique<pis::service::Connection>(_port);
}

void Nginx::publish(const std::string& text) {
    const pis::service::Headers headers{{"Host", "localhost"}, {"Content-Length", std::to_string(text.size())}};
    _publisher->send(pis::service::requestText("POST", "/publish", headers) + text);
    const int status = _publisher->readAnswer().status;
    if (status != 201 && status != 202) throw std::runtime_error("nginx answered " + std::to_string(status));
}
