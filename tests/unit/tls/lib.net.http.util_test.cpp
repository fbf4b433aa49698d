#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include "net/http/tls/lib.net.http.util.hpp"
#include "tests/tls/openssl_faults.hpp"
#include "tests/tls/session.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

using namespace std::string_literals;

TEST(Policy, ForgivesByClass) {
    for (unsigned switches = 0; switches < 8; ++switches) {
        for (long result = 1; result < 120; ++result) {
            EXPECT_EQ(isForgiven(result, SSLFlags::fromMask(switches)), forgives(switches, result))
                << "result " << result << ", switches " << switches;
        }
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

TEST(NameToString, IsTheOneLineForm) {
    EXPECT_FALSE(nameToString(nullptr));
    const std::unique_ptr<X509_NAME, decltype(&X509_NAME_free)> empty(X509_NAME_new(),
                                                                      X509_NAME_free);
    EXPECT_FALSE(nameToString(empty.get()));
    const Certificate certificate =
        Certificate::selfSigned({.subject = "C=DE/O=Ünïcode AG/OU=a, b/CN=*.a.test"});
    EXPECT_EQ(plain(nameToString(X509_get_subject_name(certificate.x509()))),
              "C = DE, O = Ünïcode AG, OU = \"a, b\", CN = *.a.test");
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
    EXPECT_EQ(plain(timeToString(time)), "2024-03-05 00:00:00");
    time.tm_year = -950;
    time.tm_mon = 11;
    time.tm_mday = 31;
    time.tm_hour = 23;
    time.tm_min = 59;
    time.tm_sec = 60;
    EXPECT_EQ(plain(timeToString(time)), "950-12-31 23:59:60");
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Utils
