// One exchange: hop after hop, each on a connection of its own, until a response is the result.

#include <string_view>
#include <utility>

#include "platform/runtime/thread.hpp"

#include "net/http/engine/download.hpp"
#include "net/http/engine/progress.hpp"
#include "net/http/engine/redirect.hpp"
#include "net/http/engine/request_head.hpp"
#include "net/http/engine/request_obj.hpp"
#include "net/http/engine/response_obj.hpp"
#include "net/http/engine/upload.hpp"
#include "net/http/text/url_split.hpp"
#include "net/http/tls/lib.net.http.util.hpp"
#include "net/http/transport/connect.hpp"
#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Client {

using Utils::Channel;
using Utils::hexDec;
using Utils::Level;
using Utils::LogRecord;
using Utils::NetStream;
using Utils::SSLFlag;

namespace {

constexpr std::uint64_t PauseMicroseconds = 10;

bool refuse(std::string_view text) {
    if (LogRecord record{Channel::HttpClient, Level::Failure}) {
        record << text;
    }
    Error::set(ErrInvalidArgument);
    return false;
}

/// @param url  May be null: a request without a URL can be redirected to one that is refused.
bool refuse(std::string_view text, const Ref<String>& url) {
    if (LogRecord record{Channel::HttpClient, Level::Failure}) {
        record << text << url;
    }
    Error::set(ErrInvalidArgument);
    return false;
}

class Exchange {
public:
    Exchange(RequestObj& request, Ref<Interfaces::Stream> output)
        : request_(request), output_(std::move(output)) {}

    Ref<Response> run();

private:
    /// What a hop leads to: neither a response nor a redirect when it failed.
    struct Outcome {
        Ref<Response> response;
        bool redirect = false;
    };

    void start();
    Outcome runHop();
    [[nodiscard]] bool chooseTarget(HopTarget& hop);
    void chooseProtocol(Ref<String>& protocol) const;
    [[nodiscard]] bool isAllowed(const Ref<String>& protocol) const;
    Ref<NetStream> openStream(const HopTarget& hop);
    [[nodiscard]] bool sendHead(NetStream& stream, RequestHead& head) const;
    Outcome receive(const HopTarget& hop, NetStream& stream);

    RequestObj& request_;
    Ref<Interfaces::Stream> output_;
    RedirectState redirects_;
};

Ref<Response> Exchange::run() {
    start();
    for (;;) {
        Outcome outcome = runHop();
        if (!outcome.redirect) {
            return std::move(outcome.response);
        }
    }
}

void Exchange::start() {
    request_.peerAddress_.reset();
    if (!request_.method_) {
        request_.method_ = methodName(Request::Method::Get);
    }
    reportProgress(request_.uploadProgress_, 0, 1);
    reportProgress(request_.downloadProgress_, 0, 1);
    redirects_.currentUrl = request_.url_;
}

Exchange::Outcome Exchange::runHop() {
    HopTarget hop;
    if (!chooseTarget(hop)) {
        return {};
    }
    requestTarget(hop.path);
    const Ref<NetStream> stream = openStream(hop);
    if (!stream) {
        Error::set(ErrTransfer);
        return {};
    }
    RequestHead head = buildRequestHead(request_, hop.host, hop.path);
    if (!sendHead(*stream, head)) {
        return {};
    }
    if (request_.body_ && head.body.left != 0 && !sendBody(request_, *stream, head.body)) {
        return {};
    }
    Thd::sleep(PauseMicroseconds);
    return receive(hop, *stream);
}

/// Settles protocol, host, port and path of a hop, and the current URL if there is none yet.
bool Exchange::chooseTarget(HopTarget& hop) {
    const Ref<String>& url = redirects_.currentUrl;
    if (url && !splitUrlCore(url, hop.protocol, hop.host, hop.port, hop.path, {})) {
        return refuse("Failed to split URL: ", url);
    }
    if (request_.host_) {
        hop.host = request_.host_;
    }
    if (request_.port_ != 0) {
        hop.port = request_.port_;
    }
    if (request_.path_) {
        hop.path = request_.path_;
    }
    chooseProtocol(hop.protocol);
    if (!hop.host || !hop.path) {
        Error::set(ErrInvalidArgument);
        return false;
    }
    if (hop.port == 0) {
        hop.port = defaultPort(hop.protocol);
    }
    if (!redirects_.currentUrl) {
        const std::string_view slash = hop.path->view().starts_with('/') ? "" : "/";
        const Ref<String> port = StrConv::str(hop.port);
        redirects_.currentUrl = String::concat({hop.protocol->view(), "://", hop.host->view(), ":",
                                                port->view(), slash, hop.path->view()});
    }
    return isAllowed(hop.protocol);
}

void Exchange::chooseProtocol(Ref<String>& protocol) const {
    if (request_.protocol_ == Request::Protocol::Http) {
        protocol = ProtocolHttp;
    } else if (request_.protocol_ == Request::Protocol::Https) {
        protocol = ProtocolHttps;
    } else if (!protocol) {
        // Without a URL the request's port decides, and what the flags leave.
        const bool https =
            request_.port_ == 443 ||
            (request_.port_ != 80 && request_.flags_.has(Request::Flag::DisallowHttp));
        protocol = https ? ProtocolHttps : ProtocolHttp;
    }
}

bool Exchange::isAllowed(const Ref<String>& protocol) const {
    if (*protocol == *ProtocolHttp) {
        return !request_.flags_.has(Request::Flag::DisallowHttp) || refuse("HTTP is not allowed");
    }
    if (*protocol == *ProtocolHttps) {
        return !request_.flags_.has(Request::Flag::DisallowHttps) || refuse("HTTPS is not allowed");
    }
    return refuse("Unsupported protocol: ", request_.url_);
}

/// Connects, and sets up TLS for "https". What fails here has been logged where it failed.
Ref<NetStream> Exchange::openStream(const HopTarget& hop) {
    Ref<Utils::Socket> socket = Utils::connectToHost(hop.host, hop.port, request_.peerAddress_);
    if (!socket) {
        return nullptr;
    }
    if (*hop.protocol == *ProtocolHttp) {
        return Utils::createSocketStream(std::move(socket));
    }
    Definitions::Set<SSLFlag> policy;
    if (request_.flags_.has(Request::Flag::SslIgnoreInvalid)) {
        policy.add(SSLFlag::IgnoreInvalid);
    }
    if (request_.flags_.has(Request::Flag::SslIgnoreValidityPeriod)) {
        policy.add(SSLFlag::IgnoreValidityPeriod);
    }
    if (request_.flags_.has(Request::Flag::SslIgnoreUntrusted)) {
        policy.add(SSLFlag::IgnoreUntrusted);
    }
    return Utils::createSSLStream(std::move(socket), hop.host, policy);
}

/// Sends the head and frees its bytes.
bool Exchange::sendHead(NetStream& stream, RequestHead& head) const {
    const std::size_t length = head.bytes.size();
    if (Utils::isDebugRequest(request_.flags_)) {
        if (LogRecord record{Channel::HttpClient, Level::Trace}) {
            record << "Sending data of length: " << hexDec(std::uint64_t{length});
        }
        Utils::dumpBytes(Channel::HttpClient, head.bytes.data(), length);
    }
    const std::int64_t sent =
        stream.write(TransferBuffer::plain(head.bytes.data()), length, NoTimeout);
    const std::uint32_t code = Error::get();
    HeapText().swap(head.bytes);
    if (std::cmp_equal(sent, length)) {
        return true;
    }
    if (LogRecord record{Channel::HttpClient, Level::Failure}) {
        record << "Failed to send data to " << request_.url_ << "; error: " << hexDec(code);
    }
    Error::set(ErrTransfer);
    return false;
}

Exchange::Outcome Exchange::receive(const HopTarget& hop, NetStream& stream) {
    ResponseHead head(request_, hop, redirects_);
    Ref<MemOutStrm> memoryBody;
    std::uint64_t bodySize = 0;
    {
        Download download(request_, stream, output_, head);
        if (!download.run()) {
            return {};
        }
        memoryBody = download.memoryBody();
        bodySize = download.written();
    }  // the transfer memory is released before the end is reported
    if (head.skipping()) {
        return {nullptr, true};
    }
    reportProgress(request_.downloadProgress_, 1, 1);
    const Ref<String>& url = redirects_.currentUrl ? redirects_.currentUrl : redirects_.previousUrl;
    return {Ref<ResponseObj>::make(head.statusCode(), head.reason(), head.fields(),
                                   std::move(memoryBody), bodySize, redirects_.wasRedirected, url),
            false};
}

}  // namespace

// An exception of a callback or a stream would pass through code that does not clean up after it: it
// ends the program here. This source alone is compiled so that it can.
Ref<Response> RequestObj::perform(Ref<Interfaces::Stream> output, unsigned int) noexcept {
    const Ref<RequestObj> self(this);  // a callback may drop the application's last reference
    return Exchange(*this, std::move(output)).run();
}

}  // namespace Libraries::Networks::HTTP::Client
