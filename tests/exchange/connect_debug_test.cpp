// The boot parameter is read once in a process: this program has it from its start.
#include "platform/runtime/system.hpp"

#include "tests/exchange/exchange.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

const bool bootParameterIsSet = [] {
    Sys::setBootParameter(str("quiet lib.net.http.connect.debug root=/"));
    return true;
}();

TEST(ConnectDebug, TracesTheConnectionAndTheExchange) {
    ASSERT_TRUE(bootParameterIsSet);
    ScriptedServer server{ReadHead{}, Send{"HTTP/1.1 200 OK\r\n\r\n"}, NextConnection{}, ReadHead{},
                          Send{"HTTP/1.1 200 OK\r\n\r\n"}};
    const Ref<Request> request = requestFor(server);
    EXPECT_TRUE(request->perform(0));
    Sys::setBootParameter(str(""));  // too late: it has been read
    const LogCapture log;
    EXPECT_TRUE(request->perform(0));
    std::vector<std::string> utils;
    std::vector<std::string> client;
    for (const LogCapture::Record& record : log.records()) {
        EXPECT_EQ(record.level, 1U);
        (record.channel == "HTTP Utils" ? utils : client).push_back(record.text);
    }
    const std::string port = std::to_string(server.port());
    EXPECT_EQ(utils, (std::vector<std::string>{"Connecting to 127.0.0.1:" + hexDec(server.port()),
                                               "Resolved to 127.0.0.1:" + port,
                                               "Socket created; connecting", "Connected"}));
    ASSERT_FALSE(client.empty());
    EXPECT_EQ(client.front(), "Request body size: 0h (0); has request body: false");
    EXPECT_EQ(client.back(), "Got response HTTP/1.1, Code = c8h (200), Reason = OK");
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
