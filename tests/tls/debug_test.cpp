// The trace of a handshake and the dump of its certificates. The library reads its switches once, so
// this program has them on throughout.

#include <ctime>

#include "platform/runtime/system.hpp"

#include "tests/exchange/exchange.hpp"
#include "tests/tls/tls_server.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;
using testing::StartsWith;
using namespace std::string_literals;

constexpr const char* Time = ": [0-9]{4}-[01][0-9]-[0-3][0-9] [0-2][0-9]:[0-5][0-9]:[0-6][0-9]";

std::string utc(const char* label, std::time_t time) {
    struct tm parts = {};
    gmtime_r(&time, &parts);
    char text[64] = {};
    (void)std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", &parts);
    return label + ": "s + text;
}

/// Performs a GET with a policy and answers the records of "HTTP Utils".
std::vector<std::string> records(const TlsServer& server, Flags flags, std::uint32_t level = 1) {
    const LogCapture log(level);
    EXPECT_TRUE(look(Request::create(flags)->setUrl(server.url("/"))->perform(0)).ok);
    std::vector<std::string> texts;
    for (const LogCapture::Record& record : log.records()) {
        if (record.channel == "HTTP Utils") {
            texts.push_back(record.text);
        }
    }
    return texts;
}

class TlsDebug : public testing::Test {
protected:
    static void SetUpTestSuite() {
        Sys::setBootParameter(
            str("x lib.net.http.connect.debug=0 lib.net.http.connect.debug "
                "lib.net.http.sslcerts.debug"));
    }
};

TEST_F(TlsDebug, ShowsEveryCertificateOfAChainOnce) {
    const Certificate root = Certificate::selfSigned(authority("Root"));
    const Certificate middle = root.issue(authority("Middle"));
    CertificateText text = {.subject = "O=Acme/CN=leaf",
                            .names = {"DNS:localhost", "IP:127.0.0.1", "DNS:b.test"}};
    trustOnly({root});
    const TlsServer server({.chain = {middle.issue(text), middle}},
                           "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    EXPECT_THAT(records(server, {}, 2), testing::IsEmpty());  // the switches raise no level
    EXPECT_THAT(
        records(server, {}),
        ElementsAre("Connecting to localhost:" + hexDec(server.port()),
                    "Resolved to 127.0.0.1:" + std::to_string(server.port()),
                    "Socket created; connecting", "Connected", "Starting TLS handshake",  //
                    "Got certificate at depth 2h (2)", "Issuer: CN = Root", "Subject: CN = Root",
                    MatchesRegex("Not Before"s + Time), MatchesRegex("Not After"s + Time),
                    MatchesRegex("Current"s + Time),  //
                    "Got certificate at depth 1h (1)", "Issuer: CN = Root", "Subject: CN = Middle",
                    MatchesRegex("Not Before"s + Time), MatchesRegex("Not After"s + Time),
                    MatchesRegex("Current"s + Time),  //
                    "Got certificate at depth 0h (0)", "Issuer: CN = Middle",
                    "Subject: O = Acme, CN = leaf", utc("Not Before", text.notBefore),
                    utc("Not After", text.notAfter), MatchesRegex("Current"s + Time),
                    "SAN:", "localhost", "b.test", "Handshake done"));
}

TEST_F(TlsDebug, AnnouncesEverySwitchAndListsNoAddresses) {
    const Certificate self = Certificate::selfSigned({.names = {"IP:127.0.0.1"}});
    trustOnly({});
    const TlsServer server({.chain = {self}}, "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
    const std::vector<std::string> texts = records(
        server, {Flag::SslIgnoreInvalid, Flag::SslIgnoreValidityPeriod, Flag::SslIgnoreUntrusted});
    ASSERT_GE(texts.size(), 9U);
    EXPECT_EQ(std::vector<std::string>(texts.begin() + 4, texts.begin() + 8),
              (std::vector<std::string>{
                  "Starting TLS handshake", "Ignoring potentially invalid certificates",
                  "Ignoring certificates that are not yet valid or no longer valid",
                  "Ignoring untrusted certificates"}));
    EXPECT_THAT(texts, testing::Contains(StartsWith("Certificate verification failed for ")));
    EXPECT_THAT(texts, testing::Not(testing::Contains("SAN:")));
    EXPECT_EQ(texts.back(), "Handshake done");
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
