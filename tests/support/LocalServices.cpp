#include "support/LocalServices.h"

#include "support/Process.h"
#include "support/TestPki.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

extern char** environ;

namespace vesk::test {
namespace {

std::string baseUrl(int port) { return "http://127.0.0.1:" + std::to_string(port); }

// Reads the script's first line, "PORT n"; 0 when it never comes.
int readPort(int fd) {
    std::string line;
    char c = 0;
    while (line.size() < 64 && ::read(fd, &c, 1) == 1 && c != '\n') line.push_back(c);
    return line.rfind("PORT ", 0) == 0 ? std::atoi(line.c_str() + 5) : 0;
}

}  // namespace

LocalServices::LocalServices() {
    int toChild[2];
    int fromChild[2];
    if (::pipe(toChild) != 0 || ::pipe(fromChild) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toChild[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fromChild[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, toChild[1]);
    posix_spawn_file_actions_addclose(&actions, fromChild[0]);
    const std::string script = std::string(VESK_SCRIPTS_DIR) + "/test-services.py";
    const std::string home = pki("");
    char* argv[] = {const_cast<char*>("python3"), const_cast<char*>(script.c_str()), const_cast<char*>(home.c_str()),
                    nullptr};
    pid_t pid = -1;
    const int spawned = posix_spawnp(&pid, "python3", &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(toChild[0]);
    ::close(fromChild[1]);
    input_ = toChild[1];
    if (spawned != 0) {
        ::close(fromChild[0]);
        return;
    }
    pid_ = pid;
    port_ = readPort(fromChild[0]);
    ::close(fromChild[0]);
    if (port_ != 0) ::setenv("CADES_EMULATOR_OCSP_URL", ocspUrl().c_str(), 1);
}

LocalServices::~LocalServices() {
    if (input_ >= 0) ::close(input_);
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
    }
}

LocalServices& LocalServices::instance() {
    static LocalServices services;
    if (!services.running()) ADD_FAILURE() << "the local time-stamp and OCSP services did not start";
    return services;
}

std::string LocalServices::tsaUrl(const std::string& variant) const { return baseUrl(port_) + "/tsa" + variant; }

std::string LocalServices::ocspUrl(const std::string& variant) const { return baseUrl(port_) + "/ocsp" + variant; }

LocalServices::OcspRedirect::OcspRedirect(const std::string& url) {
    ::setenv("CADES_EMULATOR_OCSP_URL", url.c_str(), 1);
}

LocalServices::OcspRedirect::~OcspRedirect() {
    ::setenv("CADES_EMULATOR_OCSP_URL", LocalServices::instance().ocspUrl().c_str(), 1);
}

std::string unreachableUrl() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    int port = 9;  // discard: nothing listens there on a test machine
    if (fd >= 0 && ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0)
        port = ntohs(address.sin_port);
    if (fd >= 0) ::close(fd);
    return baseUrl(port) + "/";
}

}  // namespace vesk::test
