#pragma once

#include <ctime>

#include "platform/runtime/containers.hpp"

#include "net/http/tls/openssl_handles.hpp"
#include "net/http/transport/net_stream.hpp"

namespace Libraries::Networks::HTTP::Utils {

/// The certificate policy: what a connection forgives. The classes do not overlap.
enum class SSLFlag : std::uint32_t {
    IgnoreUntrusted = 0,       ///< Self-signed and untrusted certificates.
    IgnoreValidityPeriod = 1,  ///< Certificates that are not yet or no longer valid.
    IgnoreInvalid = 2,         ///< Every other error, and a server without a certificate.
};

using SSLFlags = Definitions::Set<SSLFlag>;

/// Turns a connected socket into an authenticated TLS connection: the chain is verified against the
/// environment's bundle, the name against `host` (RFC 9110, section 4.3.4), less what the policy
/// forgives.
///
/// @return Null with `ErrTransfer`.
/// @blocks For the whole handshake.
Ref<NetStream> createSSLStream(Ref<Socket> socket, const Ref<String>& host, const SSLFlags& flags);

/// Tells whether a policy forgives a verification result other than X509_V_OK.
bool isForgiven(long result, SSLFlags flags) noexcept;

/// OpenSSL's verify callback: dumps the certificate if asked to, and applies the thread's policy.
int verifyCallback(int preverifyOk, X509_STORE_CTX* store);

/// Answers a name in OpenSSL's one-line form; null for null and on failure.
Ref<String> nameToString(X509_NAME* name);

/// Answers the DNS names of a certificate's subjectAltName extension, each cut at an embedded NUL.
/// Null when there is no certificate, no extension, or no entry in it.
Ref<TVector<Ref<String>>> subjectAltNames(X509* certificate);

/// Answers a time as YYYY-MM-DD HH:MM:SS.
Ref<String> timeToString(const struct tm& time);

}  // namespace Libraries::Networks::HTTP::Utils
