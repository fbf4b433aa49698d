// Endpoints to and from the structures of the host.

#include "platform/posix/endpoint.hpp"

#include <cstring>

#include <arpa/inet.h>

namespace Host {

using Services::Network::Definitions::AddressFamily;
using Services::Network::Definitions::IPEndpoint;

IPEndpoint makeEndpoint(const in_addr& address, std::uint16_t port) noexcept {
    IPEndpoint endpoint;
    endpoint.family = AddressFamily::IPv4;
    const std::uint32_t number = ntohl(address.s_addr);
    std::memcpy(endpoint.address.data(), &number, sizeof(number));
    endpoint.port = port;
    return endpoint;
}

IPEndpoint makeEndpoint(const in6_addr& address, std::uint16_t port) noexcept {
    IPEndpoint endpoint;
    endpoint.family = AddressFamily::IPv6;
    for (std::size_t i = 0; i < endpoint.address.size(); i += 2) {
        std::uint16_t group = 0;
        std::memcpy(&group, &address.s6_addr[i], sizeof(group));
        group = ntohs(group);
        std::memcpy(&endpoint.address[i], &group, sizeof(group));
    }
    endpoint.port = port;
    return endpoint;
}

bool fromSocketAddress(const sockaddr* address, IPEndpoint& endpoint) noexcept {
    if (address->sa_family == AF_INET) {
        sockaddr_in host = {};
        std::memcpy(&host, address, sizeof(host));
        endpoint = makeEndpoint(host.sin_addr, ntohs(host.sin_port));
        return true;
    }
    if (address->sa_family == AF_INET6) {
        sockaddr_in6 host = {};
        std::memcpy(&host, address, sizeof(host));
        endpoint = makeEndpoint(host.sin6_addr, ntohs(host.sin6_port));
        return true;
    }
    return false;
}

SocketAddress toSocketAddress(const IPEndpoint& endpoint) noexcept {
    SocketAddress address;
    if (endpoint.family == AddressFamily::IPv4) {
        sockaddr_in host = {};
        host.sin_family = AF_INET;
        host.sin_port = htons(endpoint.port);
        std::uint32_t number = 0;
        std::memcpy(&number, endpoint.address.data(), sizeof(number));
        host.sin_addr.s_addr = htonl(number);
        std::memcpy(&address.storage, &host, sizeof(host));
        address.length = sizeof(host);
        return address;
    }
    sockaddr_in6 host = {};
    host.sin6_family = AF_INET6;
    host.sin6_port = htons(endpoint.port);
    for (std::size_t i = 0; i < endpoint.address.size(); i += 2) {
        std::uint16_t group = 0;
        std::memcpy(&group, &endpoint.address[i], sizeof(group));
        group = htons(group);
        std::memcpy(&host.sin6_addr.s6_addr[i], &group, sizeof(group));
    }
    std::memcpy(&address.storage, &host, sizeof(host));
    address.length = sizeof(host);
    return address;
}

}  // namespace Host
