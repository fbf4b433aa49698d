// The bytes of a request head, and the header fields that the library adds to it.

#include "net/http/engine/request_head.hpp"

#include <iterator>

#include "net/http/text/header_fields.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

constexpr const char* MethodTokens[] = {"GET",     "HEAD",    "POST",  "PUT",  "DELETE",
                                        "CONNECT", "OPTIONS", "TRACE", "PATCH"};
constexpr const char* VersionTexts[] = {"1.0", "1.1"};

Ref<String> encodeLastSegment(const Ref<String>& segment) {
    const std::size_t mark = segment->find('?');
    if (mark == String::npos) {
        return Request::httpEncode(segment);
    }
    const Ref<String> path = Request::httpEncode(segment->substring(0, mark));
    const Ref<String> query = Request::httpEncode(segment->substring(mark + 1));
    return String::concat({path->view(), "?", query->view()});
}

/// Stores the fields that the library adds. @return The size of the body.
BodySize addLibraryFields(RequestObj& request, const Ref<String>& host) {
    setField(request.headerFields_, String::create("Host"), host);
    const BodySize body = measureBody(request);
    if (request.body_ && body.left != 0) {
        setField(request.headerFields_, String::create("Content-Length"), StrConv::str(body.left));
    }
    const bool wanted = !request.flags_.has(Request::Flag::NoDefaultUserAgent);
    if (wanted &&
        request.headerFields_.find(std::string_view("User-Agent")) == request.headerFields_.end()) {
        setField(request.headerFields_, String::create("User-Agent"), Request::defaultUserAgent());
    }
    return body;
}

void append(HeapText& text, const Ref<String>& piece) {
    if (piece) {
        text.append(piece->view());
    }
}

}  // namespace

Ref<String> methodName(Request::Method method) {
    const auto value = static_cast<std::uint32_t>(method);
    return value < std::size(MethodTokens) ? String::create(MethodTokens[value]) : Ref<String>();
}

Ref<String> versionName(Request::Version version) {
    const auto value = static_cast<std::uint32_t>(version);
    return value < std::size(VersionTexts) ? String::create(VersionTexts[value]) : Ref<String>();
}

void requestTarget(Ref<String>& path) {
    const Ref<TVector<Ref<String>>> segments = StringUtil::split(path, '/', 0);
    if (!segments || segments->empty()) {
        return;
    }
    const std::size_t last = segments->size() - 1;
    for (std::size_t i = 0; i < last; ++i) {
        (*segments)[i] = Request::httpEncode((*segments)[i]);
    }
    (*segments)[last] = encodeLastSegment((*segments)[last]);
    path = StringUtil::join(*segments, '/');
}

RequestHead buildRequestHead(RequestObj& request, const Ref<String>& host,
                             const Ref<String>& target) {
    RequestHead head;
    head.body = addLibraryFields(request, host);

    HeapText& text = head.bytes;
    append(text, request.method_);
    text.append(" ");
    append(text, target);
    text.append(" HTTP/");
    append(text, versionName(request.version_));
    text.append("\r\n");
    for (const auto& [name, value] : request.headerFields_) {
        append(text, name);
        text.append(": ");
        append(text, value);
        text.append("\r\n");
    }
    text.append("\r\n");
    return head;
}

}  // namespace Libraries::Networks::HTTP::Client
