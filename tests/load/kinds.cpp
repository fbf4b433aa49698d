#include "tests/load/kinds.hpp"

#include <algorithm>
#include <string_view>

#include "platform/log/log.hpp"
#include "platform/runtime/error.hpp"
#include "platform/streams/adapters.hpp"

#include "net/http/http.hpp"

namespace Load {
namespace {

using Libraries::Networks::HTTP::Client::ErrCancelled;
using Libraries::Networks::HTTP::Client::ErrTransfer;
using Libraries::Networks::HTTP::Client::Request;
using Libraries::Networks::HTTP::Client::Response;

constexpr std::size_t Small = 1024;
constexpr std::size_t Large = 256UL * 1024;
constexpr std::size_t Uploaded = 10'000;

constexpr Kind Kinds[] = {
    {"a small body", 45, Place::Http, "/small", Body::InMemory, 0, "", 200, Small},
    {"a small body over TLS", 10, Place::Https, "/small", Body::InMemory, 0, "", 200, Small},
    {"a redirect", 7, Place::Http, "/moved", Body::InMemory, 0, "", 200, Small},
    {"an upload", 6, Place::Http, "/stored/", Body::Upload, 0, "", 204, 0},
    {"not found", 6, Place::Http, "/absent", Body::InMemory, 0, "", 404, 0},
    {"a large body to a stream", 5, Place::Http, "/large", Body::ToStream, 0, "", 200, Large},
    {"a large body in memory", 3, Place::Http, "/large", Body::InMemory, 0, "", 200, Large},
    {"a large body over TLS", 1, Place::Https, "/large", Body::ToStream, 0, "", 200, Large},
    {"cancelled", 4, Place::Http, "/large", Body::CancelledStream, ErrCancelled, "", 0, 0},
    {"refused", 5, Place::Refused, "/", Body::InMemory, ErrTransfer,
     "Failed to connect socket to 127.0.0.1:", 0, 0},
    {"closed without an answer", 3, Place::Http, "/closed", Body::InMemory, ErrTransfer,
     "Could not receive data; error: 15h", 0, 0},
    {"reset", 3, Place::Http, "/reset", Body::InMemory, ErrTransfer,
     "Could not receive data; error: 20068h", 0, 0},
    {"a certificate of another name", 2, Place::OtherName, "/small", Body::InMemory, ErrTransfer,
     "Certificate error: ", 0, 0},
};

/// The octets of every body, and of none longer than the largest.
std::string_view pattern() {
    static const std::string octets = [] {
        std::string made(Large, '\0');
        for (std::size_t at = 0; at < made.size(); ++at) {
            made[at] = static_cast<char>(at % 251);
        }
        return made;
    }();
    return octets;
}

std::string& firstFailure() {
    thread_local std::string text;
    return text;
}

std::string urlOf(const Kind& kind, std::uint64_t number, const Ports& ports) {
    const bool secure = kind.place == Place::Https || kind.place == Place::OtherName;
    const std::vector<std::uint16_t>& many = secure ? ports.https : ports.http;
    std::uint16_t port = many[number % many.size()];
    if (kind.place == Place::OtherName) {
        port = ports.otherName;
    } else if (kind.place == Place::Refused) {
        port = ports.refused;
    }
    return std::string(secure ? "https" : "http") + "://127.0.0." +
           (kind.place == Place::OtherName ? "2:" : "1:") + std::to_string(port) + kind.path +
           (kind.body == Body::Upload ? std::to_string(number % 64) : "");
}

Outcome wrong(const std::string& what) {
    const std::string& record = firstFailure();
    return {false, what + (record.empty() ? ", no failure record" : ", \"" + record + "\"")};
}

/// Compares what a caller sees with what the kind promises.
Outcome judge(const Kind& kind, const Ref<Response>& response, std::string_view body) {
    const std::uint32_t error = response ? 0 : Error::get();
    if (error != kind.error) {
        return wrong("error " + std::to_string(error));
    }
    const bool recorded = !firstFailure().empty();
    if (!firstFailure().starts_with(kind.record) || recorded != (kind.record[0] != '\0')) {
        return wrong("another record");
    }
    if (response && response->statusCode() != kind.status) {
        return wrong("status " + std::to_string(response->statusCode()));
    }
    if (kind.size != 0 && body != pattern().substr(0, kind.size)) {
        return wrong("another body, of " + std::to_string(body.size()));
    }
    return {true, ""};
}

}  // namespace

std::span<const Kind> kinds() {
    return Kinds;
}

std::size_t kindOf(std::uint64_t number) {
    auto place = static_cast<unsigned>(number * 37 % 100);  // 37 and 100 have no common factor
    std::size_t kind = 0;
    while (place >= Kinds[kind].share) {
        place -= Kinds[kind++].share;
    }
    return kind;
}

Outcome perform(const Kind& kind, std::uint64_t number, const Ports& ports) {
    firstFailure().clear();
    const Ref<Request> request = Request::create();
    request->setUrl(String::create(urlOf(kind, number, ports)));
    if (kind.body == Body::InMemory) {
        const Ref<Response> response = request->perform();
        return judge(kind, response, response ? response->body() : "");
    }
    if (kind.body == Body::Upload) {
        request->setMethod(Request::Method::Put)
            ->setBody(Streams::from(pattern().substr(0, Uploaded)));
    } else if (kind.body == Body::CancelledStream) {
        request->cancelWhen([] { return true; });
    }
    std::string body;
    const Ref<Response> response = request->perform(Streams::to(body));
    return judge(kind, response, body);
}

void watchRecords() {
    SysLogFilter::setLevel(4);
    SysLogStream::setSink([](std::uint32_t, const char*, std::string_view text) {
        if (firstFailure().empty()) {
            firstFailure() = text;
        }
    });
}

}  // namespace Load
