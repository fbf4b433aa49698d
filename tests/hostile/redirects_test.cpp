// Redirects that lead somewhere else than an honest server would, or never end.
#include <algorithm>
#include <atomic>

#include "tests/exchange/answers.hpp"
#include "tests/support/bounds.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using namespace std::string_literals;  // NOLINT(google-build-using-namespace): texts that hold NULs

constexpr std::uint64_t Slack = 4U << 20U;  // the buffer of a transfer, and what a first use takes
const std::string Ok = "HTTP/1.1 200 OK\r\n\r\nend";

std::string redirectTo(const std::string& location, const char* status = "302") {
    return "HTTP/1.1 "s + status + " x\r\nLocation: " + location + "\r\nContent-Length: 0\r\n\r\n";
}

struct Target {
    const char* name;
    std::string location;  // of an answer to "/a/b"
    std::string sent;      // as the next request has it
};

TEST(HostileLocation, LeadsToOneLineOnTheSameServer) {
    const Target targets[] = {
        {"ProtocolAndOneSlash", "http:/x", "/a/http%3a/x"},
        {"ProtocolAndNoSlash", "http:x", "/a/http%3ax"},
        {"Script", "javascript:x()", "/a/javascript%3ax()"},
        {"Mail", "mailto:a@b.test", "/a/mailto%3aa@b.test"},
        {"Data", "data:text/html,x", "/a/data%3atext/html%2cx"},
        {"OtherHostWithoutAProtocol", "//other.test/x", "//other.test/x"},
        {"BackSlashes", "\\\\other.test\\x", "/a/%5c%5cother.test%5cx"},
        {"EscapedDots", "/%2e%2e/x", "/%252e%252e/x"},
        {"SignedQuery", "/x?sig=a%2Fb%3D", "/x?sig=a%252Fb%253D"},
        {"Fragment", "/x#part", "/x#part"},
        {"Blanks", " /a b\tc ", "/a%20b%09c"},
        {"ControlBytes", "/\x01\x1b[2J\x7f", "/%01%1b[2J\x7f"},
        {"Nul", "/a\0b"s, "/a%00b"},
        {"NoUtf8", "/\xff\xc3(", "/%c3%bf%c3%83("},
        {"EscapedLineEnd", "/x%0d%0aA: b", "/x%250d%250aA%3a%20b"},
        {"LineEnd", "/x\rA: b", "/x"},
        {"TwoLocations", "/x\r\nLocation: /y\r\nlocation: /z", "/x"},
    };
    for (const Target& row : targets) {
        SCOPED_TRACE(row.name);
        ScriptedServer server{ReadHead{}, Send{redirectTo(row.location)}, NextConnection{},
                              ReadHead{}, Send{Ok}};
        EXPECT_EQ(look(requestFor(server, {}, "/a/b")->perform(0)).body, "end");
        EXPECT_EQ(server.received(1), defaultHead(row.sent));
    }
}

struct Refused {
    const char* name;
    std::string location;
    std::uint32_t error;
    std::string record;  // "URL" stands for the request's
};

TEST(HostileLocation, IsRefusedWithoutAConnection) {
    const std::string protocol = "Unsupported protocol: URL";
    const std::string split = "Failed to split URL: ";
    const std::string noHost = "; error: " + hexDec(ErrResolverBase + 2);
    const std::string longName(300, 'h');
    const Refused rows[] = {
        {"File", "file:///etc/passwd", ErrInvalidArgument, protocol},
        {"Gopher", "gopher://127.0.0.1:1/x", ErrInvalidArgument, protocol},
        {"Ftp", "FTP://127.0.0.1/x", ErrInvalidArgument, protocol},
        {"NoProtocol", "://127.0.0.1/x", ErrInvalidArgument, protocol},
        {"BlankInTheProtocol", "http ://h/", ErrInvalidArgument, protocol},
        {"NulInTheProtocol", "http\0://h/"s, ErrInvalidArgument, protocol},
        {"Password", "http://u:p@h/", ErrInvalidArgument, split + "http://u:p@h/"},
        {"PortTooLarge", "http://h:65536/", ErrInvalidArgument, split + "http://h:65536/"},
        {"PortBelowZero", "http://h:-1/", ErrInvalidArgument, split + "http://h:-1/"},
        {"PortOfNoDigits", "http://h:/", ErrInvalidArgument, split + "http://h:/"},
        {"PortInHexadecimal", "http://h:0x50/", ErrInvalidArgument, split + "http://h:0x50/"},
        {"BracketsWithoutAPort", "http://[::1]/", ErrInvalidArgument, split + "http://[::1]/"},
        {"NoHost", "http:///x", ErrTransfer, "Failed to resolve " + noHost},
        {"LongHost", "http://" + longName + "/", ErrTransfer,
         "Failed to resolve " + longName + noHost},
        {"BlankInTheHost", "http://a b/", ErrTransfer, "Failed to resolve a b" + noHost},
        {"ControlInTheHost", "http://a\x1b[2J/", ErrTransfer,
         "Failed to resolve a\x1b[2J" + noHost},
        {"NulInTheHost", "http://127.0.0.1\0.test/"s, ErrTransfer,
         "Failed to resolve 127.0.0.1\0.test"s + noHost},
        {"UserInTheHost", "http://u@127.0.0.1/", ErrTransfer,
         "Failed to resolve u@127.0.0.1" + noHost},
    };
    for (const Refused& row : rows) {
        SCOPED_TRACE(row.name);
        ScriptedServer server{ReadHead{}, Send{redirectTo(row.location)}};
        const LogCapture log(3);
        const std::size_t descriptors = openDescriptors();
        const MemorySink output;
        EXPECT_EQ(look(requestFor(server)->perform(output.stream(), 0)).error, row.error);
        EXPECT_TRUE(server.finished()) << server.report();
        EXPECT_LE(openDescriptors(), descriptors);
        std::string record = row.record;
        if (record.ends_with("URL")) {
            record.replace(record.size() - 3, 3, server.url("/")->view());
        }
        EXPECT_EQ(log.texts(), std::vector<std::string>{record});
    }
}

struct Round {
    const char* name;
    std::vector<std::string> locations;  // "P" stands for the server's port
    bool isCycle;                        // at the last one
};

TEST(RedirectRound, EndsWhenAUrlComesBackToTheLetter) {
    const Round rounds[] = {
        {"ToItselfByDots", {"./a"}, true},
        {"HostInOtherLetters", {"http://LocalHost:P/a", "http://LOCALHOST:P/a", "/a"}, true},
        {"ProtocolInOtherLetters", {"HTTP://127.0.0.1:P/a", "/a"}, true},
        {"PortWithZeros", {"http://127.0.0.1:0P/a", "http://127.0.0.1:00P/a", "/a"}, true},
        {"OtherNameOfTheHost", {"http://localhost:P/a", "http://127.0.0.1:P/a"}, true},
        {"EscapedLetter", {"/%61", "/%2561", "/%252561"}, false},
        {"FragmentsThatCount", {"/a#1", "/a#2", "/a#3", "/a#4"}, false},
        {"QueriesThatCount", {"?1", "?2", "?3", "?4"}, false},
        {"SlashesThatCount", {"//a", "///a", "////a"}, false},
    };
    for (const Round& row : rounds) {
        SCOPED_TRACE(row.name);
        std::vector<std::string> answers = row.locations;
        const AnsweringServer* self = nullptr;
        std::atomic<std::size_t> asked{0};
        const AnsweringServer server(
            [&](const std::string&) {
                const std::size_t number = asked++;
                std::string location = number < answers.size() ? answers[number] : "";
                const std::size_t mark = location.find('P', 8);
                if (mark != std::string::npos) {
                    location.replace(mark, 1, std::to_string(self->port()));
                }
                return location.empty() ? Ok : redirectTo(location);
            },
            1);
        self = &server;
        const LogCapture log(4);
        const Seen seen = look(Request::create()->setUrl(server.url("/a"))->perform(0));
        EXPECT_EQ(seen.error, row.isCycle ? ErrTransfer : 0);
        EXPECT_EQ(seen.body, row.isCycle ? "" : "end");
        EXPECT_EQ(asked, row.locations.size() + (row.isCycle ? 0U : 1U));
        EXPECT_EQ(log.hasFailure("Cycle detected when redirecting to URL "), row.isCycle);
    }
}

TEST(RedirectRound, OverTwoPortsIsACycle) {
    std::string there;
    const AnsweringServer second([&](const std::string&) { return redirectTo(there); }, 1);
    const AnsweringServer first(
        [&](const std::string&) { return redirectTo(plain(second.url("/"))); }, 1);
    there = plain(first.url("/"));
    const LogCapture log(4);
    EXPECT_EQ(look(Request::create()->setUrl(first.url("/"))->perform(0)).error, ErrTransfer);
    EXPECT_TRUE(log.hasFailure("Cycle detected when redirecting to URL " + there));
}

TEST(RedirectRound, OfARequestWithItsOwnPathIsACycle) {
    ScriptedServer server{ReadHead{}, Send{redirectTo("/x")}, NextConnection{}, ReadHead{},
                          Send{redirectTo("/x")}};
    const LogCapture log(4);
    EXPECT_EQ(look(requestFor(server)->setPath("/own")->perform(0)).error, ErrTransfer);
    EXPECT_TRUE(log.hasFailure("Cycle detected when redirecting to URL "));
    EXPECT_EQ(server.received(1), defaultHead("/own"));
}

TEST(RedirectChain, WithoutEndTakesTheMemoryOfItsUrls) {
    const unsigned hops = isLongForm() ? 10'000 : 1'000;
    const std::size_t before = openDescriptors();
    std::atomic<std::size_t> most{0};
    const AnsweringServer server(
        [&](const std::string& request) {
            most = std::max(most.load(), openDescriptors());
            const unsigned long number = std::stoul(request.substr(request.find('/') + 1));
            return number < hops ? redirectTo("/" + std::to_string(number + 1)) : Ok;
        },
        1);
    const LogCapture quiet(5);
    const Bounds bounds({.bytes = Slack + hops * 512ULL});
    const Seen seen = look(Request::create()->setUrl(server.url("/0"))->perform(0));
    EXPECT_EQ(seen.body, "end");
    EXPECT_EQ(seen.url, plain(server.url("/" + std::to_string(hops))));
    EXPECT_LT(most, before + 8);  // the server's own, one connection, the memory of the transfer
}

TEST(RedirectMethod, IsKeptWhateverTheStatus) {
    for (const char* const status : {"301", "302", "303", "307", "308", "399"}) {
        SCOPED_TRACE(status);
        ScriptedServer server{ReadHead{},
                              ExpectExactly{"abc"},
                              Send{redirectTo("/b", status)},
                              NextConnection{},
                              Expect{"POST /b "},
                              ReadHead{},
                              ExpectExactly{"abc"},
                              Send{Ok}};
        const Ref<Request> request = requestFor(server)->setMethod(Request::Method::Post);
        EXPECT_EQ(look(request->setBody(MemInStrm::create("abc"))->perform(0)).body, "end");
        EXPECT_TRUE(server.finished()) << server.report();
    }
}

TEST(LongLocation, IsFollowedAsFarAsALineGoes) {
    constexpr std::size_t room = 0x100000 - std::string_view("Location: ").size() - 1;
    for (const char* const filling : {"x", "/", "%", "../", "?", "\xff", "\x01"}) {
        SCOPED_TRACE(testing::PrintToString(filling));
        std::string location = *filling == '.' ? "" : "/";
        while (location.size() < room) {
            location += filling;
        }
        location.resize(room);
        ScriptedServer server{ReadHead{},       Send{redirectTo(location)},
                              NextConnection{}, ReadHead{},
                              Send{Ok},         NextConnection{},
                              ReadHead{},       Send{redirectTo(location + "x")}};
        const Ref<Request> request = requestFor(server, {}, "/a");
        const LogCapture log(3);
        // A segment between two slashes takes some 60 bytes while the target is made.
        const Bounds bounds({.bytes = Slack + 80 * room});
        EXPECT_EQ(look(request->perform(0)).body, "end");
        EXPECT_EQ(log.texts(), std::vector<std::string>());
        const Seen cut = look(request->perform(0));
        EXPECT_EQ(cut.status, 302U);
        EXPECT_EQ(cut.url, plain(server.url("/a")));
        EXPECT_FALSE(cut.redirected);
        EXPECT_EQ(log.records(), warnings({NoMore}));
        if (*filling == 'x') {
            EXPECT_TRUE(server.received(1) == defaultHead(location));
        }
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
