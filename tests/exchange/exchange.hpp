#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/runtime/error.hpp"

#include "net/http/http.hpp"
#include "tests/support/callbacks.hpp"
#include "tests/support/host.hpp"
#include "tests/support/log_capture.hpp"
#include "tests/support/scripted_server.hpp"
#include "tests/support/streams.hpp"

namespace Libraries::Networks::HTTP::Client {

using Flag = Request::Flag;
using Flags = Definitions::Set<Flag>;

/// All that a caller can see of a response, as plain texts; "(null)" for a null string.
struct Seen {
    bool ok = false;
    std::uint32_t error = 0;  ///< The thread's error code after a failure.
    std::uint64_t status = 0;
    std::string reason;
    std::string fields;  ///< "name=value;" for each, in order.
    std::string body;    ///< What the response holds of it.
    std::uint64_t bodySize = 0;
    bool redirected = false;
    std::string url;
};

inline Seen look(const Ref<Response>& response) {
    Seen seen;
    seen.ok = static_cast<bool>(response);
    if (!response) {
        seen.error = Error::get();
        return seen;
    }
    seen.status = response->statusCode();
    seen.reason = plain(response->reasonPhrase());
    for (const auto& [name, value] : response->headerFields()) {
        seen.fields += plain(name) + "=" + plain(value) + ";";
    }
    seen.bodySize = response->bodySize();
    if (response->bodyData() != nullptr) {
        seen.body.assign(static_cast<const char*>(response->bodyData()), seen.bodySize);
    }
    seen.redirected = response->wasRedirected();
    seen.url = plain(response->url());
    return seen;
}

/// What the engine logs when it warns of something and goes on.
inline std::vector<LogCapture::Record> warnings(const std::vector<std::string>& texts) {
    std::vector<LogCapture::Record> records;
    records.reserve(texts.size());
    for (const std::string& text : texts) {
        records.push_back({3, "HTTP Client", text});
    }
    return records;
}

inline Ref<Request> requestFor(const ScriptedServer& server, Flags flags = {},
                               const char* path = "/") {
    return Request::create(flags)->setUrl(server.url(path));
}

/// What a request sends by itself in a GET of this path to 127.0.0.1.
inline std::string defaultHead(const std::string& path) {
    return "GET " + path +
           " HTTP/1.0\r\nHost: 127.0.0.1\r\nUser-Agent: " + plain(Request::defaultUserAgent()) +
           "\r\n\r\n";
}

}  // namespace Libraries::Networks::HTTP::Client
