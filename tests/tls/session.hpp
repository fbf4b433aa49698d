#pragma once

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/x509.h>

#include "platform/runtime/error.hpp"

#include "net/http/http.hpp"
#include "net/http/tls/lib.net.http.util.hpp"
#include "tests/support/log_capture.hpp"
#include "tests/tls/tls_server.hpp"

namespace Libraries::Networks::HTTP::Utils {

/// Answers a socket that is connected to a server of the test.
inline Ref<Socket> socketTo(const TlsServer& server) {
    Ref<Socket> socket = Socket::create(server.endpoint().family, 1, 6);
    EXPECT_TRUE(socket && socket->connect(server.endpoint(), NoTimeout));
    return socket;
}

/// Makes a TLS connection that forgives nothing.
inline Ref<NetStream> streamTo(const TlsServer& server) {
    return createSSLStream(socketTo(server), str("localhost"), {});
}

/// Puts an error into the thread's OpenSSL queue, as an application's own use of OpenSSL may.
inline void leaveSslError() {
    ERR_raise(ERR_LIB_X509, X509_R_KEY_VALUES_MISMATCH);
}

/// The rule of the three classes, by number; the bits are those of the switches.
inline bool forgives(unsigned switches, long result) {
    constexpr unsigned untrusted = 1;
    constexpr unsigned validityPeriod = 2;
    constexpr unsigned invalid = 4;
    if (result >= 9 && result <= 12) {
        return (switches & validityPeriod) != 0;
    }
    if (result == 18 || result == 19 || result == 27) {
        return (switches & untrusted) != 0;
    }
    return (switches & invalid) != 0;
}

/// Answers the records, or those of one channel, as "LEVEL CHANNEL: TEXT".
inline std::vector<std::string> linesOf(const LogCapture& log, std::string_view channel = "") {
    std::vector<std::string> lines;
    for (const LogCapture::Record& record : log.records()) {
        if (channel.empty() || record.channel == channel) {
            lines.push_back(std::to_string(record.level) + " " + record.channel + ": " +
                            record.text);
        }
    }
    return lines;
}

}  // namespace Libraries::Networks::HTTP::Utils
