#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "demo_tls.hpp"

namespace cli {

/// A server on the loopback interface with just the pages that the demonstration asks for.
///
/// @threads It answers one connection after another on a thread of its own.
class DemoServer {
public:
    static constexpr std::string_view greeting = "Hello from the server in this program.\n";

    /// @param tls  What it speaks TLS with; null: plain HTTP.
    explicit DemoServer(std::unique_ptr<DemoTls> tls = nullptr) : tls_(std::move(tls)) {}
    DemoServer(const DemoServer&) = delete;
    DemoServer& operator=(const DemoServer&) = delete;
    /// Ends the thread and closes the port.
    ~DemoServer();

    /// Takes a free port and starts to listen.
    ///
    /// @return False with `errno` set.
    [[nodiscard]] bool start();
    /// Answers the URL of a path on this server.
    [[nodiscard]] std::string url(std::string_view path) const;
    /// Answers how many body bytes the last request brought.
    [[nodiscard]] std::uint64_t receivedBytes() const { return receivedBytes_; }

private:
    void serve();
    [[nodiscard]] std::unique_ptr<Transport> openTransport(int connection) const;
    void answer(Transport& connection);

    std::unique_ptr<DemoTls> tls_;
    int listener_ = -1;
    std::uint16_t port_ = 0;
    std::atomic<bool> ends_{false};
    std::atomic<std::uint64_t> receivedBytes_{0};
    std::thread thread_;
};

}  // namespace cli
