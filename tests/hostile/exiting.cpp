// A program that ends while its threads perform exchanges.
//
//     exiting COUNT URL...    ends after so many exchanges, with status 7

#include <atomic>
#include <charconv>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "platform/log/log.hpp"

#include "net/http/http.hpp"

namespace {

std::atomic<unsigned> done{0};

[[noreturn]] void performForEver(const char* url) {
    for (;;) {
        // One that fails is none: at the process's end OpenSSL may have gone first.
        if (Libraries::Networks::HTTP::Client::Request::create()->setUrl(url)->perform()) {
            ++done;
            done.notify_all();
        }
    }
}

}  // namespace

int main(int count, char** words) {
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
