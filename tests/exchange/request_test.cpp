// What a request sends, and which requests are refused before or at the connection.
#include <cerrno>

#include "platform/network/network.hpp"

#include "tests/exchange/exchange.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

const Send Ok{"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"};

std::string agentLine() {
    return "User-Agent: " + plain(Request::defaultUserAgent()) + "\r\n";
}

/// Performs the request that `set` configures and answers the bytes that the server got.
std::string bytesOf(Flags flags, const std::function<void(Request&)>& set, const char* path = "/") {
    ScriptedServer server{ReadHead{}, Ok};
    const Ref<Request> request = requestFor(server, flags, path);
    set(*request);
    EXPECT_TRUE(request->perform(0)) << std::hex << Error::get();
    return server.received();
}

TEST(RequestHead, HasExactlyTheseBytes) {
    EXPECT_EQ(bytesOf({}, [](Request&) {}), defaultHead("/"));
    EXPECT_EQ(bytesOf(
                  {}, [](Request&) {}, "/a b/c?d=e f"),
              defaultHead("/a%20b/c?d=e%20f"));
    EXPECT_EQ(bytesOf({Flag::NoDefaultUserAgent},
                      [](Request& request) {
                          request.setMethod(str("Weird method"))
                              ->setVersion(Request::Version::Http11)
                              ->setHeaderField(str("host"), str("overwritten"))
                              ->setHeaderField(str("Z"), str(" kept\xff "))
                              ->setHeaderField(str("a:"), str(""))
                              ->setHeaderField(str("Gone"), str("x"))
                              ->setHeaderField(str("gONE"), nullptr);
                      }),
              "Weird method / HTTP/1.1\r\na:: \r\nhost: 127.0.0.1\r\nZ:  kept\xff \r\n\r\n");
    for (const Flags flags : {Flags(), Flags(Flag::NoDefaultUserAgent)}) {
        EXPECT_EQ(bytesOf(flags,
                          [](Request& request) {
                              request.setHeaderField(str("user-agent"), str("mine"))
                                  ->setMethod(static_cast<Request::Method>(9))
                                  ->setVersion(static_cast<Request::Version>(2));
                          }),
                  "GET / HTTP/\r\nHost: 127.0.0.1\r\nuser-agent: mine\r\n\r\n");
    }
}

TEST(RequestHead, HoldsTheLineEndsOfItsParts) {
    EXPECT_EQ(bytesOf({Flag::NoDefaultUserAgent},
                      [](Request& request) {
                          request.setMethod("GET /x HTTP/1.0\r\nA: b\r\nC:")
                              ->setHeaderField("D\r\nE", "f\r\nG: h");
                      }),
              "GET /x HTTP/1.0\r\nA: b\r\nC: / HTTP/1.0\r\nD\r\nE: f\r\nG: h\r\n"
              "Host: 127.0.0.1\r\n\r\n");
}

TEST(RequestHead, CarriesEveryMethod) {
    const char* const tokens[] = {"GET",     "HEAD",    "POST",  "PUT",  "DELETE",
                                  "CONNECT", "OPTIONS", "TRACE", "PATCH"};
    for (std::uint32_t i = 0; i < std::size(tokens); ++i) {
        const std::string bytes = bytesOf(
            {}, [i](Request& request) { request.setMethod(static_cast<Request::Method>(i)); });
        EXPECT_EQ(bytes.substr(0, bytes.find(' ')), tokens[i]);
    }
}

TEST(RequestHead, SettingsReplaceThePartsOfTheUrl) {
    ScriptedServer server{ReadHead{}, Ok, NextConnection{}, ReadHead{}, Ok, NextConnection{},
                          ReadHead{}, Ok, NextConnection{}, ReadHead{}, Ok};
    const Ref<Request> request = Request::create({});
    request->setUrl(str("https://nowhere.invalid:1/a?b"))
        ->setProtocol(Request::Protocol::Http)
        ->setHost(str("127.0.0.1"))
        ->setPort(server.port())
        ->setPath(str("/c d"));
    EXPECT_EQ(look(request->perform(0)).url, "https://nowhere.invalid:1/a?b");
    request->setUrl(server.url("/u"))->setHost(nullptr)->setPort(0)->setPath(nullptr);
    EXPECT_TRUE(request->perform(0));
    // Without a URL the port decides on the protocol: neither 80 nor 443 means "http".
    request->setUrl(nullptr)->setHost(str("127.0.0.1"))->setPort(server.port())->setPath(str("/v"));
    request->setProtocol(static_cast<Request::Protocol>(0));
    const Seen seen = look(request->perform(0));
    EXPECT_TRUE(seen.url.starts_with("http://127.0.0.1:" + std::to_string(server.port()) + "/"));
    const Seen bare = look(request->setPath(str("w"))->perform(0));
    EXPECT_EQ(bare.url, "http://127.0.0.1:" + std::to_string(server.port()) + "/w");
    EXPECT_EQ(server.received(3), defaultHead("w"));
    EXPECT_EQ(server.received(0), defaultHead("/c%20d"));
    EXPECT_EQ(server.received(1), defaultHead("/u"));
    EXPECT_EQ(server.received(2), defaultHead("/v"));
}

TEST(RequestHead, FieldsOfTheExchangeStayInTheRequest) {
    ScriptedServer server{ReadHead{}, ReadBody{3},      Ok,         NextConnection{}, ReadHead{},
                          Ok,         NextConnection{}, ReadHead{}, ReadBody{2},      Ok};
    const Ref<Request> request = requestFor(server)->setMethod(Request::Method::Post);
    EXPECT_TRUE(request->setBody(MemInStrm::create("abc"))->perform(0));
    EXPECT_TRUE(request->setBody(nullptr)->perform(0));
    request->setHeaderFields({}, true)->setHeaderField(str("content-length"), str("77"));
    EXPECT_TRUE(request->setBody(MemInStrm::create("de"))->perform(0));
    const std::string head =
        "POST / HTTP/1.0\r\nContent-Length: 3\r\nHost: 127.0.0.1\r\n" + agentLine() + "\r\n";
    EXPECT_EQ(server.received(0), head + "abc");
    EXPECT_EQ(server.received(1), head);  // the length stays although the body is gone
    EXPECT_EQ(server.received(2), "POST / HTTP/1.0\r\ncontent-length: 2\r\nHost: 127.0.0.1\r\n" +
                                      agentLine() + "\r\nde");
    EXPECT_TRUE(server.finished()) << server.report();
}

struct Refusal {
    const char* name;
    Flags flags;
    const char* url;  // null: none is set
    std::function<void(Request&)> set;
    const char* record;  // null: none is written
};

TEST(Request, IsRefusedWithoutAConnection) {
    const auto nothing = [](Request&) {};
    const Refusal refusals[] = {
        {"NoMark", {}, "h/p", nothing, "Failed to split URL: h/p"},
        {"EmptyUrl", {}, "", nothing, "Failed to split URL: "},
        {"BadPort", {}, "http://h:x/p", nothing, "Failed to split URL: http://h:x/p"},
        {"NothingSet", {}, nullptr, nothing, nullptr},
        {"NoPath", {}, nullptr, [](Request& r) { r.setHost(str("h")); }, nullptr},
        {"NoHost", {}, nullptr, [](Request& r) { r.setPath(str("/")); }, nullptr},
        {"OtherProtocol", {}, "ftp://h/", nothing, "Unsupported protocol: ftp://h/"},
        {"EmptyProtocol", {}, "://h/", nothing, "Unsupported protocol: ://h/"},
        {"NoHttp", {Flag::DisallowHttp}, "HTTP://h/", nothing, "HTTP is not allowed"},
        {"NoHttps", {Flag::DisallowHttps}, "https://h/", nothing, "HTTPS is not allowed"},
        {"HttpForced",
         {Flag::DisallowHttp},
         "https://h/",
         [](Request& r) { r.setProtocol(Request::Protocol::Http); },
         "HTTP is not allowed"},
        {"HttpsForced",
         {Flag::DisallowHttps},
         "http://h/",
         [](Request& r) { r.setProtocol(Request::Protocol::Https); },
         "HTTPS is not allowed"},
        {"UnknownProtocolValueKeepsThatOfTheUrl",
         {Flag::DisallowHttp},
         "http://h/",
         [](Request& r) { r.setProtocol(static_cast<Request::Protocol>(3)); },
         "HTTP is not allowed"},
        {"Port443MeansHttps",
         {Flag::DisallowHttps},
         nullptr,
         [](Request& r) { r.setHost(str("h"))->setPath(str("/"))->setPort(443); },
         "HTTPS is not allowed"},
        {"Port80MeansHttp",
         {Flag::DisallowHttp},
         nullptr,
         [](Request& r) { r.setHost(str("h"))->setPath(str("/"))->setPort(80); },
         "HTTP is not allowed"},
        {"AnotherPortMeansHttps",
         {Flag::DisallowHttp, Flag::DisallowHttps},
         nullptr,
         [](Request& r) { r.setHost(str("h"))->setPath(str("/"))->setPort(81); },
         "HTTPS is not allowed"},
    };
    for (const Refusal& row : refusals) {
        SCOPED_TRACE(row.name);
        const LogCapture log;
        ProgressRecorder progress;
        const Ref<Request> request = Request::create(row.flags);
        request->setUrl(row.url != nullptr ? str(row.url) : Ref<String>());
        row.set(*request->setDownloadProgressCallback(progress.callback()));
        Error::set(0);
        EXPECT_FALSE(request->perform(0));
        EXPECT_EQ(Error::get(), ErrInvalidArgument);
        EXPECT_FALSE(request->peerAddress());
        EXPECT_EQ(progress.fractions(), std::vector<double>{0.0});
        if (row.record != nullptr) {
            EXPECT_TRUE(log.has(4, "HTTP Client", row.record));
        }
        EXPECT_EQ(log.records().size(), row.record != nullptr ? 1U : 0U);
    }
}

TEST(Request, FailsWithTheRecordOfTheConnection) {
    const LoopbackListener refusing(-1);
    const std::string port = std::to_string(refusing.port());
    const std::string refused = "Failed to connect socket to 127.0.0.1:" + hexDec(refusing.port()) +
                                "; error: " + hexDec(ErrHostBase + ECONNREFUSED);
    const std::string unknown = "; error: " + hexDec(ErrResolverBase + 2);
    struct Case {
        std::string url;
        std::string record;
        std::string peer;
    };
    const Case cases[] = {
        {"http://127.0.0.1:" + port + "/", refused, "127.0.0.1:" + port},
        {"http:///p", "Failed to resolve " + unknown, "(null)"},
        {"http://a@b/p", "Failed to resolve a@b" + unknown, "(null)"},
        {"http://.localhost/", "Failed to resolve .localhost" + unknown, "(null)"},
    };
    for (const Case& row : cases) {
        const LogCapture log(1, 0x999);
        const Ref<Request> request = Request::create({})->setUrl(str(row.url));
        EXPECT_EQ(look(request->perform(0)).error, ErrTransfer) << row.url;
        EXPECT_TRUE(log.has(4, "HTTP Utils", row.record));
        EXPECT_EQ(log.records().size(), 1U);
        EXPECT_EQ(plain(request->peerAddress()), row.peer);
    }
}

TEST(Request, PeerAddressIsThatOfTheLastExchange) {
    ScriptedServer server{ReadHead{}, Ok};
    const Ref<Request> request = requestFor(server);
    EXPECT_TRUE(request->perform(0));
    EXPECT_EQ(plain(request->peerAddress()), "127.0.0.1:" + std::to_string(server.port()));
    EXPECT_FALSE(request->setUrl(str("ftp://h/"))->perform(0));
    EXPECT_FALSE(request->peerAddress());
}

TEST(Probe, TellsWhetherAConnectionCanBeMade) {
    const LoopbackListener listening;
    const LoopbackListener refusing(-1);
    const auto probe = [](const std::string& url) {
        Error::set(0);
        return Request::canConnect(str(url), 12345);
    };
    const std::size_t descriptors = openDescriptors();
    const std::string port = std::to_string(listening.port());
    for (const char* const protocol : {"http", "https", "ftp", "HTTP", ""}) {
        const LogCapture log;
        EXPECT_TRUE(probe(protocol + ("://127.0.0.1:" + port))) << protocol;
        EXPECT_TRUE(log.records().empty());
    }
    EXPECT_EQ(openDescriptors(), descriptors);
    const LogCapture log;
    EXPECT_FALSE(probe("http://127.0.0.1:" + std::to_string(refusing.port()) + "/x"));
    EXPECT_EQ(Error::get(), ErrHostBase + ECONNREFUSED);
    EXPECT_TRUE(log.has(4, "HTTP Utils",
                        "Failed to connect socket to 127.0.0.1:" + hexDec(refusing.port()) +
                            "; error: " + hexDec(ErrHostBase + ECONNREFUSED)));
    EXPECT_EQ(log.records().size(), 1U);
}

TEST(Probe, RefusesWhatItCannotDial) {
    struct Case {
        const char* url;
        const char* record;
    };
    const Case cases[] = {
        {"", nullptr},
        {"nothing", "Invalid URL for connect check: nothing"},
        {"http://h:99999/x", "Invalid URL for connect check: http://h:99999/x"},
        {"ftp://h/x", "Failed to determine port of URL: ftp://h/x"},
        {"ftp://h:0/x", "Failed to determine port of URL: ftp://h:0/x"},
    };
    for (const Case& row : cases) {
        const LogCapture log(1, 0x999);
        Error::set(0);
        EXPECT_FALSE(Request::canConnect(str(row.url), 0));
        EXPECT_EQ(Error::get(), ErrInvalidArgument) << row.url;
        EXPECT_EQ(log.records().size(), row.record != nullptr ? 1U : 0U);
        EXPECT_TRUE(row.record == nullptr || log.has(4, "HTTP Client", row.record)) << row.url;
    }
    EXPECT_FALSE(Request::canConnect(nullptr, 0));
    EXPECT_EQ(Error::get(), ErrNullArgument);
    // A port of 0 or none falls back to the protocol's; the record tells which one was dialled.
    for (const auto& [url, port] :
         {std::pair("http://127.0.0.9", 80), std::pair("https://127.0.0.9:0/", 443)}) {
        const LogCapture log;
        if (!Request::canConnect(str(url), 0)) {
            EXPECT_TRUE(log.hasFailure("Failed to connect socket to 127.0.0.9:" +
                                       hexDec(static_cast<std::uint64_t>(port))));
        }
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
