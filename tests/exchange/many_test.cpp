// Many exchanges: one after the other, and on several threads at once.
#include <thread>

#include "tests/exchange/exchange.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

/// Answers by path: a body, a redirect to it, the request's own body, a broken answer, or nothing.
std::string answer(const std::string& request) {
    const std::string path = request.substr(request.find(' ') + 1, 2);
    if (path == "/r") {
        return "HTTP/1.1 301 x\r\nLocation: /ok\r\nContent-Length: 3\r\n\r\nabc";
    }
    if (path == "/e") {
        return "HTTP/1.1 200 OK\r\n\r\n" + bodyOf(request);
    }
    if (path == "/b") {
        return "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc";
    }
    return path == "/n" ? "" : "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc";
}

/// Performs the exchange that a number stands for and checks its outcome.
void exchangeNumber(unsigned number, const AnsweringServer& server) {
    constexpr const char* paths[] = {"/ok", "/r", "/echo", "/broken", "/nothing"};
    const unsigned kind = number % 5;
    const std::string body = kind == 2 ? "body " + std::to_string(number) : "abc";
    const Ref<Request> request = Request::create({})->setUrl(server.url(paths[kind]));
    if (kind == 2) {
        request->setBody(MemInStrm::create(body));
    }
    const MemorySink output;
    const bool collected = number % 2 == 0;
    const Seen seen = look(collected ? request->perform(0) : request->perform(output.stream(), 0));
    ASSERT_EQ(seen.error, kind < 3 ? 0 : ErrTransfer) << number;
    if (kind < 3) {
        ASSERT_EQ(collected ? seen.body : output.bytes(), body) << number;
        ASSERT_EQ(seen.redirected, kind == 1);
    }
}

TEST(Many, ExchangesOnEightThreadsAreIndependent) {
    const LogCapture quiet(5);
    const AnsweringServer server(answer, 4);
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < 8; ++thread) {
        threads.emplace_back([thread, &server] {
            for (unsigned i = 0; i < 50; ++i) {
                exchangeNumber(thread * 50 + i, server);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(Many, TenThousandExchanges) {
    const LogCapture quiet(5);
    const AnsweringServer server(answer, 2);
    exchangeNumber(0, server);  // what a thread keeps for its next exchange is made here
    exchangeNumber(1, server);
    const std::size_t before = openDescriptors();
    for (unsigned i = 0; i < 10'000; ++i) {
        exchangeNumber(i, server);
    }
    // The server may still be closing its side of the last ones.
    for (int i = 0; i < 1000 && openDescriptors() > before; ++i) {
        std::this_thread::yield();
    }
    EXPECT_LE(openDescriptors(), before);
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
