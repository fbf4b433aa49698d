// A program that ends while its threads perform exchanges.
//
//     exiting COUNT URL...    ends after so many exchanges, with status 7; with 1 when OpenSSL, which
//                             the threads still use, was of no use at the very end

#include <atomic>
#include <charconv>
#include <cstdlib>
#include <string_view>
#include <thread>

#include <openssl/ssl.h>

#include "platform/log/log.hpp"

#include "net/http/http.hpp"

namespace {

std::atomic<unsigned> done{0};
std::atomic<bool> openSslIsInUse{false};

[[noreturn]] void performForEver(const char* url) {
    for (;;) {
        // One that fails is none: at the process's end OpenSSL may have gone first.
        if (Libraries::Networks::HTTP::Client::Request::create()->setUrl(url)->perform()) {
            openSslIsInUse = openSslIsInUse || std::string_view(url).starts_with("https");
            ++done;
            done.notify_all();
        }
    }
}

void useOpenSsl() {
    if (!openSslIsInUse) {
        return;  // whoever is the first to use it decides on its end
    }
    SSL_CTX* const context = SSL_CTX_new(TLS_client_method());
    if (context == nullptr) {
        std::_Exit(1);
    }
    SSL_CTX_free(context);
}

}  // namespace

int main(int count, char** words) {
    if (std::atexit(useOpenSsl) != 0) {  // called last, being the first
        return 2;
    }
    SysLogFilter::setLevel(5);
    unsigned wanted = 0;
    const std::string_view digits = words[1];
    std::from_chars(digits.data(), digits.data() + digits.size(), wanted);
    for (int i = 2; i < count; ++i) {
        for (int twice = 0; twice < 2; ++twice) {
            std::thread(performForEver, words[i]).detach();
        }
    }
    for (unsigned now = done; now < wanted; now = done) {
        done.wait(now);
    }
    return 7;
}
