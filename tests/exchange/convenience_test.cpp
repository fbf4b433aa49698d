// The inline operations of requests and responses.

#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/streams/adapters.hpp"

#include "tests/exchange/exchange.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

ScriptedServer answering(std::string_view body) {
    return ScriptedServer{ReadHead{},
                          Send{"HTTP/1.1 200 OK\r\nContent-Type: text/plain\r\nEmpty:\r\n"
                               "Content-Length: " +
                               std::to_string(body.size()) + "\r\n\r\n" + std::string(body)},
                          Close{}};
}

TEST(Convenience, ResponseAnswersFieldsByNameAndTheBodyAsText) {
    ScriptedServer server = answering("page");
    const auto response = Request::create()->setUrl(server.url("/"))->perform();
    ASSERT_TRUE(response);
    EXPECT_EQ(response->body(), "page");
    EXPECT_EQ(response->headerField("content-TYPE"), "text/plain");
    EXPECT_EQ(response->headerField("Empty"), "");
    EXPECT_EQ(response->headerField("absent"), nullptr);
    std::vector<std::string> names;
    for (const auto& [name, value] : response->headerFields()) {
        names.emplace_back(name);
    }
    EXPECT_THAT(names, testing::ElementsAre("Content-Length", "Content-Type", "Empty"));
}

TEST(Convenience, BodyThatWentElsewhereIsNoBodyOfTheResponse) {
    ScriptedServer server = answering("page");
    std::string body;
    const auto response = Request::create()->setUrl(server.url("/"))->perform(Streams::to(body));
    ASSERT_TRUE(response);
    EXPECT_EQ(response->body(), "");
    EXPECT_EQ(response->bodySize(), 4U);
    EXPECT_EQ(body, "page");
}

TEST(Convenience, FunctionsAreToldOfProgressInBothDirections) {
    ScriptedServer server{ReadHead{}, ReadBody{4},
                          Send{"HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\npage"}, Close{}};
    std::vector<double> up;
    std::vector<double> down;
    const auto request = Request::create()->setUrl(server.url("/"))->setBody(Streams::from("body"));
    request->onUploadProgress([&up](double fraction) { up.push_back(fraction); });
    request->onDownloadProgress([&down](double fraction) { down.push_back(fraction); });
    ASSERT_TRUE(request->perform());
    ASSERT_THAT(up, testing::Not(testing::IsEmpty()));
    ASSERT_THAT(down, testing::Not(testing::IsEmpty()));
    EXPECT_EQ(up.back(), 1.0);
    EXPECT_EQ(down.back(), 1.0);
}

TEST(Convenience, FunctionStopsTheExchangeWhenItSaysSo) {
    for (const bool stop : {false, true}) {
        ScriptedServer server = answering("page");
        const auto response = Request::create()
                                  ->setUrl(server.url("/"))
                                  ->cancelWhen([stop] { return stop; })
                                  ->perform();
        EXPECT_EQ(!response, stop);
        if (stop) {
            EXPECT_EQ(Error::get(), ErrCancelled);
            EXPECT_EQ(Error::describe(), "The transfer was cancelled");
        }
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
