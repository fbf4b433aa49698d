#pragma once

#include "net/http/http.hpp"

namespace Libraries::Networks::HTTP::Client {

using Flags = Definitions::Set<Request::Flag>;

/// The only implementation of `Request`: what the application has set, and what an exchange leaves
/// behind. The engine reads the fields directly; their order is that of their destruction,
/// backwards.
class RequestObj final : public Object, public virtual Request {
public:
    explicit RequestObj(Flags flags) noexcept : flags_(flags) {}

    Ref<Request> setUrl(Ref<String> url) override;
    Ref<Request> setProtocol(Protocol protocol) override;
    Ref<Request> setHost(Ref<String> host) override;
    Ref<Request> setPort(unsigned short port) override;
    Ref<Request> setPath(Ref<String> path) override;
    Ref<Request> setHeaderField(Ref<String> name, Ref<String> value) override;
    Ref<Request> setHeaderFields(const HeaderFields& fields, bool replace) override;
    Ref<Request> setBody(Ref<Interfaces::Stripe> body) override;
    Ref<Request> setMethod(Ref<String> token) override;
    Ref<Request> setMethod(Method method) override;
    Ref<Request> setVersion(Version version) override;
    Ref<Request> setCancelQuery(Ref<CancelQuery> query) override;
    Ref<Request> setCancelArgument(std::uint64_t argument) override;
    Ref<Request> setDownloadProgressCallback(Ref<ProgressCallback> callback) override;
    Ref<Request> setUploadProgressCallback(Ref<ProgressCallback> callback) override;
    Ref<Response> perform(Ref<Interfaces::Stream> output, unsigned int reserved) noexcept override;
    Ref<Response> perform(unsigned int reserved) override;
    [[nodiscard]] Ref<String> peerAddress() const override;

    const Flags flags_;
    Ref<ProgressCallback> downloadProgress_;
    Ref<ProgressCallback> uploadProgress_;
    Ref<CancelQuery> cancelQuery_;
    Ref<String> url_;
    HeaderFields headerFields_;
    Ref<Interfaces::Stripe> body_;
    Ref<String> method_;
    Ref<String> host_;
    Ref<String> path_;
    Ref<String> peerAddress_;
    std::uint16_t port_ = 0;
    Version version_ = Version::Http10;
    Protocol protocol_ = Protocol::Auto;
    std::uint64_t cancelArgument_ = 0;
};

}  // namespace Libraries::Networks::HTTP::Client
