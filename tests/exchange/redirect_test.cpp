#include <fstream>

#include "platform/streams/adapters.hpp"

#include "tests/exchange/exchange.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

std::string redirectTo(const std::string& location, const std::string& more = "") {
    return "HTTP/1.1 302 Found\r\nLocation: " + location + "\r\n" + more + "\r\n";
}

const std::string Ok = "HTTP/1.1 200 OK\r\n\r\nend";

TEST(Redirect, IsFollowedOnANewConnection) {
    ScriptedServer second{ReadHead{}, Send{Ok}};
    ScriptedServer first{ReadHead{},
                         Send{redirectTo("../x/./y?q", "Content-Length: 4\r\n") + "body"},
                         NextConnection{}, ReadHead{},
                         Send{redirectTo(plain(second.url("/z"))) + "body until close"}};
    const LogCapture log;
    const MemorySink output;
    ProgressRecorder progress;
    const Ref<Request> request = requestFor(first, {}, "/a/b/c");
    request->setDownloadProgressCallback(progress.callback());
    const Seen seen = look(request->perform(output.stream(), 0));
    EXPECT_EQ(seen.status, 200U);
    EXPECT_TRUE(seen.redirected);
    EXPECT_EQ(seen.url, plain(second.url("/z")));
    EXPECT_EQ(output.bytes(), "end");  // nothing of the bodies before
    EXPECT_EQ(seen.bodySize, 3U);
    EXPECT_EQ(seen.fields, "");
    EXPECT_EQ(progress.fractions(), (std::vector<double>{0.0, 0.0, 1.0}));
    EXPECT_EQ(first.received(0), defaultHead("/a/b/c"));
    EXPECT_EQ(first.received(1), defaultHead("/a/x/y?q"));
    EXPECT_EQ(second.received(), defaultHead("/z"));
    EXPECT_EQ(plain(request->peerAddress()), "127.0.0.1:" + std::to_string(second.port()));
    EXPECT_EQ(log.texts(),
              (std::vector<std::string>{"Implicit redirect to URL: " + plain(first.url("/a/x/y?q")),
                                        "Implicit redirect to URL: " + plain(second.url("/z"))}));
    EXPECT_TRUE(first.finished()) << first.report();
}

TEST(Redirect, CarriesEveryFieldToEveryServer) {
    ScriptedServer second{ReadHead{}, Send{Ok}};
    const std::string elsewhere = "http://localhost:" + std::to_string(second.port()) + "/z";
    ScriptedServer first{ReadHead{}, Send{redirectTo(elsewhere, "Content-Length: 0\r\n")}};
    const Ref<Request> request = requestFor(first);
    request->setHeaderField("Authorization", "Basic c2VjcmV0")->setHeaderField("Cookie", "id=1");
    EXPECT_EQ(look(request->perform(0)).url, elsewhere);
    EXPECT_EQ(second.received(),
              "GET /z HTTP/1.0\r\nAuthorization: Basic c2VjcmV0\r\nCookie: id=1\r\n"
              "Host: localhost\r\nUser-Agent: " +
                  plain(Request::defaultUserAgent()) + "\r\n\r\n");
}

TEST(Redirect, BodyOfKnownLengthIsNotRead) {
    // The body never comes, and the server does not close: reading on would block.
    ScriptedServer server{ReadHead{}, Send{redirectTo("/b", "Content-Length: 99\r\n")},
                          NextConnection{}, ReadHead{}, Send{Ok}};
    EXPECT_EQ(look(requestFor(server)->perform(0)).body, "end");
    EXPECT_TRUE(server.finished()) << server.report();
}

TEST(Redirect, BackToAVisitedUrlFails) {
    ScriptedServer server{ReadHead{}, Send{redirectTo("/B", "Content-Length: 0\r\n")},
                          NextConnection{}, ReadHead{},  // another URL: letter case matters
                          Send{redirectTo("/b", "Content-Length: 0\r\n")}};
    const LogCapture log(3);
    const MappingSink output;
    EXPECT_EQ(look(requestFor(server, {}, "/b")->perform(output.stream(), 0)).error, ErrTransfer);
    EXPECT_TRUE(log.has(4, "HTTP Client",
                        "Cycle detected when redirecting to URL " + plain(server.url("/b"))));
    EXPECT_EQ(log.records().size(), 1U);
    EXPECT_EQ(output.mapping().unmapped(), 2U);
    EXPECT_TRUE(server.finished()) << server.report();
}

TEST(Redirect, ThatIsNotFollowedIsTheResult) {
    ScriptedServer server{ReadHead{}, Send{redirectTo("/next") + "body"}, NextConnection{},
                          ReadHead{}, Send{redirectTo("/same") + "body"}};
    const LogCapture log;
    const Seen seen = look(requestFor(server, {Flag::NoRedirect})->perform(0));
    EXPECT_EQ(seen.status, 302U);
    EXPECT_EQ(seen.body, "body");
    EXPECT_TRUE(seen.redirected);
    EXPECT_EQ(seen.url, plain(server.url("/next")));
    EXPECT_TRUE(log.records().empty());
    const Ref<Request> toItself = requestFor(server, {Flag::NoRedirect}, "/same");
    EXPECT_EQ(look(toItself->perform(0)).error, ErrTransfer);
    EXPECT_TRUE(log.hasFailure("Cycle detected when redirecting to URL "));
}

TEST(Redirect, WithoutLocationIsTheResult) {
    for (const char* const head : {"HTTP/1.1 300 x\r\n\r\nbody", "HTTP/1.1 304 x\r\n\r\nbody",
                                   "HTTP/1.1 399 x\r\nLocation: \r\n\r\nbody"}) {
        ScriptedServer server{ReadHead{},
                              Send{head},
                              NextConnection{},
                              ReadHead{},
                              Send{redirectTo("/b", "Content-Length: 0\r\n")},
                              NextConnection{},
                              ReadHead{},
                              Send{head}};
        const LogCapture log;
        const Seen first = look(requestFor(server)->perform(0));
        EXPECT_EQ(first.body, "body");
        EXPECT_TRUE(first.redirected);
        EXPECT_EQ(first.url, "(null)");  // there was no URL before it
        EXPECT_TRUE(log.has(1, "HTTP Client", "No new location provided"));
        const Seen second = look(requestFor(server, {}, "/a")->perform(0));
        EXPECT_EQ(second.body, "body");
        EXPECT_EQ(second.url, plain(server.url("/a")));
    }
    for (const char* const head :
         {"HTTP/1.1 299 x\r\nLocation: /x\r\n\r\n", "HTTP/1.1 400 x\r\nLocation: /x\r\n\r\n"}) {
        ScriptedServer server{ReadHead{}, Send{head}};
        EXPECT_FALSE(look(requestFor(server)->perform(0)).redirected);
    }
}

TEST(Redirect, IsBoundByTheFlagsAndTheOverrides) {
    const std::string end = "Content-Length: 0\r\n";
    ScriptedServer server{ReadHead{},
                          Send{redirectTo("https://127.0.0.1:1/", end)},
                          NextConnection{},
                          ReadHead{},
                          Send{redirectTo("http://other:1/p", end)},
                          NextConnection{},
                          ReadHead{},
                          Send{Ok}};
    const LogCapture log(3);
    EXPECT_EQ(look(requestFor(server, {Flag::DisallowHttps})->perform(0)).error,
              ErrInvalidArgument);
    EXPECT_EQ(log.texts(), std::vector<std::string>{"HTTPS is not allowed"});
    const Ref<Request> bound = requestFor(server)->setHost(str("127.0.0.1"));
    bound->setPort(server.port())->setPath(str("/fixed"));
    EXPECT_EQ(look(bound->perform(0)).url, "http://other:1/p");
    EXPECT_EQ(server.received(2), defaultHead("/fixed"));
}

TEST(Redirect, SendsTheBodyAgainWhenTheSourceRewinds) {
    ScriptedServer server{
        ReadHead{},       ExpectExactly{"abc"}, Send{redirectTo("/b", "Content-Length: 0\r\n")},
        NextConnection{}, ReadHead{},           ExpectExactly{"abc"},
        Send{Ok}};
    ProgressRecorder progress;
    const Ref<Request> rewinding = requestFor(server)->setBody(MemInStrm::create("abc"));
    rewinding->setUploadProgressCallback(progress.callback());
    EXPECT_TRUE(rewinding->perform(0));
    EXPECT_EQ(progress.fractions(), (std::vector<double>{0.0, 0.0, 1.0, 0.0, 1.0}));
    EXPECT_TRUE(server.finished()) << server.report();
}

TEST(Redirect, SendsAFileThatGrowsAsItWasAnnouncedOnEachHop) {
    for (const Flags flags : {Flags(), Flags{Flag::Verbose}}) {
        ScriptedServer server{
            ReadHead{},       ExpectExactly{"abc"}, Send{redirectTo("/b", "Content-Length: 0\r\n")},
            NextConnection{}, ReadHead{},           ExpectExactly{"abcd"},
            Send{Ok}};
        const TemporaryFile file("abc");
        const Ref<Request> request =
            requestFor(server, flags)->setBody(Streams::fromFile(file.path()));
        bool grown = false;
        request->onUploadProgress([&](double) {
            if (request->peerAddress() && !grown) {  // announced, and not yet read
                grown = true;
                std::ofstream(file.path(), std::ios::app) << "d";
            }
        });
        const LogCapture log;
        EXPECT_TRUE(request->perform(0));
        EXPECT_TRUE(server.finished()) << server.report();
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
