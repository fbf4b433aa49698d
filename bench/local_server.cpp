// The server's process: accept, read up to the empty line, send head and body, close.

#include "bench/local_server.hpp"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <string_view>

#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <net/http/http.hpp>

namespace bench {

namespace {

constexpr std::uint32_t Loopback = 0x7F000001;
constexpr std::size_t PieceSize = 0x100000;

void readHead(int connection) {
    std::array<char, 4096> bytes{};
    std::size_t fill = 0;
    while (fill < bytes.size()) {
        const ssize_t count = recv(connection, bytes.data() + fill, bytes.size() - fill, 0);
        if (count <= 0) {
            return;
        }
        fill += static_cast<std::size_t>(count);
        if (std::string_view(bytes.data(), fill).ends_with("\r\n\r\n")) {
            return;
        }
    }
}

void sendAll(int connection, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0) {
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

[[noreturn]] void serve(int listener, std::size_t bodySize) {
    const std::string head =
        "HTTP/1.0 200 OK\r\nContent-Type: application/octet-stream\r\n"
        "Content-Length: " +
        std::to_string(bodySize) + "\r\n\r\n";
    const std::string piece(std::min(bodySize, PieceSize), 'x');
    const std::string first = head + piece;  // one write, as a server with a small page does it
    const std::string_view rest = piece;
    for (;;) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection < 0) {
            _exit(1);
        }
        readHead(connection);
        sendAll(connection, first);
        for (std::size_t sent = piece.size(); sent < bodySize; sent += piece.size()) {
            sendAll(connection, rest.substr(0, bodySize - sent));
        }
        close(connection);
    }
}

int listenOnFreePort(std::uint16_t& port) {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(Loopback);
    socklen_t size = sizeof address;
    auto* const plain = reinterpret_cast<sockaddr*>(&address);
    if (listener < 0 || bind(listener, plain, size) != 0 || listen(listener, SOMAXCONN) != 0 ||
        getsockname(listener, plain, &size) != 0) {
        std::abort();
    }
    port = ntohs(address.sin_port);
    return listener;
}

}  // namespace

LocalServer::LocalServer(std::size_t bodySize) {
    const int listener = listenOnFreePort(port_);
    process_ = fork();
    if (process_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);  // never outlives the benchmark
        serve(listener, bodySize);
    }
    close(listener);
}

LocalServer::~LocalServer() {
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
}

std::string LocalServer::url() const {
    return "http://127.0.0.1:" + std::to_string(port_) + "/page";
}

std::string requestHead() {
    using Libraries::Networks::HTTP::Client::Request;
    std::string head = "GET /page HTTP/1.0\r\nHost: 127.0.0.1\r\nUser-Agent: ";
    return head.append(Request::defaultUserAgent()->view()).append("\r\n\r\n");
}

}  // namespace bench
