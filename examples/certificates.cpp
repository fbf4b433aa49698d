// Shows the certificate policy: asks an https server strictly first, then with one of the switches
// that forgive, and tells which of them a server needs.
//
//   certificates URL

#include <iostream>

#include <platform/log/log.hpp>

#include <net/http/http.hpp>

int main(int count, char** arguments) {
    using Libraries::Networks::HTTP::Client::Request;
    if (count != 2) {
        std::cerr << "usage: certificates URL\n";
        return 2;
    }
    struct Policy {
        const char* name;
        Definitions::Set<Request::Flag> flags;
    };
    // No http, not even by a redirect: it would prove nothing about certificates.
    const Policy policies[] = {
        {"strict", {Request::Flag::DisallowHttp}},
        {"any date", {Request::Flag::DisallowHttp, Request::Flag::SslIgnoreValidityPeriod}},
        {"self-signed", {Request::Flag::DisallowHttp, Request::Flag::SslIgnoreUntrusted}},
        {"any issuer, name or use", {Request::Flag::DisallowHttp, Request::Flag::SslIgnoreInvalid}},
    };
    SysLogFilter::setLevel(5);  // a refusal is an answer here, and no news for the log
    bool accepted = false;
    for (const Policy& policy : policies) {
        const auto response = Request::create(policy.flags)->setUrl(arguments[1])->perform();
        std::cout << policy.name << ": " << (response ? "accepted" : "refused") << '\n';
        accepted = accepted || response;
    }
    return accepted ? 0 : 1;
}
