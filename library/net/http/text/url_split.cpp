// The URL splitter: purely textual, without defaults. Its callers log and map its failures.

#include "net/http/text/url_split.hpp"

#include <string_view>

#include "platform/runtime/string_util.hpp"

namespace Libraries::Networks::HTTP::Client {

namespace {

/// A text that is never destroyed: an exchange may still run while the process ends, and the library
/// stays loaded until then.
union LastingText {
    explicit LastingText(std::string_view octets) noexcept : text(String::create(octets)) {}
    LastingText(const LastingText&) = delete;
    LastingText& operator=(const LastingText&) = delete;
    ~LastingText() {}  // NOLINT(modernize-use-equals-default): that one would be deleted

    Ref<String> text;
};

[[gnu::init_priority(300)]] LastingText httpText("http");
[[gnu::init_priority(300)]] LastingText httpsText("https");

constexpr std::uint64_t LargestPort = 0xFFFF;

bool fail(std::uint32_t code) noexcept {
    Error::set(code);
    return false;
}

/// Splits "host:port" at its last colon. @return False when the port text is no port.
bool splitAuthority(std::string_view authority, Ref<String>& host, std::uint16_t& port) {
    const std::size_t colon = authority.rfind(':');
    host = String::create(authority.substr(0, colon));
    if (colon == std::string_view::npos) {
        return true;
    }
    std::uint64_t number = 0;
    if (!StrConv::num(authority.substr(colon + 1), number) || number > LargestPort) {
        return false;
    }
    port = static_cast<std::uint16_t>(number);
    return true;
}

}  // namespace

const Ref<String>& ProtocolHttp = httpText.text;
const Ref<String>& ProtocolHttps = httpsText.text;

bool splitUrlCore(const Ref<String>& url, Ref<String>& protocol, Ref<String>& host,
                  std::uint16_t& port, Ref<String>& path, SplitFlags flags) {
    protocol.reset();
    host.reset();
    path.reset();
    port = 0;
    if (!url) {
        return fail(ErrNullArgument);
    }
    const std::string_view text = url->view();
    const std::size_t separator = text.find("://");
    if (separator == std::string_view::npos) {
        return fail(ErrInvalidArgument);
    }
    protocol = String::create(text.substr(0, separator))->lowerCase();

    const std::string_view rest = text.substr(separator + 3);
    const std::size_t slash = rest.find('/');
    const bool hasPath = slash != std::string_view::npos;
    const std::string_view authority = rest.substr(0, slash);
    path = String::create(hasPath ? rest.substr(slash) : std::string_view("/"));

    if (flags.has(Request::SplitFlag::KeepPortInHost)) {
        host = String::create(authority);
    } else if (!splitAuthority(authority, host, port)) {
        return fail(ErrInvalidArgument);
    }
    if (flags.has(Request::SplitFlag::KeepPathInHost)) {
        if (hasPath) {
            host = String::concat({host->view(), path->view()});
        }
        path.reset();
    }
    return true;
}

std::uint16_t defaultPort(const Ref<String>& protocol) noexcept {
    if (*protocol == *ProtocolHttp) {
        return 80;
    }
    return *protocol == *ProtocolHttps ? 443 : 0;
}

bool Request::splitUrl(Ref<String> url, Ref<String>& protocol, Ref<String>& host,
                       unsigned short& port, Ref<String>& path, SplitFlags flags) {
    return splitUrlCore(url, protocol, host, port, path, flags);
}

}  // namespace Libraries::Networks::HTTP::Client
