// The setters; `perform` stands with the exchange.

#include "net/http/engine/request_obj.hpp"

#include <utility>

#include "net/http/engine/request_head.hpp"
#include "net/http/text/header_fields.hpp"

namespace Libraries::Networks::HTTP::Client {

Ref<Request> RequestObj::setUrl(Ref<String> url) {
    url_ = std::move(url);
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setProtocol(Protocol protocol) {
    protocol_ = protocol;
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setHost(Ref<String> host) {
    host_ = std::move(host);
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setPort(unsigned short port) {
    port_ = port;
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setPath(Ref<String> path) {
    path_ = std::move(path);
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setHeaderField(Ref<String> name, Ref<String> value) {
    if (!name) {
        Error::set(ErrNullArgument);
        return nullptr;
    }
    setOrRemoveField(headerFields_, name, value);
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setHeaderFields(const HeaderFields& fields, bool replace) {
    if (!mergeFields(headerFields_, fields, replace)) {
        Error::set(ErrInvalidArgument);
        return nullptr;
    }
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setBody(Ref<Interfaces::Stripe> body) {
    body_ = std::move(body);
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setMethod(Ref<String> token) {
    method_ = std::move(token);
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setMethod(Method method) {
    method_ = methodName(method);
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setVersion(Version version) {
    version_ = version;
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setCancelQuery(Ref<CancelQuery> query) {
    cancelQuery_ = std::move(query);
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setCancelArgument(std::uint64_t argument) {
    cancelArgument_ = argument;
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setDownloadProgressCallback(Ref<ProgressCallback> callback) {
    downloadProgress_ = std::move(callback);
    return Ref<Request>(this);
}

Ref<Request> RequestObj::setUploadProgressCallback(Ref<ProgressCallback> callback) {
    uploadProgress_ = std::move(callback);
    return Ref<Request>(this);
}

Ref<Response> RequestObj::perform(unsigned int reserved) {
    return perform(nullptr, reserved);
}

Ref<String> RequestObj::peerAddress() const {
    return peerAddress_;
}

}  // namespace Libraries::Networks::HTTP::Client
