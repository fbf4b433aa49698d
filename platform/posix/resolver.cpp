// Name resolution: literals by themselves, host names by the host's resolver.

#include <algorithm>
#include <cerrno>
#include <memory>

#include <arpa/inet.h>
#include <netdb.h>

#include "platform/network/network.hpp"
#include "platform/posix/endpoint.hpp"
#include "platform/runtime/error.hpp"
#include "platform/runtime/string_util.hpp"

namespace Services::Network::Client {
namespace {

using Definitions::AddressFamily;
using Definitions::Endpoints;
using Definitions::IPEndpoint;

constexpr std::size_t LongestHostName = 255;

void setResolverError(int code) noexcept {
    if (code == EAI_SYSTEM) {
        Error::set(ErrHostBase + static_cast<std::uint32_t>(errno));
        return;
    }
    // The resolver's codes are negative on this host: their magnitude is what counts.
    Error::set(ErrResolverBase + static_cast<std::uint32_t>(code < 0 ? -code : code));
}

/// Takes an address literal; an IPv6 one may stand in brackets (RFC 3986, section 3.2.2).
bool takeLiteral(std::string_view host, std::uint16_t port, Endpoints& endpoints) {
    const bool bracketed = host.size() >= 2 && host.front() == '[' && host.back() == ']';
    const HeapText text(bracketed ? host.substr(1, host.size() - 2) : host);
    if (text.find('\0') != HeapText::npos) {
        return false;
    }
    in_addr four = {};
    if (inet_pton(AF_INET, text.c_str(), &four) == 1) {
        endpoints.push_back(Host::makeEndpoint(four, port));
        return true;
    }
    in6_addr six = {};
    if (inet_pton(AF_INET6, text.c_str(), &six) == 1) {
        endpoints.push_back(Host::makeEndpoint(six, port));
        return true;
    }
    return false;
}

/// Refuses what no host is called. An empty name would switch off the name check of TLS, one with a
/// leading dot would match any sub-domain there; the rest would only confuse a resolver.
bool isHostName(std::string_view host) noexcept {
    if (host.empty() || host.size() > LongestHostName || host.front() == '.') {
        return false;
    }
    return std::none_of(host.begin(), host.end(), [](char octet) {
        const auto value = static_cast<unsigned char>(octet);
        return value <= 0x20 || value == 0x7F || value == '@';
    });
}

bool askHost(const Ref<String>& host, const Ref<String>& port, Endpoints& endpoints) {
    addrinfo hints = {};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int result = getaddrinfo(host->cText(), port->cText(), &hints, &found);
    if (result != 0) {
        setResolverError(result);
        return false;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
    for (const addrinfo* entry = found; entry != nullptr; entry = entry->ai_next) {
        IPEndpoint endpoint;
        if (Host::fromSocketAddress(entry->ai_addr, endpoint)) {
            endpoints.push_back(endpoint);
        }
    }
    // Only the first is dialled, and a server that listens on one family listens on IPv4.
    std::stable_partition(endpoints.begin(), endpoints.end(), [](const IPEndpoint& endpoint) {
        return endpoint.family == AddressFamily::IPv4;
    });
    if (endpoints.empty()) {
        setResolverError(EAI_NONAME);
    }
    return !endpoints.empty();
}

}  // namespace

bool Resolver::resolve(const Ref<String>& host, const Ref<String>& port,
                       Definitions::Endpoints& endpoints) {
    endpoints.clear();
    std::uint64_t number = 0;
    if (!host || !StrConv::num(port, number) || number > UINT16_MAX) {
        setResolverError(EAI_SERVICE);
        return false;
    }
    if (takeLiteral(host->view(), static_cast<std::uint16_t>(number), endpoints)) {
        return true;
    }
    if (!isHostName(host->view())) {
        setResolverError(EAI_NONAME);
        return false;
    }
    return askHost(host, port, endpoints);
}

}  // namespace Services::Network::Client
