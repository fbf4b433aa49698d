#include <cstdio>

#include <net/http/http.hpp>

int main(int, char** arguments) {
    using Libraries::Networks::HTTP::Client::Request;
    const auto response = Request::create({})->setUrl(String::create(arguments[1]))->perform(0);
    if (!response) {
        return 1;  // the log on standard error tells why, Error::get() what
    }
    std::printf("%lu\n", response->statusCode());
    std::fwrite(response->bodyData(), 1, response->bodySize(), stdout);
}
