// An application that knows the installed tree alone.
#include <cstdio>

#include <platform/log/log.hpp>
#include <platform/memory/memory.hpp>
#include <platform/network/network.hpp>
#include <platform/runtime/string_util.hpp>
#include <platform/runtime/system.hpp>
#include <platform/runtime/thread.hpp>

#include <net/http/http.hpp>

int main() {
    using Libraries::Networks::HTTP::Client::Request;
    SysLogFilter::setLevel(5);
    const auto encoded = Request::httpEncode(String::create("a b"));
    const auto response =
        Request::create({})->setUrl(String::create("http://127.0.0.1:0x/"))->perform(0);
    std::printf("%s %s %x\n", encoded->cText(), response ? "response" : "none", Error::get());
}
