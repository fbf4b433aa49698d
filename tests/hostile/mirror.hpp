#pragma once

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "tests/exchange/exchange.hpp"
#include "tests/tls/tls_server.hpp"

/// A server for each protocol, which answers the bytes of the request; the one of TLS is trusted.
class Mirrors {
public:
    using Handler = std::function<std::string(const std::string& request)>;

    explicit Mirrors(const Handler& handler = okResponse)
        : plain_(handler, 2), tls_({.chain = trustedChain(), .threads = 2}, handler) {}
    [[nodiscard]] std::vector<Ref<String>> urls() const { return {plain_.url("/"), tls_.url("/")}; }
    [[nodiscard]] std::array<std::uint16_t, 2> ports() const {
        return {plain_.port(), tls_.port()};
    }

private:
    AnsweringServer plain_;
    TlsServer tls_;
};

/// Performs an upload to a mirror and tells whether its bytes, and no others, went out and came back.
inline bool arrivesWhole(const Ref<String>& url,
                         Libraries::Networks::HTTP::Client::Flags flags = {}) {
    using Libraries::Networks::HTTP::Client::look;
    using Libraries::Networks::HTTP::Client::Request;
    using Libraries::Networks::HTTP::Client::Seen;
    const Ref<Request> request = Request::create(flags)->setUrl(url)->setHost("localhost");
    request->setMethod(Request::Method::Put)->setBody(MemInStrm::create("the body"));
    const Seen seen = look(request->perform(0));
    return seen.body == "PUT / HTTP/1.0\r\nContent-Length: 8\r\nHost: localhost\r\nUser-Agent: " +
                            plain(Request::defaultUserAgent()) + "\r\n\r\nthe body";
}
