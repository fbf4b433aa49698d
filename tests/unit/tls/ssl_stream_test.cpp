#include "net/http/tls/ssl_stream.hpp"

#include <openssl/ssl.h>

#include "net/http/tls/stream_bio.hpp"
#include "tests/tls/session.hpp"
#include "tests/unit/tls/fake_transport.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

constexpr std::string_view Text = "hello";

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
    EXPECT_EQ(stream->write(TransferBuffer::plain(Text.data()), Text.size(), NoTimeout), -1);
    EXPECT_EQ(Error::get(), Client::ErrTransfer);
    EXPECT_EQ(linesOf(log, "HTTP Utils"),
              std::vector<std::string>{"4 HTTP Utils: Failed to write all data to SSL engine; "
                                       "expected to write 5h (5), but wrote ffffffffh (-1)"});
    EXPECT_EQ(linesOf(log, "OpenSSL.BIO"),
              std::vector<std::string>{"3 OpenSSL.BIO: Wrote nothing to socket from BIO; error: " +
                                       hexDec(0x20020)});
    EXPECT_EQ(ERR_peek_error(), 0U);
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
