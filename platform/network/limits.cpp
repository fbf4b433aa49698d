// The process's limits on connecting and on silence.

#include <atomic>

#include "platform/network/network.hpp"
#include "platform/runtime/host.hpp"

namespace Services::Network {
namespace {

struct Values {
    std::atomic<std::uint64_t> connect{
        Host::environmentSeconds("VORNIK_NET_CONNECT_TIMEOUT", 60000)};
    std::atomic<std::uint64_t> idle{Host::environmentSeconds("VORNIK_NET_IDLE_TIMEOUT", 300000)};
};

Values& values() noexcept {
    static Values instance;
    return instance;
}

}  // namespace

void Limits::setConnect(std::uint64_t milliseconds) noexcept {
    values().connect = milliseconds;
}

std::uint64_t Limits::connect() noexcept {
    return values().connect;
}

void Limits::setIdle(std::uint64_t milliseconds) noexcept {
    values().idle = milliseconds;
}

std::uint64_t Limits::idle() noexcept {
    return values().idle;
}

}  // namespace Services::Network
