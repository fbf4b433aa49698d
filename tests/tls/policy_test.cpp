// The certificate policy: every kind of certificate under every set of switches.

#include "tests/tls/session.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

using namespace std::string_literals;

/// How a server's certificate is issued, and what the server sends with it.
enum class Issue {
    ByRoot,
    ByIntermediate,  // which is sent
    ByUnsentIntermediate,
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

Chain makeChain(const Case& row, const Certificate& root) {
    const Certificate intermediate = root.issue(authority("Intermediate"));
    const Certificate unknown = Certificate::selfSigned(authority("Unknown Root"));
    switch (row.issue) {
        case Issue::ByRoot:
            return {root.issue(row.text)};
        case Issue::ByIntermediate:
            return {intermediate.issue(row.text), intermediate};
        case Issue::ByUnsentIntermediate:
            return {intermediate.issue(row.text)};
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
    TlsServer server({.chain = makeChain(row, root)}, "");
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
        EXPECT_EQ(connection.handshake ? connection.serverName : row.host, row.host);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, Policy, testing::ValuesIn(cases()),
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
