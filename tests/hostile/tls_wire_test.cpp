// Whoever stands between can cut, break, change or hold up TLS at any byte: never does a body come out
// that the server has not sent.

#include <openssl/err.h>
#include <openssl/ssl.h>

#include "tests/exchange/exchange.hpp"
#include "tests/hostile/tampered_wire.hpp"
#include "tests/support/bounds.hpp"
#include "tests/support/host_faults.hpp"
#include "tests/tls/tls_server.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

using Harm = TamperedWire::Harm;
using HostFaults::Call;

constexpr const char* NoLength = "HTTP/1.1 200 OK\r\n\r\nabc";
constexpr const char* WithLength = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc";

/// A server of one version behind a wire that can be harmed.
class Wired {
public:
    Wired(int version, const std::string& answer)
        : server_({.chain = trustedChain(), .version = version}, answer), wire_(server_.port()) {}
    TamperedWire& wire() { return wire_; }
    [[nodiscard]] Ref<Request> request() const { return Request::create()->setUrl(wire_.url()); }
    /// Answers how many bytes the server says in an exchange.
    std::size_t length() {
        wire_.harm(Harm::None, 0);
        EXPECT_EQ(look(request()->perform(0)).body, "abc");
        return wire_.forwarded();
    }

private:
    TlsServer server_;
    TamperedWire wire_;
};

/// The failures that an exchange over a harmed wire may tell of first.
bool isExpected(const std::string& record) {
    constexpr std::string_view beginnings[] = {
        "TLS handshake failed to localhost", "Certificate error: ", "Read of ",
        "Could not receive data; error: ", "Failed to write all data to SSL engine; "};
    return std::any_of(std::begin(beginnings), std::end(beginnings),
                       [&](std::string_view begin) { return record.starts_with(begin); });
}

/// Performs over a harmed wire. @param tells  Whether the code has to tell of the harm after an answer.
/// @return Whether it failed.
bool failsOver(Wired& wired, bool tells) {
    const LogCapture log(4);
    Error::set(0);
    const Seen seen = look(wired.request()->perform(0));
    const std::uint32_t code = Error::get();
    EXPECT_EQ(ERR_peek_error(), 0U);
    if (!seen.ok) {
        EXPECT_EQ(seen.error, ErrTransfer);
        EXPECT_TRUE(!log.texts().empty() && isExpected(log.texts()[0]))
            << testing::PrintToString(log.texts());
        return true;
    }
    EXPECT_EQ(seen.body, "abc");
    EXPECT_EQ(seen.status, 200U);
    if (tells && wired.wire().reached()) {
        EXPECT_TRUE(code == ErrEndOfStream || code >= ErrHostBase || code == ErrTransfer) << code;
    }
    return false;
}

TEST(TlsWire, HarmedAtAnyByteYieldsTheServersBodyOrNone) {
    const std::size_t step = isLongForm() ? 1 : 41;
    std::size_t points = 0;
    std::size_t failures = 0;
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        for (const char* const answer : {NoLength, WithLength}) {
            Wired wired(version, answer);
            const std::size_t length = wired.length();
            const ScopedLimits limits(0, 200);  // a length that has changed makes both sides wait
            for (const Harm harm : {Harm::Cut, Harm::Reset, Harm::Flip}) {
                for (std::size_t at = points % step; at < length; at += step, ++points) {
                    SCOPED_TRACE(testing::Message() << version << " " << answer << " "
                                                    << static_cast<int>(harm) << " " << at);
                    wired.wire().harm(harm, at);
                    // Behind a length nobody reads on, and the first record's version means nothing
                    // (RFC 8446, section 5.1).
                    const bool tells = answer == NoLength && !(harm == Harm::Flip && at == 2);
                    failures += failsOver(wired, tells) ? 1U : 0U;
                }
            }
        }
    }
    std::cout << points << " points, " << failures << " failures\n";
    EXPECT_GT(failures, points / 2);
    EXPECT_LT(failures, points);
}

TEST(TlsWire, ChangedInABodyFailsItOrEndsIt) {
    const std::string body(40'000, 'b');  // several records
    for (const bool hasLength : {true, false}) {
        Wired wired(TLS1_3_VERSION,
                    hasLength ? okResponse(body) : "HTTP/1.1 200 OK\r\n\r\n" + body);
        wired.wire().harm(Harm::Flip, 30'000);
        const LogCapture log(4);
        const MemorySink output;
        const Seen seen = look(wired.request()->perform(output.stream(), 0));
        EXPECT_EQ(seen.ok, !hasLength);
        EXPECT_EQ(Error::get(), ErrTransfer);
        EXPECT_TRUE(log.hasFailure("Read of "));
        EXPECT_GT(output.bytes().size(), 16'000U);
        EXPECT_LT(output.bytes().size(), 30'000U);
        EXPECT_TRUE(body.starts_with(output.bytes()));
    }
}

TEST(TlsWire, ThatFallsSilentIsLeftAtTheIdleLimit) {
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        Wired wired(version, NoLength);
        const std::size_t length = wired.length();
        ASSERT_GT(length, 60U);
        const ScopedLimits limits(0, 500);
        for (const std::size_t at : {std::size_t{0}, std::size_t{3}, length / 3, length - 60}) {
            SCOPED_TRACE(testing::Message() << version << " " << at);
            wired.wire().harm(Harm::Stall, at);
            const LogCapture log(4);
            const Seen seen = look(wired.request()->perform(0));
            EXPECT_EQ(seen.ok, false);
            EXPECT_EQ(seen.error, ErrTransfer);
            EXPECT_TRUE(wired.wire().reached());
        }
    }
}

TEST(TlsWire, MayCarryOneByteAtATime) {
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        Wired wired(version, WithLength);
        const std::size_t length = wired.length();
        const HostFaults::Pieces cut(Call::Recv, std::vector<std::size_t>(length, 1));
        const unsigned before = HostFaults::calls(Call::Recv);
        EXPECT_EQ(look(wired.request()->perform(0)).body, "abc");
        EXPECT_GT(HostFaults::calls(Call::Recv) - before, length - 100);  // the end is not read
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
