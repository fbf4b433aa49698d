// A plug-in that uses the library, and is unloaded again.

#include "platform/log/log.hpp"

#include "net/http/http.hpp"

using Libraries::Networks::HTTP::Client::Request;

/// Performs an exchange by each protocol. @return How many were answered with status 200.
extern "C" [[gnu::visibility("default")]] int performBoth(std::uint16_t http, std::uint16_t https) {
    SysLogFilter::setLevel(5);
    int answers = 0;
    for (const bool secure : {false, true}) {
        const Ref<Request> request = Request::create()->setHost("localhost")->setPath("/");
        request->setPort(secure ? https : http);
        request->setProtocol(secure ? Request::Protocol::Https : Request::Protocol::Http);
        const auto response = request->perform();
        answers += response && response->statusCode() == 200 ? 1 : 0;
    }
    return answers;
}
