#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/types.h>

namespace bench {

/// A server in a process of its own on a free port of 127.0.0.1. It answers every request with the
/// same response and ends the connection; it does as little as a server can.
class LocalServer {
public:
    /// Starts the process. Before the first thread of the program: it forks.
    explicit LocalServer(std::size_t bodySize);
    ~LocalServer();
    LocalServer(const LocalServer&) = delete;
    LocalServer& operator=(const LocalServer&) = delete;

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    [[nodiscard]] std::string url() const;

private:
    std::uint16_t port_ = 0;
    pid_t process_ = -1;
};

/// The request that the bare program sends: the bytes of the library's own, so that the server has
/// the same to read.
std::string requestHead();

}  // namespace bench
