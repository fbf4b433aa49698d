// The way in: requests are made here, and the exported classes get their special members.

#include "net/http/engine/request_obj.hpp"

namespace Libraries::Networks::HTTP::Client {

Ref<Request> Request::create(Definitions::Set<Flag> flags) {
    return Ref<RequestObj>::make(flags);
}

Request::Request() noexcept = default;
Request::Request(const Request& other) noexcept : RefCount(other) {}
Request::Request(Request&& other) noexcept : RefCount(other) {}
Request& Request::operator=(const Request&) noexcept {
    return *this;
}
Request& Request::operator=(Request&&) noexcept {
    return *this;
}

Response::Response() noexcept = default;
Response::Response(const Response& other) noexcept : RefCount(other) {}
Response::Response(Response&& other) noexcept : RefCount(other) {}
Response& Response::operator=(const Response&) noexcept {
    return *this;
}
Response& Response::operator=(Response&&) noexcept {
    return *this;
}

}  // namespace Libraries::Networks::HTTP::Client
