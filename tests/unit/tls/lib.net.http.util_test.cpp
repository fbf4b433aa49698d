#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include "net/http/tls/lib.net.http.util.hpp"
#include "tests/tls/live_objects.hpp"
#include "tests/tls/openssl_faults.hpp"
#include "tests/tls/session.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

using namespace std::string_literals;

using StoreContext = std::unique_ptr<X509_STORE_CTX, decltype(&X509_STORE_CTX_free)>;

TEST(Policy, ForgivesByClass) {
    for (unsigned switches = 0; switches < 8; ++switches) {
        for (long result = 1; result < 120; ++result) {
            EXPECT_EQ(isForgiven(result, SSLFlags::fromMask(switches)), forgives(switches, result))
                << "result " << result << ", switches " << switches;
        }
    }
}

TEST(VerifyCallback, HasTheEmptyPolicyOnAThreadWithoutAHandshake) {
    const StoreContext store(X509_STORE_CTX_new(), X509_STORE_CTX_free);
    const LogCapture log;
    for (const int result : {10, 18, 20}) {
        X509_STORE_CTX_set_error(store.get(), result);
        EXPECT_EQ(verifyCallback(1, store.get()), 1);
        EXPECT_EQ(verifyCallback(7, store.get()), 7);
        EXPECT_EQ(verifyCallback(0, store.get()), 0);
    }
    EXPECT_EQ(linesOf(log),
              (std::vector<std::string>{
                  "4 HTTP Utils: Certificate error: certificate has expired",
                  "4 HTTP Utils: Certificate error: self-signed certificate",
                  "4 HTTP Utils: Certificate error: unable to get local issuer certificate"}));
}

TEST(VerifyCallback, KeepsThePolicyOfTheThreadsLastHandshake) {
    trustOnly({});
    TlsServer server({.chain = {Certificate::selfSigned({})}}, "");
    const StoreContext store(X509_STORE_CTX_new(), X509_STORE_CTX_free);
    X509_STORE_CTX_set_error(store.get(), X509_V_ERR_CERT_HAS_EXPIRED);
    const LogCapture log;
    for (const auto& [policy, answer] :
         {std::pair(SSLFlags(SSLFlag::IgnoreValidityPeriod), 1), std::pair(SSLFlags(), 0)}) {
        EXPECT_FALSE(createSSLStream(socketTo(server), str("localhost"), policy));
        EXPECT_EQ(verifyCallback(0, store.get()), answer);
    }
}

TEST(Policy, ForgivesAServerToHaveNoCertificateWithTheInvalidOnes) {
    const Certificate certificate = Certificate::selfSigned({.names = {"DNS:localhost"}});
    trustOnly({certificate});
    TlsServer server({.chain = {certificate}}, "");
    for (unsigned switches = 0; switches < 8; ++switches) {
        const SSLFlags flags = SSLFlags::fromMask(switches);
        const bool forgiven = flags.has(SSLFlag::IgnoreInvalid);
        const Ref<Socket> socket = socketTo(server);
        const LogCapture log;
        const SslFault fault(SslCall::PeerCertificate);
        EXPECT_EQ(static_cast<bool>(createSSLStream(socket, str("localhost"), flags)), forgiven);
        EXPECT_EQ(linesOf(log),
                  std::vector<std::string>{std::string(forgiven ? "3" : "4") +
                                           " HTTP Utils: No server certificate for localhost"});
    }
}

struct SetUpFailure {
    const char* name;
    SslCall call;
    std::vector<std::string> records;  // the beginning of each
};

const std::vector<SetUpFailure>& setUpFailures() {
    static const std::vector<SetUpFailure> all = {
        {"Bio",
         SslCall::BioNew,
         {"4 OpenSSL.BIO: Failed to create BIO for socket",
          "4 HTTP Utils: Failed to create BIO from socket"}},
        {"Context",
         SslCall::ContextNew,
         {"4 HTTP Utils: SSL error: ", "4 HTTP Utils: Failed to initialize SSL CTX"}},
        {"Connection", SslCall::SslNew, {"4 HTTP Utils: Failed to initialize SSL"}},
        {"HandshakeShutDown",
         SslCall::Connect,
         {"4 HTTP Utils: TLS handshake failed to localhost"}},
    };
    return all;
}

class SetUp : public testing::TestWithParam<SetUpFailure> {};

TEST_P(SetUp, LeavesTheSocketToItsCallerWhenItFails) {
    const SetUpFailure& row = GetParam();
    const Ref<Socket> socket = Socket::create({}, 1, 6);
    const LiveObjects before = liveObjects();
    LogCapture log(1, 0x999);
    {
        const SslFault fault(row.call);
        EXPECT_FALSE(createSSLStream(socket, str("localhost"), {}));
    }
    EXPECT_EQ(Error::get(), Client::ErrTransfer);
    EXPECT_EQ(socket->referenceCount(), 1U);
    EXPECT_EQ(liveObjects(), before);
    const std::vector<std::string> lines = linesOf(log);
    ASSERT_EQ(lines.size(), row.records.size()) << testing::PrintToString(lines);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        // That of OpenSSL's queue goes on with OpenSSL's own words.
        const bool open = row.records[i].ends_with("error: ");
        EXPECT_EQ(open ? lines[i].substr(0, row.records[i].size()) : lines[i], row.records[i]);
    }
    ERR_clear_error();
}

INSTANTIATE_TEST_SUITE_P(Table, SetUp, testing::ValuesIn(setUpFailures()),
                         [](const auto& row) { return row.param.name; });

TEST(SetUp, OverNoSocketFailsWithItsOwnCode) {
    const LogCapture log;
    EXPECT_FALSE(createSSLStream(nullptr, str("localhost"), {}));
    EXPECT_EQ(Error::get(), Client::ErrTransfer);
    EXPECT_EQ(linesOf(log),
              std::vector<std::string>{"4 HTTP Utils: Failed to create BIO from socket"});
}

TEST(NameToString, IsTheOneLineForm) {
    EXPECT_FALSE(nameToString(nullptr));
    const std::unique_ptr<X509_NAME, decltype(&X509_NAME_free)> empty(X509_NAME_new(),
                                                                      X509_NAME_free);
    EXPECT_FALSE(nameToString(empty.get()));
    const Certificate certificate =
        Certificate::selfSigned({.subject = "C=DE/O=Ünïcode AG/OU=a, b/CN=*.a.test"});
    X509_NAME* const name = X509_get_subject_name(certificate.x509());
    const std::string text = "C = DE, O = Ünïcode AG, OU = \"a, b\", CN = *.a.test";
    EXPECT_EQ(plain(nameToString(name)), text);
    ASSERT_EQ(text.size(), 0x34U);
    const LogCapture log;
    {
        const SslFault fault(SslCall::BioNew);
        EXPECT_FALSE(nameToString(name));
    }
    const SslFault fault(SslCall::BioRead);
    EXPECT_FALSE(nameToString(name));
    EXPECT_EQ(
        linesOf(log),
        (std::vector<std::string>{
            "4 HTTP Utils: Failed to create BIO for printing X509 data",
            "4 HTTP Utils: Failed to read X509 data from BIO with pending size of 34h (52)"}));
}

std::string joined(const Ref<TVector<Ref<String>>>& names) {
    std::string text = names ? "" : "(null)";
    if (names) {
        for (const Ref<String>& name : *names) {
            text += plain(name) + ";";
        }
    }
    return text;
}

TEST(SubjectAltNames, ListsTheDnsNamesInOrder) {
    const auto list = [](std::vector<std::string> names) {
        const Certificate certificate = Certificate::selfSigned({.names = std::move(names)});
        return joined(subjectAltNames(certificate.x509()));
    };
    const LogCapture log;
    EXPECT_EQ(joined(subjectAltNames(nullptr)), "(null)");
    EXPECT_EQ(list({}), "(null)");  // no extension
    EXPECT_EQ(list({"IP:127.0.0.1"}), "");
    EXPECT_EQ(list({"DNS:b.test", "IP:::1", "DNS:a.test", "DNS:b.test"}), "b.test;a.test;b.test;");
    EXPECT_EQ(list({"DNS:caf\xE9.test"}), "café.test;");
    EXPECT_TRUE(linesOf(log).empty());
    EXPECT_EQ(list({"DNS:a\0b\0c"s, "DNS:\0"s, "DNS:d"}), "a;;d;");
    const Certificate certificate =
        Certificate::selfSigned({.names = {"IP:127.0.0.1", "DNS:a", "DNS:b", "DNS:c"}});
    const SslFault fault(SslCall::ToUtf8, 1);  // making a certificate calls it as well
    EXPECT_EQ(joined(subjectAltNames(certificate.x509())), "a;c;");
    const std::string mismatch =
        "3 HTTP Utils: Length for DNS string does not match (embedded NULL?), got ";
    EXPECT_EQ(linesOf(log), (std::vector<std::string>{
                                mismatch + "5h (5) and 1h (1)", mismatch + "1h (1) and 0h (0)",
                                "4 HTTP Utils: Failed to retrieve entry 2h (2)"}));
}

TEST(SubjectAltNames, OfAnExtensionWithoutEntries) {
    const Certificate certificate = Certificate::selfSigned({});
    const std::unique_ptr<GENERAL_NAMES, decltype(&GENERAL_NAMES_free)> none(
        sk_GENERAL_NAME_new_null(), GENERAL_NAMES_free);
    ASSERT_EQ(X509_add1_ext_i2d(certificate.x509(), NID_subject_alt_name, none.get(), 0, 0), 1);
    EXPECT_FALSE(subjectAltNames(certificate.x509()));
}

TEST(TimeToString, PadsAllButTheYear) {
    struct tm time = {};
    time.tm_year = 124;
    time.tm_mon = 2;
    time.tm_mday = 5;
    time.tm_hour = 7;
    time.tm_min = 8;
    time.tm_sec = 9;
    EXPECT_EQ(plain(timeToString(time)), "2024-03-05 07:08:09");
    time.tm_year = 8099;
    time.tm_mon = 11;
    time.tm_mday = 31;
    time.tm_hour = 23;
    time.tm_min = 59;
    time.tm_sec = 60;
    EXPECT_EQ(plain(timeToString(time)), "9999-12-31 23:59:60");
    time.tm_year = -950;
    EXPECT_EQ(plain(timeToString(time)), "950-12-31 23:59:60");
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Utils
