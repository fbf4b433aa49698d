// Whole exchanges over TLS: what the engine makes of how a server speaks, and of how it ends.

#include "tests/exchange/exchange.hpp"

#include <thread>

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "tests/support/bounds.hpp"
#include "tests/tls/tls_server.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using Options = TlsServer::Options;
using End = TlsServer::End;
using Opening = TlsServer::Opening;
using Extra = TlsServer::Extra;

const Certificate& root() {
    static const Certificate made = Certificate::selfSigned(authority("Root"));
    return made;
}

/// A certificate for "localhost" of the root, which is trusted from here on.
Chain goodChain() {
    static const Chain made = {root().issue({.names = {"DNS:localhost"}})};
    trustOnly({root()});
    return made;
}
Chain expiredChain() {
    static const Chain made = {root().issue({.names = {"DNS:localhost"},
                                             .notBefore = std::time(nullptr) - 9 * Day,
                                             .notAfter = std::time(nullptr) - 2 * Day})};
    return made;
}

Options options(End end = End::CloseNotify) {
    return {.chain = goodChain(), .end = end};
}

/// Performs a GET. Errors that the application leaves in OpenSSL's queue meanwhile are not the next read's.
Seen get(const TlsServer& server, Flags flags = {}) {
    const Ref<Request> request = Request::create(flags)->setUrl(server.url("/f"));
    request->cancelWhen([] {
        ERR_raise(ERR_LIB_X509, X509_R_KEY_VALUES_MISMATCH);
        return false;
    });
    return look(request->perform(0));
}

struct EndCase {
    const char* name;
    const char* answer;
    End end;
    bool ok;
    const char* body;
    std::uint32_t code;  ///< The thread's error code afterwards, set to 0 before.
    const char* record;  ///< Of level 4; null: none.
};

constexpr const char* NoLength = "HTTP/1.1 200 OK\r\n\r\nabc";
constexpr const char* WithLength = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc";
constexpr const char* TooShort = "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nabc";
constexpr const char* NoTls = "SSL engine failed with 1h (1)";

const std::vector<EndCase>& endCases() {
    static const std::vector<EndCase> all = {
        {"NoLengthOrderly", NoLength, End::CloseNotify, true, "abc", 0, nullptr},
        {"NoLengthCut", NoLength, End::Cut, true, "abc", ErrEndOfStream, nullptr},
        {"NoLengthReset", NoLength, End::Reset, true, "abc", 0x20000 + 104, nullptr},
        {"NoLengthGarbage", NoLength, End::Garbage, true, "abc", ErrTransfer, NoTls},
        {"LengthOrderly", WithLength, End::CloseNotify, true, "abc", 0, nullptr},
        {"LengthCutBehind", WithLength, End::Cut, true, "abc", 0, nullptr},
        {"ShortOrderly", TooShort, End::CloseNotify, false, "", ErrTransfer,
         "Could not receive data; error: "},
        {"ShortCut", TooShort, End::Cut, false, "", ErrTransfer,
         "Could not receive data; error: 15h (21)"},
        {"HeadOrderly", "HTTP/1.1 200 OK\r\nA: b\r\n", End::CloseNotify, true, "", 0, nullptr},
        {"HeadCut", "HTTP/1.1 200 OK\r\nA: b\r\n", End::Cut, true, "", ErrEndOfStream, nullptr},
        {"NothingOrderly", "", End::CloseNotify, false, "", ErrTransfer,
         "Could not receive data; error: "},
        {"NothingCut", "", End::Cut, false, "", ErrTransfer,
         "Could not receive data; error: 15h (21)"},
    };
    return all;
}

void PrintTo(const EndCase& row, std::ostream* out) {
    *out << row.name;
}

class TlsEnd : public testing::TestWithParam<EndCase> {};

TEST_P(TlsEnd, OfAConnection) {
    const EndCase& row = GetParam();
    TlsServer server(options(row.end), row.answer);
    const LogCapture log;
    Error::set(0);
    const Seen seen = get(server);
    const std::uint32_t code = Error::get();
    EXPECT_EQ(seen.ok, row.ok);
    EXPECT_EQ(seen.body, row.body);
    // That the memory body does not map is no failure of the transport.
    EXPECT_EQ(code == ErrNotSupported ? 0 : code, row.code);
    if (row.end != End::Garbage) {  // to which OpenSSL answers by an alert
        EXPECT_FALSE(
            server.connections(1).front().closeNotify);  // the client's end is a silent one
    }
    const std::vector<std::string> failures = log.texts(4);
    EXPECT_EQ(failures.empty(), row.record == nullptr) << testing::PrintToString(failures);
    if (row.record != nullptr && !failures.empty()) {
        EXPECT_THAT(failures[0], testing::HasSubstr(row.record));
    }
}

INSTANTIATE_TEST_SUITE_P(Table, TlsEnd, testing::ValuesIn(endCases()),
                         [](const auto& row) { return row.param.name; });

TEST(TlsOpening, ThatIsNoHandshakeFails) {
    for (const Opening opening :
         {Opening::CloseAtOnce, Opening::CloseAfterHello, Opening::PlainHttp}) {
        Options bad = options();
        bad.opening = opening;
        TlsServer server(bad, "");
        const LogCapture log;
        EXPECT_EQ(get(server, {Flag::SslIgnoreInvalid}).error, ErrTransfer);
        EXPECT_TRUE(log.hasFailure("TLS handshake failed to localhost"))
            << static_cast<int>(opening);
    }
}

TEST(TlsVersions, BothAreSpokenAndCarryAnyRecordSize) {
    const std::string body(100'000, 'b');
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        for (const Extra extra :
             {Extra::None, Extra::Ticket, Extra::KeyUpdate, Extra::Renegotiation}) {
            if ((extra == Extra::Renegotiation) != (version == TLS1_2_VERSION) &&
                extra != Extra::None) {
                continue;  // each belongs to one version
            }
            for (const std::size_t record : {std::size_t{512}, std::size_t{16384}}) {
                Options set = options();
                set.version = version;
                set.extra = extra;
                set.record = record;
                TlsServer server(set, okResponse(body));
                SCOPED_TRACE(testing::Message() << version << " " << static_cast<int>(extra));
                EXPECT_TRUE(get(server).body == body);
                EXPECT_TRUE(server.connections(1).front().extra);
            }
        }
    }
    Options bytes = options();
    bytes.record = 1;
    TlsServer server(bytes, okResponse("one byte a record"));
    EXPECT_EQ(get(server).body, "one byte a record");
}

TEST(TlsVersions, BelowOneTwoAreRefused) {
    for (const int version : {TLS1_VERSION, TLS1_1_VERSION}) {
        Options old = options();
        old.version = version;
        TlsServer server(old, WithLength);
        const LogCapture log;
        EXPECT_EQ(get(server, {Flag::SslIgnoreInvalid}).error, ErrTransfer);
        EXPECT_TRUE(log.hasFailure("SSL error: ")) << version;
    }
}

std::string redirectTo(const Ref<String>& url) {
    return "HTTP/1.1 302 x\r\nLocation: " + plain(url) + "\r\nContent-Length: 0\r\n\r\n";
}

/// The head of a request that has secrets in its fields.
std::string secretHead(const std::string& path, const std::string& host) {
    return "GET " + path +
           " HTTP/1.0\r\nAuthorization: Basic c2VjcmV0\r\nCookie: id=1\r\nHost: " + host +
           "\r\nUser-Agent: " + plain(Request::defaultUserAgent()) + "\r\n\r\n";
}

TEST(TlsRedirect, LeadsBetweenProtocolsBothWays) {
    ScriptedServer plainEnd{ReadHead{}, Send{okResponse("ok")}};
    TlsServer middle(options(), redirectTo(plainEnd.url("/end")));
    ScriptedServer start{ReadHead{}, Send{redirectTo(middle.url("/t"))}};
    const Ref<Request> request = requestFor(start);
    request->setHeaderField("Authorization", "Basic c2VjcmV0")->setHeaderField("Cookie", "id=1");
    const Seen seen = look(request->perform(0));
    EXPECT_EQ(seen.body, "ok");
    EXPECT_EQ(seen.url, plain(plainEnd.url("/end")));
    EXPECT_EQ(middle.connections(1).front().request, secretHead("/t", "localhost"));
    EXPECT_EQ(plainEnd.received(), secretHead("/end", "127.0.0.1"));
}

TEST(TlsRedirect, FromHttpsToHttpCanBeRefused) {
    ScriptedServer end;  // expects no connection
    TlsServer start(options(), redirectTo(end.url("/")));
    const Ref<Request> request = Request::create(Flag::DisallowHttp)->setUrl(start.url("/"));
    const LogCapture log(4);
    EXPECT_EQ(look(request->perform(0)).error, ErrInvalidArgument);
    EXPECT_EQ(log.texts(), std::vector<std::string>{"HTTP is not allowed"});
    EXPECT_EQ(plain(request->peerAddress()), "127.0.0.1:" + std::to_string(start.port()));
    EXPECT_TRUE(end.finished()) << end.report();
}

TEST(TlsRedirect, FromHttpToHttpsCanBeRefused) {
    ScriptedServer end;  // expects no connection
    const std::string location = "https://localhost:" + std::to_string(end.port()) + "/";
    ScriptedServer start{ReadHead{}, Send{redirectTo(str(location))}};
    const Ref<Request> request = requestFor(start, {Flag::DisallowHttps});
    const LogCapture log(4);
    EXPECT_EQ(look(request->perform(0)).error, ErrInvalidArgument);
    EXPECT_EQ(log.texts(), std::vector<std::string>{"HTTPS is not allowed"});
    EXPECT_EQ(plain(request->peerAddress()), "127.0.0.1:" + std::to_string(start.port()));
    EXPECT_TRUE(end.finished()) << end.report();
}

TEST(TlsProbe, AsksForNoCertificate) {
    TlsServer server({.chain = expiredChain()}, "");
    EXPECT_TRUE(Request::canConnect(server.url("/"), 0));
    const LogCapture log;
    goodChain();  // trusts the root
    EXPECT_FALSE(get(server).ok);
}

TEST(TlsRenegotiation, IsJudgedByThePolicyOfTheThreadsLastExchange) {
    Options set = options();
    const TlsServer inner(set, WithLength);
    set.chain = expiredChain();
    set.version = TLS1_2_VERSION;
    set.extra = Extra::Renegotiation;
    set.record = 512;
    const TlsServer outer(set, okResponse(std::string(2000, 'b')));
    const Flags forgiving = Flag::SslIgnoreValidityPeriod;
    for (const Flags nested : {forgiving, Flags()}) {
        const LogCapture log(4);
        const Ref<Request> request = Request::create(forgiving)->setUrl(outer.url("/"));
        request->onDownloadProgress(
            [&](double done) { EXPECT_TRUE(done == 0 || done == 1 || get(inner, nested).ok); });
        const Seen seen = look(request->perform(0));
        EXPECT_EQ(seen.ok, nested == forgiving);
        EXPECT_EQ(log.hasFailure("Certificate error: certificate has expired"), !seen.ok);
    }
}

/// Performs the exchange that a number stands for and checks that its own policy decided.
void exchangeNumber(unsigned number, const TlsServer& good, const TlsServer& expired,
                    const AnsweringServer& plainServer) {
    const bool forgives = number % 2 == 0;
    const Flags flags = forgives ? Flags{Flag::SslIgnoreValidityPeriod}
                                 : Flags{Flag::SslIgnoreInvalid, Flag::SslIgnoreUntrusted};
    const unsigned kind = number / 2 % 4;
    const Ref<String> url = kind == 0   ? plainServer.url("/p")
                            : kind == 1 ? good.url("/g")
                                        : expired.url(kind == 2 ? "/e" : "/cut");
    const Seen seen = look(Request::create(flags)->setUrl(url)->perform(0));
    const bool expectOk = kind < 2 || (kind == 2 && forgives);
    ASSERT_EQ(seen.ok, expectOk) << number;
    if (expectOk) {
        ASSERT_EQ(seen.body, "abc");
    } else {
        ASSERT_EQ(seen.error, ErrTransfer);
    }
}

std::string answerByPath(const std::string& request) {
    return request.starts_with("GET /cut") ? TooShort : WithLength;
}

TEST(TlsMany, ThreadsGetTheirOwnPolicysAnswer) {
    const LogCapture quiet(5);
    const unsigned rounds = isLongForm() ? 900 : 18;  // of which three in four are over TLS
    Options set = options();
    set.threads = 4;
    TlsServer good(set, answerByPath);
    set.chain = expiredChain();
    TlsServer expired(set, answerByPath);
    const AnsweringServer plainServer(answerByPath, 4);
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < 16; ++thread) {
        threads.emplace_back([&, thread] {
            for (unsigned i = 0; i < rounds; ++i) {
                exchangeNumber(thread + i, good, expired, plainServer);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
