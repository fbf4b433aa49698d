// The demonstration's other end. A real server is no part of this project: this one reads a head up
// to its empty line, counts the body, and sends one of a few fixed answers.

#include "demo_server.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace cli {

namespace {

constexpr std::size_t longestHead = 0x4000;
constexpr std::string_view headEnd = "\r\n\r\n";

class PlainTransport final : public Transport {
public:
    explicit PlainTransport(int connection) : connection_(connection) {}

    long receive(char* bytes, std::size_t size) override {
        return ::recv(connection_, bytes, size, 0);
    }
    long send(const char* bytes, std::size_t size) override {
        return ::send(connection_, bytes, size, MSG_NOSIGNAL);
    }

private:
    int connection_;
};

/// Sends a text; a client that has gone needs no more of it.
void sendAll(Transport& connection, std::string_view text) {
    while (!text.empty()) {
        const long sent = connection.send(text.data(), text.size());
        if (sent <= 0) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(sent));
    }
}

/// Appends what arrives next.
bool receiveMore(Transport& connection, std::string& text) {
    std::array<char, 0x10000> piece{};
    const long count = connection.receive(piece.data(), piece.size());
    if (count <= 0) {
        return false;
    }
    text.append(piece.data(), static_cast<std::size_t>(count));
    return true;
}

/// Reads up to the empty line; answers the head and leaves in `rest` what came behind it.
std::string receiveHead(Transport& connection, std::string& rest) {
    std::size_t end = rest.find(headEnd);
    while (end == rest.npos) {
        if (rest.size() > longestHead || !receiveMore(connection, rest)) {
            return {};
        }
        end = rest.find(headEnd);
    }
    std::string head = rest.substr(0, end + 2);
    rest.erase(0, end + 4);
    return head;
}

std::uint64_t announcedBody(std::string_view head) {
    constexpr std::string_view field = "\r\nContent-Length: ";
    const std::size_t start = head.find(field);
    std::uint64_t length = 0;
    if (start != head.npos) {
        const char* const digits = head.data() + start + field.size();
        (void)std::from_chars(digits, head.data() + head.size(), length);
    }
    return length;
}

std::string page(std::string_view status, std::string_view fields, std::string_view body) {
    return "HTTP/1.1 " + std::string(status) +
           "\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nContent-Type: text/plain\r\n" + std::string(fields) + "\r\n" + std::string(body);
}

std::string answerTo(std::string_view head) {
    const std::size_t start = std::min(head.find(' '), head.size() - 1) + 1;
    const std::string_view path = head.substr(start, head.find(' ', start) - start);
    if (path == "/hello") {
        return page("200 OK", "", DemoServer::greeting);
    }
    if (path == "/upload") {
        return page("201 Created", "", "Stored.\n");
    }
    if (path == "/old") {
        return page("302 Found", "Location: /hello\r\n", "It has moved.\n");
    }
    if (path == "/broken") {
        return "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\nThe connection ends here.\n";
    }
    return page("404 Not Found", "", "There is no such page.\n");
}

}  // namespace

DemoServer::~DemoServer() {
    ends_ = true;
    if (listener_ >= 0) {
        (void)::shutdown(listener_, SHUT_RDWR);  // wakes the thread
    }
    if (thread_.joinable()) {
        thread_.join();
    }
    if (listener_ >= 0) {
        (void)::close(listener_);
    }
}

bool DemoServer::start() {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (listener_ < 0 || ::bind(listener_, generic, size) != 0 || ::listen(listener_, 8) != 0 ||
        ::getsockname(listener_, generic, &size) != 0) {
        return false;
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
    return true;
}

std::string DemoServer::url(std::string_view path) const {
    return (tls_ ? "https://localhost:" : "http://127.0.0.1:") + std::to_string(port_) +
           std::string(path);
}

void DemoServer::serve() {
    while (!ends_) {
        const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection >= 0) {
            // A client that says nothing must not hold up the end of the program.
            const timeval patience{5, 0};
            (void)::setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
            if (const std::unique_ptr<Transport> transport = openTransport(connection)) {
                answer(*transport);
            }
            (void)::close(connection);
        }
    }
}

std::unique_ptr<Transport> DemoServer::openTransport(int connection) const {
    if (tls_) {
        return tls_->accept(connection);
    }
    return std::make_unique<PlainTransport>(connection);
}

void DemoServer::answer(Transport& connection) {
    std::string rest;
    const std::string head = receiveHead(connection, rest);
    const std::uint64_t announced = announcedBody(head);
    std::uint64_t received = rest.size();
    while (!head.empty() && received < announced) {
        rest.clear();
        if (!receiveMore(connection, rest)) {
            return;
        }
        received += rest.size();
    }
    receivedBytes_ = received;
    if (!head.empty()) {
        sendAll(connection, answerTo(head));
    }
}

}  // namespace cli
