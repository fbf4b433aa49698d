// The response: what the exchange found out, and no logic.

#include "net/http/engine/response_obj.hpp"

#include <utility>

namespace Libraries::Networks::HTTP::Client {

ResponseObj::ResponseObj(std::uint64_t statusCode, Ref<String> reasonPhrase,
                         const HeaderFields& headerFields, Ref<MemOutStrm> memoryBody,
                         std::uint64_t bodySize, bool wasRedirected, Ref<String> url)
    : statusCode_(statusCode),
      reasonPhrase_(std::move(reasonPhrase)),
      headerFields_(headerFields),
      memoryBody_(std::move(memoryBody)),
      bodySize_(bodySize),
      wasRedirected_(wasRedirected),
      url_(std::move(url)) {}

std::uint64_t ResponseObj::statusCode() const {
    return statusCode_;
}

Ref<String> ResponseObj::reasonPhrase() const {
    return reasonPhrase_;
}

const HeaderFields& ResponseObj::headerFields() const {
    return headerFields_;
}

const void* ResponseObj::bodyData() const {
    return memoryBody_ ? memoryBody_->data() : nullptr;
}

std::uint64_t ResponseObj::bodySize() const {
    return bodySize_;
}

bool ResponseObj::wasRedirected() const {
    return wasRedirected_;
}

Ref<String> ResponseObj::url() const {
    return url_;
}

}  // namespace Libraries::Networks::HTTP::Client
