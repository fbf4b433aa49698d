#pragma once

#include "platform/runtime/string_util.hpp"

#include "net/http/engine/request_obj.hpp"
#include "net/http/engine/upload.hpp"

namespace Libraries::Networks::HTTP::Client {

/// Answers the token of a method as a new string, null for a value that is none.
Ref<String> methodName(Request::Method method);

/// Answers the text of an HTTP version as a new string, null for a value that is none.
Ref<String> versionName(Request::Version version);

/// Rewrites a hop's path, query included, into the request target: every segment is encoded, and in
/// the last one the first "?" separates path and query.
void requestTarget(Ref<String>& path);

/// The head of one hop, ready to be sent, and the size of the body that it announces.
struct RequestHead {
    HeapText bytes;
    BodySize body;
};

/// Adds "Host", "Content-Length" and "User-Agent" to the request's header fields, where they stay,
/// and serialises the head (RFC 9112, section 3).
RequestHead buildRequestHead(RequestObj& request, const Ref<String>& host,
                             const Ref<String>& target);

}  // namespace Libraries::Networks::HTTP::Client
