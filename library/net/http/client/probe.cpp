// The reachability probe: one connection, opened and closed.

#include "net/http/http.hpp"
#include "net/http/text/url_split.hpp"
#include "net/http/transport/connect.hpp"
#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Client {

using Utils::Channel;
using Utils::Level;
using Utils::LogRecord;

namespace {

bool fail(std::string_view text, const Ref<String>& url) {
    if (LogRecord record{Channel::HttpClient, Level::Failure}) {
        record << text << url;
    }
    Error::set(ErrInvalidArgument);
    return false;
}

}  // namespace

bool Request::canConnect(Ref<String> url, unsigned int) {
    if (!url || url->empty()) {
        Error::set(url ? ErrInvalidArgument : ErrNullArgument);
        return false;
    }
    Ref<String> protocol;
    Ref<String> host;
    std::uint16_t port = 0;
    Ref<String> path;
    if (!splitUrlCore(url, protocol, host, port, path, {})) {
        return fail("Invalid URL for connect check: ", url);
    }
    if (port == 0) {
        port = defaultPort(protocol);
    }
    if (port == 0) {
        return fail("Failed to determine port of URL: ", url);
    }
    Ref<String> endpointText;
    return static_cast<bool>(Utils::connectToHost(host, port, endpointText));
}

}  // namespace Libraries::Networks::HTTP::Client
