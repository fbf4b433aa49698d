// The certificate policy: every kind of certificate under every set of switches.

#include <filesystem>
#include <fstream>

#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include "tests/support/bounds.hpp"
#include "tests/tls/session.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

using namespace std::string_literals;

/// How a server's certificate is issued, and what the server sends with it.
enum class Issue {
    ByRoot,
    ByIntermediate,  // which is sent
    ByUnsentIntermediate,
    ByTwoIntermediates,  // of which both are sent
    ByItself,
    ByUnknownRoot,
    ByUnknownRootSent,
};

struct Case {
    const char* name;
    /// The verification results that OpenSSL meets on its way, in their order.
    std::vector<int> results;
    CertificateText text;
    Issue issue = Issue::ByRoot;
    const char* host = "localhost";
    bool bundle = true;
    CertificateText intermediate = authority("Intermediate");
    const char* serverName = nullptr;  // that the client asks for; null: the host
    int version = 0;                   // that the server speaks; 0: any
};

CertificateText leaf(std::vector<std::string> names = {"DNS:localhost"},
                     KeyType key = KeyType::Ec) {
    return {.names = std::move(names), .key = key};
}
CertificateText expired(CertificateText text = leaf()) {
    text.notBefore -= 10 * Day;
    text.notAfter -= 2 * Day;
    return text;
}
CertificateText notYetValid() {
    CertificateText text = leaf();
    text.notBefore += 2 * Day;
    text.notAfter += 2 * Day;
    return text;
}
CertificateText withoutNames(const char* subject) {
    return {.subject = subject};
}
CertificateText forClients() {
    CertificateText text = leaf();
    text.purpose = "clientAuth";
    return text;
}

CertificateText signedBy(const char* digest) {
    CertificateText text = leaf();
    text.digest = digest;
    return text;
}
/// An elliptic key cannot sign with MD5.
CertificateText rsaAuthority() {
    CertificateText text = authority("Intermediate");
    text.key = KeyType::Rsa;
    return text;
}
CertificateText authorityAsServer() {
    CertificateText text = leaf();
    text.authority = true;
    return text;
}
CertificateText limited(int extension, const char* value) {
    CertificateText text = authority("Limited");
    text.extensions = {{extension, value}};
    return text;
}

const std::string longName = std::string(50, 'n') + "." + std::string(250, 'a');

void PrintTo(const Case& row, std::ostream* out) {
    *out << row.name;
}

std::vector<Case> cases() {
    return {
        {"Good", {}, leaf()},
        {"GoodByIntermediate", {}, leaf(), Issue::ByIntermediate},
        {"RsaKey", {}, leaf({"DNS:localhost"}, KeyType::Rsa)},
        {"Ed25519Key", {}, leaf({"DNS:localhost"}, KeyType::Ed25519)},
        {"Expired", {10}, expired()},
        {"NotYetValid", {9}, notYetValid()},
        {"SelfSigned", {18}, leaf(), Issue::ByItself},
        {"SelfSignedAndExpired", {18, 10}, expired(), Issue::ByItself},
        {"UnknownRootInChain", {19}, leaf(), Issue::ByUnknownRootSent},
        {"UnknownIssuer", {20, 21}, leaf(), Issue::ByUnknownRoot},
        {"MissingIntermediate", {20, 21}, leaf(), Issue::ByUnsentIntermediate},
        {"ExpiredAndUnknownIssuer", {20, 21, 10}, expired(), Issue::ByUnknownRoot},
        {"NoBundle", {20, 21}, leaf(), Issue::ByRoot, "localhost", false},
        {"WrongHost", {62}, leaf({"DNS:elsewhere.test"})},
        {"ExpiredAndWrongHost", {62, 10}, expired(leaf({"DNS:elsewhere.test"}))},
        {"SecondName", {}, leaf({"DNS:elsewhere.test", "DNS:localhost"})},
        {"LetterCaseOfNames", {}, leaf({"DNS:LocalHost"}), Issue::ByRoot, "LOCALhost"},
        {"Wildcard", {}, leaf({"DNS:*.a.test"}), Issue::ByRoot, "www.a.test"},
        {"WildcardIsOneLabel", {62}, leaf({"DNS:*.a.test"}), Issue::ByRoot, "b.www.a.test"},
        {"PartialWildcardFront", {62}, leaf({"DNS:w*.a.test"}), Issue::ByRoot, "www.a.test"},
        {"PartialWildcardBack", {62}, leaf({"DNS:*w.a.test"}), Issue::ByRoot, "www.a.test"},
        {"Address", {}, leaf({"IP:127.0.0.1"}), Issue::ByRoot, "127.0.0.1"},
        {"AddressAmongOthers", {64}, leaf({"IP:127.0.0.2"}), Issue::ByRoot, "127.0.0.1"},
        {"AddressAsDnsName", {64}, leaf({"DNS:127.0.0.1"}), Issue::ByRoot, "127.0.0.1"},
        {"CommonNameAlone", {}, withoutNames("CN=localhost")},
        {"OtherCommonNameAlone", {62}, withoutNames("CN=elsewhere.test")},
        {"NulInName", {62}, leaf({"DNS:localhost\0.evil.test"s})},
        {"WrongPurpose", {26}, forClients()},
    };
}

std::vector<Case> furtherCases() {
    return {
        {"WildcardIsNotTheDomain", {62}, leaf({"DNS:*.a.test"}), Issue::ByRoot, "a.test"},
        {"WildcardOfATopLevel", {62}, leaf({"DNS:*.test"}), Issue::ByRoot, "a.test"},
        {"AddressOfTheOtherKind", {}, leaf({"IP:::1"}), Issue::ByRoot, "::1"},
        {"AddressInBrackets", {62}, leaf({"IP:::1"}), Issue::ByRoot, "[::1]"},
        {"DotAtTheEnd", {62}, leaf(), Issue::ByRoot, "localhost."},
        {"HostBeyondAscii", {62}, leaf(), Issue::ByRoot, "m\u00fcnchen.test"},
        {"HostTooLongToAskFor", {62}, leaf(), Issue::ByRoot, longName.c_str(), true, {}, "(none)"},
        {"AuthorityAsServer", {26}, authorityAsServer()},
        {"PathTooLong",
         {25},
         leaf(),
         Issue::ByTwoIntermediates,
         "localhost",
         true,
         limited(NID_basic_constraints, "critical,CA:TRUE,pathlen:0")},
        {"NameNotPermitted",
         {47},
         leaf(),
         Issue::ByIntermediate,
         "localhost",
         true,
         limited(NID_name_constraints, "critical,permitted;DNS:a.test")},
        {"NameExcluded",
         {48},
         leaf(),
         Issue::ByIntermediate,
         "localhost",
         true,
         limited(NID_name_constraints, "critical,excluded;DNS:localhost")},
        {"WeakKey", {66}, leaf({"DNS:localhost"}, KeyType::Rsa1024)},
        {"WeakestKey",  // too short to sign a handshake of TLS 1.3
         {66},
         leaf({"DNS:localhost"}, KeyType::Rsa512),
         Issue::ByRoot,
         "localhost",
         true,
         {},
         nullptr,
         TLS1_2_VERSION},
        {"WeakSignature", {68}, signedBy("SHA1")},
        {"WeakestSignature",
         {68},
         signedBy("MD5"),
         Issue::ByIntermediate,
         "localhost",
         true,
         rsaAuthority()},
    };
}

Chain makeChain(const Case& row, const Certificate& root) {
    const Certificate intermediate = root.issue(row.intermediate);
    const Certificate unknown = Certificate::selfSigned(authority("Unknown Root"));
    switch (row.issue) {
        case Issue::ByRoot:
            return {root.issue(row.text)};
        case Issue::ByIntermediate:
            return {intermediate.issue(row.text), intermediate};
        case Issue::ByUnsentIntermediate:
            return {intermediate.issue(row.text)};
        case Issue::ByTwoIntermediates: {
            const Certificate second = intermediate.issue(authority("Second"));
            return {second.issue(row.text), second, intermediate};
        }
        case Issue::ByUnknownRoot:
            return {unknown.issue(row.text)};
        case Issue::ByUnknownRootSent:
            return {unknown.issue(row.text), unknown};
        default:
            return {Certificate::selfSigned(row.text)};
    }
}

struct Expected {
    bool accepted = true;
    std::vector<std::string> records;
};

/// What the rule makes of the results, one after the other up to the first that is not forgiven.
Expected judge(const Case& row, unsigned switches) {
    Expected expected;
    const auto add = [&](int level, const std::string& text) {
        expected.records.push_back(std::to_string(level) + " HTTP Utils: " + text);
    };
    for (const int result : row.results) {
        expected.accepted = forgives(switches, result);
        add(expected.accepted ? 3 : 4,
            "Certificate error: "s + X509_verify_cert_error_string(result));
        if (!expected.accepted) {
            add(4, "TLS handshake failed to "s + row.host + "; error: 1h (1)");
            add(4, "SSL error: error:0A000086:SSL routines::certificate verify failed");
            return expected;
        }
    }
    if (!row.results.empty()) {
        const int last = row.results.back();
        add(3, "Certificate verification failed for "s + row.host + " with " +
                   X509_verify_cert_error_string(last) + " (" +
                   hexDec(static_cast<std::uint64_t>(last)) + ")");
    }
    return expected;
}

class Policy : public testing::TestWithParam<Case> {};

TEST_P(Policy, ForgivesItsOwnClassAlone) {
    const Case& row = GetParam();
    const Certificate root = Certificate::selfSigned(authority("Root"));
    trustOnly({root});
    if (!row.bundle) {
        removeTrustedRoots();
    }
    TlsServer server({.chain = makeChain(row, root), .version = row.version}, "");
    for (unsigned switches = 0; switches < 8; ++switches) {
        SCOPED_TRACE("switches " + std::to_string(switches));
        const Expected expected = judge(row, switches);
        const LogCapture log;
        const Ref<Socket> socket = socketTo(server);
        Error::set(0x1234);
        Ref<NetStream> stream =
            createSSLStream(socket, str(row.host), SSLFlags::fromMask(switches));
        EXPECT_EQ(static_cast<bool>(stream), expected.accepted);
        EXPECT_EQ(Error::get(), expected.accepted ? 0x1234 : Client::ErrTransfer);
        EXPECT_EQ(ERR_peek_error(), 0U);
        stream.reset();
        EXPECT_EQ(socket->referenceCount(), 1U);
        // All records: what OpenSSL asks of the connection leaves none either.
        EXPECT_EQ(linesOf(log), expected.records);
    }
    for (const TlsServer::Connection& connection : server.connections(8)) {
        EXPECT_FALSE(connection.resumed);
        const std::string name = row.serverName != nullptr ? row.serverName : row.host;
        EXPECT_EQ(connection.handshake ? connection.serverName : name, name);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, Policy, testing::ValuesIn(cases()),
                         [](const auto& row) { return row.param.name; });
INSTANTIATE_TEST_SUITE_P(Further, Policy, testing::ValuesIn(furtherCases()),
                         [](const auto& row) { return row.param.name; });

TEST(Policy, ReadsTheBundleAnewForEveryConnection) {
    const Certificate first = Certificate::selfSigned(authority("First"));
    const Certificate second = Certificate::selfSigned(authority("Second"));
    TlsServer server({.chain = {second.issue(leaf())}}, "");
    const LogCapture log;
    trustOnly({first});
    EXPECT_FALSE(streamTo(server));
    trustOnly({first, second});
    EXPECT_TRUE(streamTo(server));
    trustOnly({});
    EXPECT_FALSE(streamTo(server));
}

TEST(Policy, FindsNoIssuerInABundleThatIsNone) {
    namespace fs = std::filesystem;
    const Certificate root = Certificate::selfSigned(authority("Root"));
    trustOnly({root});
    TlsServer server({.chain = {root.issue(leaf())}}, "");
    const fs::path bundle = trustedRoots();
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"Garbage", [&] { std::ofstream(bundle) << std::string(100'000, '\x80'); }},
        {"GarbageAsPem",
         [&] {
             std::ofstream(bundle) << "-----BEGIN CERTIFICATE-----\nMIIB\n"
                                      "-----END CERTIFICATE-----\n";
         }},
        {"Folder", [&] { fs::create_directory(bundle); }},
        {"LinkToItself", [&] { fs::create_symlink(bundle, bundle); }},
    };
    for (const auto& [name, make] : cases) {
        SCOPED_TRACE(name);
        fs::remove(bundle);
        make();
        const LogCapture log;
        EXPECT_FALSE(streamTo(server));
        EXPECT_EQ(linesOf(log).at(0),
                  "4 HTTP Utils: Certificate error: unable to get local issuer certificate");
    }
    fs::remove(bundle);
    trustOnly({root});
    EXPECT_TRUE(streamTo(server));
}

std::vector<std::string> manyNames(const std::string& before, std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back(before + std::to_string(i) + ".test");
    }
    return names;
}

/// A root that permits so many domains besides the host.
CertificateText permitting(std::size_t count) {
    std::string value = "critical,permitted;DNS:localhost";
    for (const std::string& name : manyNames(",permitted;DNS:n", count)) {
        value += name;
    }
    CertificateText text = authority("Root");
    text.extensions = {{NID_name_constraints, value}};
    return text;
}

/// OpenSSL has limits of its own: 100 certificates, 100 KiB of them, 2^20 comparisons of names.
TEST(Policy, OfLargeChainsIsThatOfOpenSsl) {
    struct Large {
        const char* name;
        std::size_t intermediates;
        std::size_t names;
        std::size_t permitted;
        std::string record;  // the first one; empty: accepted, without any
    };
    const std::string tooLong = "Certificate error: certificate chain too long";
    const std::string unspecified = "Certificate error: unspecified certificate verification error";
    const std::string notVerified = "TLS handshake failed to localhost; error: 1h (1)";
    for (const Large& row : {Large{"NinetyIntermediates", 90, 1, 0, ""},
                             Large{"HundredAndTwentyIntermediates", 120, 1, 0, tooLong},
                             Large{"ThreeThousandNames", 0, 3000, 0, ""},
                             Large{"TenThousandNames", 0, 10'000, 0, notVerified},
                             Large{"NamesByConstraints", 0, 500, 500, ""},
                             Large{"TooManyNamesByConstraints", 0, 2500, 1000, unspecified}}) {
        SCOPED_TRACE(row.name);
        const Certificate root = Certificate::selfSigned(
            row.permitted != 0 ? permitting(row.permitted) : authority("Root"));
        trustOnly({root});
        Chain chain = {root};
        for (std::size_t i = 0; i < row.intermediates; ++i) {
            chain.insert(chain.begin(), chain.front().issue(authority("I" + std::to_string(i))));
        }
        std::vector<std::string> names = manyNames("DNS:n", row.names);
        names.emplace_back("DNS:localhost");
        chain.insert(chain.begin(), chain.front().issue({.names = names}));
        TlsServer server({.chain = chain}, "");
        const LogCapture log;
        Ref<NetStream> stream;
        {
            const Bounds bounds({.bytes = 16U << 20U, .seconds = 0.5});
            stream = streamTo(server);
        }
        const std::vector<std::string> texts = log.texts();
        EXPECT_EQ(static_cast<bool>(stream), row.record.empty());
        EXPECT_EQ(texts.empty() ? "" : texts[0], row.record);
        EXPECT_EQ(ERR_peek_error(), 0U);
    }
}

TEST(Policy, DoesNotAskWhetherACertificateWasRevoked) {
    const Certificate root = Certificate::selfSigned(authority("Root"));
    const Certificate revoked = root.issue(leaf());
    trustOnly({root}, root.revocationOf(revoked));
    TlsServer server({.chain = {revoked}}, "");
    const LogCapture log;
    EXPECT_TRUE(streamTo(server));
    EXPECT_TRUE(log.records().empty());
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Utils
