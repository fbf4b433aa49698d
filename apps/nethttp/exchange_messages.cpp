// What there is to say of an exchange.

#include "exchange_messages.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

#include "platform/runtime/error.hpp"
#include "platform/runtime/system.hpp"

#include "arguments.hpp"
#include "messages.hpp"
#include "text.hpp"

using Libraries::Networks::HTTP::Client::ErrTransfer;

namespace cli {

namespace {

bool isHttps(std::string_view url) {
    constexpr std::string_view protocol = "https:";
    const auto sameLetter = [](char left, char right) { return (left | 0x20) == (right | 0x20); };
    return url.size() >= protocol.size() &&
           std::equal(protocol.begin(), protocol.end(), url.begin(), sameLetter);
}

}  // namespace

std::string targetName(const Options& options) {
    if (options.url) {
        return *options.url;
    }
    const std::uint64_t port = options.port.value_or(0);
    const bool refusesHttp = options.flags.has(Request::Flag::DisallowHttp);
    const auto protocol = options.protocol.value_or(Request::Protocol::Auto);
    const bool inferredHttps = port == 443 || (port != 80 && refusesHttp);
    const bool https = protocol == Request::Protocol::Https ||
                       (protocol == Request::Protocol::Auto && inferredHttps);
    return (https ? "https://" : "http://") + *options.host +
           (port != 0 ? ':' + std::to_string(port) : "") + *options.path;
}

void complainOfMissingBundle() {
    const Ref<String> path = Sys::hostPath(stringOf("/system/base/certs.pem"));
    if (!FileStrm::openForReading(path)) {
        complain("no certificate bundle: " + textOf(path) + ": " +
                 textOf(Error::describe(Error::get())) +
                 " (install ca-certificates, or set VORNIK_ROOT)");
    }
}

void complainOfExchange(std::uint32_t code, const std::string& target) {
    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), code, 16).ptr;
    const char* const name = Error::name(code);
    complain((name != nullptr ? name : "Error") + std::string(" (") +
             std::string(digits.data(), end) + "h): " + target);
}

void warnOfDoubtfulEnd(const ExchangeResult& result, const std::string& target) {
    const Ref<String> length = result.response->headerField("Content-Length");
    const bool hasLength = length && readNumber(length->view(), 0, UINT64_MAX);
    // TLS says when a connection ends; without TLS, its orderly end says as much as there is.
    const bool cut = isHttps(textOf(result.response->url(), target)) &&
                     (result.error == ErrEndOfStream || result.error == ErrTransfer);
    if (hasLength || (!cut && result.error < ErrHostBase)) {
        return;
    }
    complain("the body may be incomplete: it has no length, and the connection broke off (" +
             (cut ? std::string("without the end that TLS has for it")
                  : textOf(Error::describe(result.error))) +
             "): " + target);
}

}  // namespace cli
