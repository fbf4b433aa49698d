// The only place where names are resolved and connections are made.

#include "net/http/transport/connect.hpp"

#include <cstring>

#include "platform/runtime/error.hpp"
#include "platform/runtime/string_util.hpp"

#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Utils {

using Services::Network::Client::Resolver;
using Services::Network::Client::Socket;
using Services::Network::Definitions::AddressFamily;
using Services::Network::Definitions::Endpoints;
using Services::Network::Definitions::IPEndpoint;

namespace {

constexpr std::uint32_t StreamType = 1;
constexpr std::uint32_t TcpProtocol = 6;

/// Writes a trace record, if trace records of connecting are wanted; `append` adds its pieces.
template <class Append>
void trace(Append append) {
    if (!connectDebug()) {
        return;
    }
    if (LogRecord record{Channel::HttpUtils, Level::Trace}) {
        append(record);
    }
}

}  // namespace

Ref<String> formatEndpoint(const IPEndpoint& endpoint) {
    StringPrinter text;
    if (endpoint.family == AddressFamily::IPv4) {
        std::uint32_t address = 0;
        std::memcpy(&address, endpoint.address.data(), sizeof(address));
        for (const unsigned shift : {24U, 16U, 8U, 0U}) {
            text.text(shift == 24 ? "" : ".").number(std::uint64_t{address >> shift & 0xFFU});
        }
    } else {
        for (std::size_t i = 0; i < endpoint.address.size(); i += 2) {
            std::uint16_t group = 0;
            std::memcpy(&group, &endpoint.address[i], sizeof(group));
            text.text(i == 0 ? "[" : ":").hexadecimal().number(std::uint64_t{group});
        }
        text.text("]");
    }
    return text.text(":").number(std::uint64_t{endpoint.port}).toString();
}

Ref<Socket> connectToHost(const Ref<String>& host, std::uint16_t port, Ref<String>& endpointText) {
    endpointText.reset();
    trace([&](LogRecord& record) { record << "Connecting to " << host << ":" << hexDec(port); });

    Endpoints endpoints;
    if (!Resolver::resolve(String::create(host), StrConv::str(port), endpoints) ||
        endpoints.empty()) {
        const std::uint32_t code = Error::get();
        if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
            record << "Failed to resolve " << host << "; error: " << hexDec(code);
        }
        return nullptr;
    }
    const IPEndpoint& endpoint = endpoints.front();
    trace([&](LogRecord& record) { record << "Resolved to " << formatEndpoint(endpoint); });

    Ref<Socket> socket = Socket::create(endpoint.family, StreamType, TcpProtocol);
    if (!socket) {
        const std::uint32_t code = Error::get();
        if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
            record << "Failed to create socket; error: " << hexDec(code);
        }
        return nullptr;
    }
    trace([](LogRecord& record) { record << "Socket created; connecting"; });

    endpointText = formatEndpoint(endpoint);
    if (!socket->connect(endpoint, NoTimeout)) {
        const std::uint32_t code = Error::get();
        if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
            record << "Failed to connect socket to " << host << ":" << hexDec(port)
                   << "; error: " << hexDec(code);
        }
        return nullptr;
    }
    trace([](LogRecord& record) { record << "Connected"; });
    return socket;
}

}  // namespace Libraries::Networks::HTTP::Utils
