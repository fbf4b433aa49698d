#include <iostream>

#include <net/http/http.hpp>

int main(int count, char** arguments) {
    using Libraries::Networks::HTTP::Client::Request;
    if (count != 2) {
        std::cerr << "usage: get URL\n";
        return 2;
    }
    const auto response = Request::create()->setUrl(arguments[1])->perform();
    if (!response) {
        return 1;  // the log on standard error tells why, Error::get() what
    }
    std::cout << response->statusCode() << '\n' << response->body();
}
