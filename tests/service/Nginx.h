// A real nginx in front of the service, with nothing set but whom it stands before, unless a test says more.
#ifndef TESTS_SERVICE_NGINX_H
#define TESTS_SERVICE_NGINX_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "FeedFiles.h"
#include "HttpClient.h"

namespace pis::service {

class Nginx {
public:
    /// Listens on a free port of loopback, which is found here and handed on: nobody can come in between.
    /// @param settings that its server has besides.
    explicit Nginx(unsigned short servicePort, const std::string& settings = "") {
        const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (bind(socket, reinterpret_cast<sockaddr*>(&address), length) != 0 || listen(socket, 64) != 0 ||
            getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
            throw std::runtime_error("no port for nginx");
        }
        _port = ntohs(address.sin_port);
        std::string places;
        for (const char* kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"}) {
            places += std::string(kind) + "_temp_path " + _folder.path(kind) + ";\n";
        }
        const std::string config =
            _folder.write("nginx.conf", std::string(geteuid() == 0 ? "user root;\n" : "") + "pid " +
                                            _folder.path("pid") + ";\nevents {}\nhttp {\naccess_log off;\n" + places +
                                            "server { listen 127.0.0.1:" + std::to_string(_port) + "; " + settings +
                                            " location / { proxy_pass http://127.0.0.1:" + std::to_string(servicePort) +
                                            "; } }\n}\n");
        const std::string inherited = "NGINX=" + std::to_string(socket) + ";";
        const pid_t parent = getpid();
        _pid = fork();
        if (_pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            if (getppid() != parent) _exit(125);
            char* const environment[] = {const_cast<char*>(inherited.c_str()), nullptr};
            execle("/usr/sbin/nginx", "nginx", "-p", _folder.path().c_str(), "-c", config.c_str(), "-e",
                   _folder.path("errors").c_str(), "-g", "daemon off;", static_cast<char*>(nullptr), environment);
            _exit(126);
        }
        close(socket);
    }

    ~Nginx() {
        kill(_pid, SIGTERM);
        int status = 0;
        waitpid(_pid, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
            << "nginx must be there: the package nginx-light; " << _folder.read("errors");
    }
    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;

    unsigned short port() const { return _port; }

private:
    TempFolder _folder;
    pid_t _pid = -1;
    unsigned short _port = 0;
};

}  // namespace pis::service

#endif
