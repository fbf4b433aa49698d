#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/network/network.hpp"
#include "platform/runtime/string.hpp"

/// Answers a new string; shorter than `String::create` in tables.
inline Ref<String> str(std::string_view text) {
    return String::create(text);
}
/// Answers the octets of a string, "(null)" for none.
inline std::string plain(const Ref<String>& text) {
    return text ? std::string(text->view()) : "(null)";
}

/// Answers a text so many times, one behind the other.
inline std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    all.reserve(text.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

/// How long a wait of a test may take before the test fails.
inline constexpr int WaitMilliseconds = 10'000;

/// Owns a descriptor of the test itself.
class OwnedDescriptor {
public:
    explicit OwnedDescriptor(int number = -1) noexcept : number_(number) {}
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor(OwnedDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~OwnedDescriptor();

    [[nodiscard]] int number() const noexcept { return number_; }
    explicit operator bool() const noexcept { return number_ >= 0; }
    void close() noexcept { *this = OwnedDescriptor(); }

private:
    int number_;
};

/// Wakes the waits of a server's threads for good.
class StopSignal {
public:
    StopSignal();
    void raise() const noexcept;
    /// Waits until a descriptor is readable. @return False when it is not within the limit, or the
    /// signal came first.
    [[nodiscard]] bool waitReadable(int descriptor, int milliseconds) const noexcept;

private:
    OwnedDescriptor event_;
};

/// A TCP socket bound to 127.0.0.1 and a free port.
class LoopbackListener {
public:
    /// @param backlog  -1: the port is taken and nobody listens, so that every connect is refused.
    explicit LoopbackListener(int backlog = 128);
    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    [[nodiscard]] int number() const noexcept { return socket_.number(); }
    /// Accepts a connection that is there, with TCP_NODELAY set.
    [[nodiscard]] OwnedDescriptor accept() const noexcept;
    [[nodiscard]] Services::Network::Definitions::IPEndpoint endpoint() const noexcept;

private:
    OwnedDescriptor socket_;
    std::uint16_t port_ = 0;
};

/// A port whose connects are left unanswered, because the listener's queue is full.
class UnansweringPort {
public:
    UnansweringPort();
    [[nodiscard]] const LoopbackListener& listener() const noexcept { return listener_; }

private:
    LoopbackListener listener_;
    std::vector<OwnedDescriptor> queued_;
};

/// Sets the network service's limits and takes them back.
class ScopedLimits {
public:
    ScopedLimits(std::uint64_t connectMilliseconds, std::uint64_t idleMilliseconds) noexcept;
    ScopedLimits(const ScopedLimits&) = delete;
    ScopedLimits& operator=(const ScopedLimits&) = delete;
    ~ScopedLimits();

private:
    std::uint64_t connect_;
    std::uint64_t idle_;
};

/// Answers this process's end of a connection to a port of 127.0.0.1; -1: there is none.
int descriptorTo(std::uint16_t port);

/// Sends the thread that makes it signals, whose handler does not ask for restarts, as long as it lives.
class Disturbance {
public:
    Disturbance();
    Disturbance(const Disturbance&) = delete;
    Disturbance& operator=(const Disturbance&) = delete;
    ~Disturbance();

private:
    std::atomic<bool> done_{false};
    std::thread thread_;
};

/// Sends all bytes, so many at a time and with a pause behind each. @return False when the peer takes
/// no more.
bool sendAll(int connection, std::string_view bytes, std::size_t piece = SIZE_MAX,
             std::chrono::milliseconds pause = {});

/// Answers how many descriptors this process has open.
std::size_t openDescriptors();

/// A file in the temporary folder that goes with its object.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string_view content);
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile();
    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    [[nodiscard]] std::string content() const;

private:
    std::string path_;
};
