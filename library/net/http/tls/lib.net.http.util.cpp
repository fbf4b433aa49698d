// Set-up of TLS connections, the certificate policy, and the dump of certificates.

#include "net/http/tls/lib.net.http.util.hpp"

#include <cstring>
#include <utility>

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include "platform/runtime/string_util.hpp"
#include "platform/runtime/system.hpp"
#include "platform/runtime/thread.hpp"

#include "net/http/http.hpp"
#include "net/http/tls/ssl_stream.hpp"
#include "net/http/tls/stream_bio.hpp"
#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

using Client::ErrTransfer;

constexpr const char* CertificateBundle = "/system/base/certs.pem";

constexpr std::uint64_t ContextOptions = SSL_OP_ALL | SSL_OP_NO_SSLv3 | SSL_OP_NO_COMPRESSION;
static_assert(ContextOptions == 0x82020850);

// The one-line form, with the bytes of multi-byte characters left as they are.
constexpr unsigned long NameFlags = XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB;
static_assert(NameFlags == 0x82031B);

/// The slot through which the policy reaches the verify callback, which OpenSSL calls without an
/// argument.
OnceFlag processPrepared;
std::uint32_t policySlot = 0;

/// OpenSSL would free what it has at the process's end, below threads that are in a handshake then.
/// Whoever initialises it first decides: it stays so where the application has asked for it.
void prepareProcess() {
    policySlot = ThdLocalData::res();
    // Without it all works but an end of the process in the middle of an exchange.
    (void)OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
}

SSLFlags threadPolicy() noexcept {
    std::uint64_t mask = 0;
    (void)ThdLocalData::get(policySlot, mask);  // a thread without a value has the empty policy
    return SSLFlags::fromMask(static_cast<unsigned int>(mask));
}

Ref<NetStream> fail() noexcept {
    Error::set(ErrTransfer);
    return nullptr;
}

void trace(std::string_view text) {
    if (LogRecord record{Channel::HttpUtils, Level::Trace}) {
        record << text;
    }
}

void logFailure(std::string_view text) {
    if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
        record << text;
    }
}

void traceStart(SSLFlags flags) {
    if (!connectDebug()) {
        return;
    }
    trace("Starting TLS handshake");
    if (flags.has(SSLFlag::IgnoreInvalid)) {
        trace("Ignoring potentially invalid certificates");
    }
    if (flags.has(SSLFlag::IgnoreValidityPeriod)) {
        trace("Ignoring certificates that are not yet valid or no longer valid");
    }
    if (flags.has(SSLFlag::IgnoreUntrusted)) {
        trace("Ignoring untrusted certificates");
    }
}

void configure(SSL_CTX* context) {
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, verifyCallback);
    SSL_CTX_set_options(context, ContextOptions);
    // A bundle that cannot be read shows as a failed verification of every server.
    const Ref<String> bundle = Sys::hostPath(String::create(CertificateBundle));
    (void)SSL_CTX_load_verify_locations(context, bundle->cText(), nullptr);
}

constexpr unsigned NameCheck = X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS;

/// Sets the name for the check of the certificate and for the server's choice of one (RFC 6066,
/// section 3).
void setHost(SSL* ssl, const Ref<String>& host) {
    SSL_set_hostflags(ssl, NameCheck);
    char* const name = host->copyBytes(nullptr);
    (void)SSL_set1_host(ssl, name);
    (void)SSL_set_tlsext_host_name(ssl, name);
    Heap::free(name, Heap::Array);
}

bool shakeHands(SSL* ssl, const Ref<String>& host) {
    ERR_clear_error();  // what was left there would pass for an error of the handshake
    const int result = SSL_connect(ssl);
    if (result == 1) {
        return true;
    }
    const int error = SSL_get_error(ssl, result);
    if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
        record << "TLS handshake failed to " << host;
        if (result < 0) {
            record << "; error: " << hexDec(std::int32_t{error});
        }
    }
    logSSLErrors();
    return false;
}

bool isForgivenToHaveNone(const Ref<String>& host, SSLFlags flags) {
    const bool forgiven = flags.has(SSLFlag::IgnoreInvalid);
    if (LogRecord record{Channel::HttpUtils, forgiven ? Level::Warning : Level::Failure}) {
        record << "No server certificate for " << host;
    }
    return forgiven;
}

bool isNamed(X509* certificate, const Ref<String>& host) {
    char* const name = host->copyBytes(nullptr);
    const bool matches = X509_check_host(certificate, name, 0, NameCheck, nullptr) == 1 ||
                         X509_check_ip_asc(certificate, name, 0) == 1;
    Heap::free(name, Heap::Array);
    return matches;
}

/// Applies the policy to the result that the handshake left, as the callback did to each
/// certificate.
///
/// @param certificate  The server's; null when it was forgiven to have none.
bool isAccepted(SSL* ssl, X509* certificate, const Ref<String>& host, SSLFlags flags) {
    long result = SSL_get_verify_result(ssl);
    // OpenSSL forgets the name, and with it the check, where it lacks the memory to copy it, and does
    // not say so: a good result is looked at again.
    if (result == X509_V_OK && certificate != nullptr && !isNamed(certificate, host)) {
        result = X509_V_ERR_HOSTNAME_MISMATCH;
    }
    if (result == X509_V_OK) {
        return true;
    }
    const bool forgiven = isForgiven(result, flags);
    if (LogRecord record{Channel::HttpUtils, forgiven ? Level::Warning : Level::Failure}) {
        record << "Certificate verification failed for " << host << " with "
               << std::string_view(X509_verify_cert_error_string(result)) << " ("
               << hexDec(static_cast<std::int32_t>(result)) << ")";
    }
    return forgiven;
}

/// Judges the server whose handshake is done.
bool isAccepted(SSL* ssl, const Ref<String>& host, SSLFlags flags) {
    X509* const certificate = SSL_get0_peer_certificate(ssl);
    return (certificate != nullptr || isForgivenToHaveNone(host, flags)) &&
           isAccepted(ssl, certificate, host, flags);
}

/// Writes one record of the dump; its text is made only when the record is wanted.
template <class MakeText>
void dumpRecord(std::string_view label, MakeText makeText) {
    if (LogRecord record{Channel::HttpUtils, Level::Trace}) {
        record << label << makeText();
    }
}

struct tm toTime(const ASN1_TIME* time) noexcept {
    struct tm parts = {};
    (void)ASN1_TIME_to_tm(time, &parts);  // what cannot be converted shows as it comes out
    return parts;
}

void dumpAltNames(X509* certificate) {
    const Ref<TVector<Ref<String>>> names = subjectAltNames(certificate);
    if (!names || names->empty()) {
        return;
    }
    trace("SAN:");
    for (const Ref<String>& name : *names) {
        trace(name->view());
    }
}

void dumpCertificate(X509_STORE_CTX* store) {
    const int depth = X509_STORE_CTX_get_error_depth(store);
    X509* const certificate = X509_STORE_CTX_get_current_cert(store);
    X509_NAME* const issuer = certificate != nullptr ? X509_get_issuer_name(certificate) : nullptr;
    X509_NAME* const subject =
        certificate != nullptr ? X509_get_subject_name(certificate) : nullptr;
    const struct tm notBefore =
        toTime(certificate != nullptr ? X509_get0_notBefore(certificate) : nullptr);
    const struct tm notAfter =
        toTime(certificate != nullptr ? X509_get0_notAfter(certificate) : nullptr);
    const time_t now = time(nullptr);
    struct tm current = {};
    localtime_r(&now, &current);

    if (LogRecord record{Channel::HttpUtils, Level::Trace}) {
        record << "Got certificate at depth " << hexDec(std::int32_t{depth});
    }
    dumpRecord("Issuer: ", [&] { return nameToString(issuer); });
    dumpRecord("Subject: ", [&] { return nameToString(subject); });
    dumpRecord("Not Before: ", [&] { return timeToString(notBefore); });
    dumpRecord("Not After: ", [&] { return timeToString(notAfter); });
    dumpRecord("Current: ", [&] { return timeToString(current); });
    if (depth == 0) {
        dumpAltNames(certificate);
    }
}

/// Answers the text of one DNS entry, null when it has none.
Ref<String> dnsName(ASN1_IA5STRING* entry, int index) {
    unsigned char* utf8 = nullptr;
    const int length = ASN1_STRING_to_UTF8(&utf8, entry);
    if (utf8 == nullptr) {
        if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
            record << "Failed to retrieve entry " << hexDec(std::int32_t{index});
        }
        return nullptr;
    }
    const char* const text = reinterpret_cast<const char*>(utf8);
    const std::size_t textLength = std::strlen(text);
    if (!std::cmp_equal(length, textLength)) {
        if (LogRecord record{Channel::HttpUtils, Level::Warning}) {
            record << "Length for DNS string does not match (embedded NULL?), got "
                   << hexDec(std::int32_t{length}) << " and " << hexDec(std::uint64_t{textLength});
        }
    }
    Ref<String> name = String::create(text, 0, textLength);
    OPENSSL_free(utf8);
    return name;
}

}  // namespace

bool isForgiven(long result, SSLFlags flags) noexcept {
    switch (result) {
        case X509_V_ERR_CERT_NOT_YET_VALID:
        case X509_V_ERR_CERT_HAS_EXPIRED:
        case X509_V_ERR_CRL_NOT_YET_VALID:
        case X509_V_ERR_CRL_HAS_EXPIRED:
            return flags.has(SSLFlag::IgnoreValidityPeriod);
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_CERT_UNTRUSTED:
            return flags.has(SSLFlag::IgnoreUntrusted);
        default:
            return flags.has(SSLFlag::IgnoreInvalid);
    }
}

int verifyCallback(int preverifyOk, X509_STORE_CTX* store) {
    const int error = X509_STORE_CTX_get_error(store);
    if (sslCertsDebug()) {
        ERR_set_mark();  // what the dump leaves in the queue must not pass for an error of the
                         // handshake
        dumpCertificate(store);
        ERR_pop_to_mark();
    }
    if (preverifyOk != 0) {
        return preverifyOk;
    }
    const bool forgiven = isForgiven(error, threadPolicy());
    if (LogRecord record{Channel::HttpUtils, forgiven ? Level::Warning : Level::Failure}) {
        record << "Certificate error: " << std::string_view(X509_verify_cert_error_string(error));
    }
    return forgiven ? 1 : 0;
}

Ref<NetStream> createSSLStream(Ref<Socket> socket, const Ref<String>& host, const SSLFlags& flags) {
    InitCode::_do_call_once(processPrepared, prepareProcess);
    BioPtr bio = createStreamBio(socket);
    if (!bio) {
        logFailure("Failed to create BIO from socket");
        return fail();
    }
    OPENSSL_init_crypto(OPENSSL_INIT_ADD_ALL_CIPHERS | OPENSSL_INIT_ADD_ALL_DIGESTS, nullptr);
    OPENSSL_init_ssl(OPENSSL_INIT_LOAD_SSL_STRINGS | OPENSSL_INIT_LOAD_CRYPTO_STRINGS, nullptr);
    SslCtxPtr context(SSL_CTX_new(TLS_client_method()));
    if (!context) {
        ERR_print_errors_cb(sslErrorCallback, nullptr);
        logFailure("Failed to initialize SSL CTX");
        return fail();
    }
    configure(context.get());
    ThdLocalData::set(policySlot, flags.mask());
    SslPtr ssl(SSL_new(context.get()));
    if (!ssl) {
        logFailure("Failed to initialize SSL");
        return fail();
    }
    setHost(ssl.get(), host);
    SSL_set_bio(ssl.get(), bio.get(), bio.get());
    (void)bio.release();  // the SSL object frees it from here on
    SSL_set_connect_state(ssl.get());
    traceStart(flags);
    const bool accepted = shakeHands(ssl.get(), host) && isAccepted(ssl.get(), host, flags);
    ERR_clear_error();
    if (!accepted) {
        ssl.reset();  // before the context
        return fail();
    }
    if (connectDebug()) {
        trace("Handshake done");
    }
    return Ref<SSLStream>::make(std::move(socket), std::move(context), std::move(ssl));
}

Ref<String> nameToString(X509_NAME* name) {
    if (name == nullptr) {
        return nullptr;
    }
    const BioPtr bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        logFailure("Failed to create BIO for printing X509 data");
        return nullptr;
    }
    (void)X509_NAME_print_ex(bio.get(), name, 0, NameFlags);
    const std::size_t pending = BIO_ctrl_pending(bio.get());
    if (pending == 0) {
        return nullptr;
    }
    HeapText text(pending, '\0');
    const int count = BIO_read(bio.get(), text.data(), static_cast<int>(pending));
    if (count <= 0) {
        if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
            record << "Failed to read X509 data from BIO with pending size of "
                   << hexDec(std::uint64_t{pending});
        }
        return nullptr;
    }
    return String::create(text.data(), 0, static_cast<std::size_t>(count));
}

Ref<TVector<Ref<String>>> subjectAltNames(X509* certificate) {
    if (certificate == nullptr) {
        return nullptr;
    }
    const GeneralNamesPtr names(static_cast<GENERAL_NAMES*>(
        X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    if (!names || sk_GENERAL_NAME_num(names.get()) <= 0) {
        return nullptr;
    }
    auto texts = Ref<TVector<Ref<String>>>::make();
    const int count = sk_GENERAL_NAME_num(names.get());
    for (int i = 0; i < count; ++i) {
        const GENERAL_NAME* const entry = sk_GENERAL_NAME_value(names.get(), i);
        if (entry == nullptr || entry->type != GEN_DNS) {
            continue;
        }
        if (Ref<String> name = dnsName(entry->d.dNSName, i)) {
            texts->append(std::move(name));
        }
    }
    return texts;
}

Ref<String> timeToString(const struct tm& time) {
    StringPrinter text;
    const auto twoDigits = [&text](std::string_view before, int value) {
        text.text(before).padded(2).number(std::int64_t{value});
    };
    text.number(std::int64_t{time.tm_year} + 1900);
    twoDigits("-", time.tm_mon + 1);
    twoDigits("-", time.tm_mday);
    twoDigits(" ", time.tm_hour);
    twoDigits(":", time.tm_min);
    twoDigits(":", time.tm_sec);
    return text.toString();
}

}  // namespace Libraries::Networks::HTTP::Utils
