#pragma once

#include <netinet/in.h>
#include <sys/socket.h>

#include "platform/network/network.hpp"

/// Endpoints in the form that the host's calls take.
namespace Host {

struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t length = 0;

    [[nodiscard]] const sockaddr* get() const noexcept {
        return reinterpret_cast<const sockaddr*>(&storage);
    }
};

SocketAddress toSocketAddress(const Services::Network::Definitions::IPEndpoint& endpoint) noexcept;

/// @return False for an address of another family than IPv4 and IPv6.
bool fromSocketAddress(const sockaddr* address,
                       Services::Network::Definitions::IPEndpoint& endpoint) noexcept;

/// Makes endpoints from the addresses as they stand in host structures, in network byte order.
Services::Network::Definitions::IPEndpoint makeEndpoint(const in_addr& address,
                                                        std::uint16_t port) noexcept;
Services::Network::Definitions::IPEndpoint makeEndpoint(const in6_addr& address,
                                                        std::uint16_t port) noexcept;

}  // namespace Host
