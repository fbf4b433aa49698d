#include "net/http/tls/ssl_stream.hpp"

#include <openssl/ssl.h>

#include "net/http/tls/stream_bio.hpp"
#include "tests/tls/live_objects.hpp"
#include "tests/tls/session.hpp"
#include "tests/unit/tls/fake_transport.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

using End = TlsServer::End;

constexpr std::uint32_t Before = 0x1234;
constexpr std::string_view Request = "GET / HTTP/1.0\r\n\r\n";

std::int64_t write(NetStream& stream, std::string_view text) {
    return stream.write(TransferBuffer::plain(text.data()), text.size(), NoTimeout);
}

struct Ending {
    const char* name;
    End end;
    std::uint32_t code;
    std::vector<std::string> records;
};

const std::vector<Ending>& endings() {
    static const std::vector<Ending> all = {
        {"CloseNotify", End::CloseNotify, Before, {}},
        // The connection's own end is all that OpenSSL hears of, so the network's code stands.
        {"Cut", End::Cut, ErrEndOfStream, {}},
        {"Reset",
         End::Reset,
         0x20068,
         {"3 OpenSSL.BIO: Read nothing from socket for BIO; error: 20068h (131176)"}},
        {"Garbage",
         End::Garbage,
         Client::ErrTransfer,
         {"4 HTTP Utils: Read of 800h (2048) from SSL engine failed with 1h (1)"}},
    };
    return all;
}

class SslStreamEnd : public testing::TestWithParam<Ending> {};

TEST_P(SslStreamEnd, TellsHowTheConnectionEnded) {
    const Ending& row = GetParam();
    const Certificate root = Certificate::selfSigned(authority("Root"));
    trustOnly({root});
    const std::string answer(5000, 'a');
    for (const int version : {TLS1_2_VERSION, TLS1_3_VERSION}) {
        SCOPED_TRACE(version);
        TlsServer server({.chain = {root.issue({.names = {"DNS:localhost"}})},
                          .version = version,
                          .end = row.end},
                         answer);
        const Ref<NetStream> stream = streamTo(server);
        ASSERT_TRUE(stream);
        leaveSslError();
        ASSERT_EQ(write(*stream, Request), static_cast<std::int64_t>(Request.size()));
        const LogCapture log;
        std::string received;
        std::string bytes(2055, '#');
        TransferBuffer buffer = TransferBuffer::plain(bytes.data());
        buffer.offset = 7;
        std::int64_t count = 0;
        do {
            received.append(bytes, 7, static_cast<std::size_t>(count));
            leaveSslError();  // an old error is not one of the call
            Error::set(Before);
            count = stream->read(buffer, 2048, NoTimeout);
        } while (count > 0);
        EXPECT_EQ(count, 0);
        EXPECT_EQ(Error::get(), row.code);
        EXPECT_EQ(linesOf(log), row.records);
        EXPECT_EQ(ERR_peek_error(), 0U);
        EXPECT_EQ(received, answer);
        EXPECT_EQ(bytes.substr(0, 7), "#######");
        EXPECT_EQ(stream->read(buffer, 2048, NoTimeout), 0);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, SslStreamEnd, testing::ValuesIn(endings()),
                         [](const auto& row) { return row.param.name; });

/// A stream over a transport of the test. No handshake is done: the first transfer begins one.
Ref<NetStream> streamOver(const Ref<Socket>& socket) {
    SslCtxPtr context(SSL_CTX_new(TLS_client_method()));
    SslPtr ssl(SSL_new(context.get()));
    BIO* const bio = createStreamBio(socket).release();  // the SSL object's from here on
    SSL_set_bio(ssl.get(), bio, bio);
    SSL_set_connect_state(ssl.get());
    return Ref<SSLStream>::make(socket, std::move(context), std::move(ssl));
}

TEST(SslStream, ReportsAWriteThatFails) {
    const auto socket = Ref<FakeSocket>::make();
    const Ref<NetStream> stream = streamOver(socket);
    socket->transport.outcomes = {{0, 0x20020}};
    leaveSslError();
    const LogCapture log(1, 0x999);  // a sink that leaves a code of its own
    EXPECT_EQ(write(*stream, "hello"), -1);
    EXPECT_EQ(Error::get(), Client::ErrTransfer);
    EXPECT_EQ(linesOf(log, "HTTP Utils"),
              std::vector<std::string>{"4 HTTP Utils: Failed to write all data to SSL engine; "
                                       "expected to write 5h (5), but wrote ffffffffh (-1)"});
    EXPECT_EQ(linesOf(log, "OpenSSL.BIO"),
              std::vector<std::string>{"3 OpenSSL.BIO: Wrote nothing to socket from BIO; error: " +
                                       hexDec(0x20020)});
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(SslStream, LeavesTheCodeOfATransportThatFails) {
    const auto socket = Ref<FakeSocket>::make();
    const Ref<NetStream> stream = streamOver(socket);
    socket->transport.outcomes = {{UINT64_MAX, 0}, {0, 0x2006E}};
    char byte = 0;
    leaveSslError();
    const LogCapture log(1, 0x999);
    EXPECT_EQ(stream->read(TransferBuffer::plain(&byte), 1, NoTimeout), 0);
    EXPECT_EQ(Error::get(), 0x2006EU);
    EXPECT_TRUE(linesOf(log, "HTTP Utils").empty());
    EXPECT_EQ(ERR_peek_error(), 0U);
}

/// Looks, when it goes, at what of OpenSSL is still there.
class LastSocket final : public Object, public virtual Socket {
public:
    explicit LastSocket(LiveObjects& atTheEnd) : atTheEnd_(atTheEnd) {}
    LastSocket(const LastSocket&) = delete;
    LastSocket& operator=(const LastSocket&) = delete;
    ~LastSocket() override { atTheEnd_ = liveObjects(); }
    bool connect(const Services::Network::Definitions::IPEndpoint&, std::uint32_t) override {
        return false;
    }
    std::int64_t send(TransferBuffer, std::uint64_t, std::uint32_t) override { return 0; }
    std::int64_t receive(TransferBuffer, std::uint64_t, std::uint32_t) override { return 0; }

private:
    LiveObjects& atTheEnd_;
};

TEST(SslStream, ReleasesTheSocketLast) {
    const LiveObjects before = liveObjects();
    LiveObjects atTheEnd = {-1, -1, -1};
    Ref<NetStream> stream;
    {
        const Ref<Socket> socket = Ref<LastSocket>::make(atTheEnd);
        stream = streamOver(socket);
        EXPECT_EQ(socket->referenceCount(), 3U);  // ours, the stream's and the BIO's
        EXPECT_EQ(liveObjects(),
                  (LiveObjects{before.contexts + 1, before.connections + 1, before.bios + 1}));
    }
    stream.reset();
    EXPECT_EQ(atTheEnd, before);
}

/// Queues three errors, the oldest first.
void leaveThreeErrors() {
    OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS, nullptr);  // their texts
    ERR_clear_error();
    ERR_raise(ERR_LIB_SSL, SSL_R_UNKNOWN_PROTOCOL);
    ERR_raise(ERR_LIB_SSL, SSL_R_BAD_LENGTH);
    ERR_raise(ERR_LIB_X509, X509_R_KEY_VALUES_MISMATCH);
}

TEST(SslErrors, EachIsARecordAndTheQueueIsEmptyThen) {
    leaveThreeErrors();
    const LogCapture log;
    logSSLErrors();
    EXPECT_EQ(linesOf(log), (std::vector<std::string>{
                                "4 HTTP Utils: SSL error: error:0A0000FC:SSL routines::unknown "
                                "protocol",
                                "4 HTTP Utils: SSL error: error:0A00010F:SSL routines::bad length",
                                "4 HTTP Utils: SSL error: error:05800074:x509 certificate "
                                "routines::key values mismatch"}));
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(SslErrors, AreDrainedWhenTheChannelIsOff) {
    leaveThreeErrors();
    const ChannelOff off("HTTP Utils");
    const LogCapture log;
    logSSLErrors();
    EXPECT_TRUE(log.records().empty());
    EXPECT_EQ(ERR_peek_error(), 0U);
}

TEST(SslErrors, TheCallbackTakesTheOldestAlone) {
    leaveThreeErrors();
    const LogCapture log;
    ERR_print_errors_cb(sslErrorCallback, nullptr);
    const std::vector<std::string> lines = linesOf(log);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with("4 HTTP Utils: SSL error: ")) << lines[0];
    EXPECT_NE(lines[0].find("error:0A0000FC:SSL routines:"), std::string::npos) << lines[0];
    EXPECT_EQ(ERR_GET_REASON(ERR_get_error()), SSL_R_BAD_LENGTH);
    ERR_clear_error();
    EXPECT_EQ(sslErrorCallback("text", 4, nullptr), 0);
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Utils
