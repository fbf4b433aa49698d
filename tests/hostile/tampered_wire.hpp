#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>

#include "tests/support/host.hpp"

/// Stands between a client and a server on 127.0.0.1, and harms what the server says at one byte of
/// each connection.
class TamperedWire {
public:
    enum class Harm {
        None,
        Cut,    ///< The connection ends before the byte.
        Reset,  ///< The connection breaks before it.
        Flip,   ///< A bit of it changes.
        Stall,  ///< Nothing comes from it on; the connection stays.
    };

    /// @param port  The server's.
    explicit TamperedWire(std::uint16_t port);
    TamperedWire(const TamperedWire&) = delete;
    TamperedWire& operator=(const TamperedWire&) = delete;
    ~TamperedWire();

    /// Sets what happens to the next connections.
    void harm(Harm harm, std::size_t at);
    /// Tells whether the last connection came to the byte.
    [[nodiscard]] bool reached() const noexcept { return reached_; }
    /// Waits for the end of the last connection, and answers how many bytes of the server it was
    /// given: the last of them may have gone to a client that was no longer there.
    [[nodiscard]] std::size_t forwarded() const noexcept;
    /// Answers "https://localhost:PORT/".
    [[nodiscard]] Ref<String> url() const;

private:
    void run();
    void serve(int client);
    bool forward(int client, std::string bytes);

    std::uint16_t server_;
    LoopbackListener listener_;
    StopSignal stop_;
    std::atomic<Harm> harm_{Harm::None};
    std::atomic<std::size_t> at_{0};
    std::atomic<bool> reached_{false};
    std::atomic<std::size_t> forwarded_{0};
    std::atomic<bool> serving_{false};
    std::thread thread_;  // last: it uses all of the above
};
