// Fetches many URLs, four at a time: every thread takes the next one from a common list.
//
//   pool URL...

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <iostream>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include <net/http/http.hpp>

namespace {

std::string fetch(const char* url) {
    using Libraries::Networks::HTTP::Client::Request;
    // A request belongs to one thread at a time; each has its own, and its own error code.
    const auto response = Request::create()->setUrl(url)->perform();
    return response ? std::to_string(response->statusCode()) + ", " +
                          std::to_string(response->bodySize()) + " bytes"
                    : std::string(Error::describe()->view());
}

}  // namespace

int main(int count, char** arguments) {
    constexpr std::size_t mostThreads = 4;
    const std::span<char*> urls(arguments + 1, arguments + count);
    std::vector<std::string> results(urls.size());
    std::atomic<std::size_t> next = 0;
    {
        std::vector<std::jthread> threads(std::min(mostThreads, urls.size()));
        for (std::jthread& thread : threads) {
            thread = std::jthread([&] {
                for (std::size_t index = next++; index < urls.size(); index = next++) {
                    results[index] = fetch(urls[index]);
                }
            });
        }
    }  // here they are joined
    for (std::size_t index = 0; index < urls.size(); ++index) {
        std::cout << urls[index] << ": " << results[index] << '\n';
    }
}
