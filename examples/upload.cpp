// Uploads a file by PUT; the file is read while it is sent, whatever its size.
//
//   upload FILE URL

#include <iostream>

#include <platform/streams/adapters.hpp>

#include <net/http/http.hpp>

int main(int count, char** arguments) {
    using Libraries::Networks::HTTP::Client::Request;
    if (count != 3) {
        std::cerr << "usage: upload FILE URL\n";
        return 2;
    }
    const auto body = Streams::fromFile(arguments[1]);
    if (!body) {
        std::cerr << arguments[1] << ": " << Error::describe() << '\n';
        return 1;
    }
    const auto response = Request::create()
                              ->setUrl(arguments[2])
                              ->setMethod(Request::Method::Put)
                              ->setHeaderField("Content-Type", "application/octet-stream")
                              ->setBody(body)
                              ->perform();
    if (!response) {
        std::cerr << Error::describe() << '\n';
        return 1;
    }
    std::cout << response->statusCode() << ' ' << response->reasonPhrase() << '\n';
    return response->statusCode() < 300 ? 0 : 1;
}
