// Posts JSON and prints the answer with its header fields.
//
//   post_json URL JSON

#include <iostream>

#include <platform/streams/adapters.hpp>

#include <net/http/http.hpp>

int main(int count, char** arguments) {
    using Libraries::Networks::HTTP::Client::Request;
    if (count != 3) {
        std::cerr << "usage: post_json URL JSON\n";
        return 2;
    }
    const auto response =
        Request::create(Request::Flag::NoRedirect)  // a POST goes to one place
            ->setUrl(arguments[1])
            ->setMethod(Request::Method::Post)
            ->setHeaderFields(
                {{"Content-Type", "application/json"}, {"Accept", "application/json"}}, false)
            ->setBody(Streams::from(arguments[2]))
            ->perform();
    if (!response) {
        std::cerr << Error::describe() << '\n';
        return 1;
    }
    std::cout << response->statusCode() << '\n';
    for (const auto& [name, value] : response->headerFields()) {
        std::cout << name << ": " << value << '\n';
    }
    const auto type = response->headerField("content-type");  // in any letter case; null if absent
    std::cout << (type == "application/json" ? "" : "not JSON: ") << response->body() << '\n';
}
