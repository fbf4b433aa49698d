// The demonstration's certificates and the TLS of its server. The only place of the program that sees
// OpenSSL: the client's side is the library's.

#include "demo_tls.hpp"

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace cli {

namespace {

template <auto Free>
struct Delete {
    template <class T>
    void operator()(T* object) const {
        (void)Free(object);
    }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, Delete<EVP_PKEY_free>>;
using CertificatePtr = std::unique_ptr<X509, Delete<X509_free>>;
using ExtensionPtr = std::unique_ptr<X509_EXTENSION, Delete<X509_EXTENSION_free>>;
using ContextPtr = std::unique_ptr<SSL_CTX, Delete<SSL_CTX_free>>;
using SslPtr = std::unique_ptr<SSL, Delete<SSL_free>>;
using BioPtr = std::unique_ptr<BIO, Delete<BIO_free>>;

constexpr long day = 24L * 60 * 60;

bool setName(X509_NAME* name, const char* text) {
    return X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                                      reinterpret_cast<const unsigned char*>(text), -1, -1, 0) == 1;
}

bool addExtension(X509* certificate, int kind, const char* value) {
    const ExtensionPtr extension(X509V3_EXT_conf_nid(nullptr, nullptr, kind, value));
    return extension && X509_add_ext(certificate, extension.get(), -1) == 1;
}

/// Makes a certificate that still lacks its issuer, extensions and signature.
CertificatePtr makeCertificate(const char* subject, EVP_PKEY* key, int firstDay, int lastDay) {
    CertificatePtr certificate(X509_new());
    X509* const raw = certificate.get();
    const bool made = certificate && X509_set_version(raw, 2) == 1 &&
                      ASN1_INTEGER_set(X509_get_serialNumber(raw), 1 + lastDay) == 1 &&
                      X509_gmtime_adj(X509_getm_notBefore(raw), firstDay * day) != nullptr &&
                      X509_gmtime_adj(X509_getm_notAfter(raw), lastDay * day) != nullptr &&
                      X509_set_pubkey(raw, key) == 1 &&
                      setName(X509_get_subject_name(raw), subject);
    return made ? std::move(certificate) : nullptr;
}

class TlsTransport final : public Transport {
public:
    explicit TlsTransport(SslPtr ssl) : ssl_(std::move(ssl)) {}
    TlsTransport(const TlsTransport&) = delete;
    TlsTransport& operator=(const TlsTransport&) = delete;
    ~TlsTransport() override { (void)SSL_shutdown(ssl_.get()); }

    long receive(char* bytes, std::size_t size) override {
        return SSL_read(ssl_.get(), bytes, static_cast<int>(size));
    }
    long send(const char* bytes, std::size_t size) override {
        return SSL_write(ssl_.get(), bytes, static_cast<int>(size));
    }

private:
    SslPtr ssl_;
};

}  // namespace

DemoTls::~DemoTls() {
    SSL_CTX_free(static_cast<SSL_CTX*>(context_));
}

std::unique_ptr<Transport> DemoTls::accept(int connection) const {
    SslPtr ssl(SSL_new(static_cast<SSL_CTX*>(context_)));
    if (!ssl || SSL_set_fd(ssl.get(), connection) != 1 || SSL_accept(ssl.get()) != 1) {
        return nullptr;
    }
    return std::make_unique<TlsTransport>(std::move(ssl));
}

struct DemoAuthority::Identity {
    KeyPtr key{EVP_EC_gen("P-256")};
    CertificatePtr certificate;
};

DemoAuthority::DemoAuthority() : identity_(std::make_unique<Identity>()) {
    EVP_PKEY* const key = identity_->key.get();
    CertificatePtr certificate = makeCertificate("Demonstration authority", key, -30, 30);
    X509* const raw = certificate.get();
    if (certificate && X509_set_issuer_name(raw, X509_get_subject_name(raw)) == 1 &&
        addExtension(raw, NID_basic_constraints, "critical,CA:TRUE") &&
        X509_sign(raw, key, EVP_sha256()) != 0) {
        identity_->certificate = std::move(certificate);
    }
}

DemoAuthority::~DemoAuthority() = default;

bool DemoAuthority::isSound() const {
    return static_cast<bool>(identity_->certificate);
}

std::string DemoAuthority::pem() const {
    const BioPtr text(BIO_new(BIO_s_mem()));
    if (!text || PEM_write_bio_X509(text.get(), identity_->certificate.get()) != 1) {
        return {};
    }
    std::string result(BIO_ctrl_pending(text.get()), '\0');
    (void)BIO_read(text.get(), result.data(), static_cast<int>(result.size()));
    return result;
}

std::unique_ptr<DemoTls> DemoAuthority::makeServer(int firstDay, int lastDay) const {
    const KeyPtr key(EVP_EC_gen("P-256"));
    const CertificatePtr certificate = makeCertificate("localhost", key.get(), firstDay, lastDay);
    X509* const raw = certificate.get();
    if (!certificate ||
        X509_set_issuer_name(raw, X509_get_subject_name(identity_->certificate.get())) != 1 ||
        !addExtension(raw, NID_subject_alt_name, "DNS:localhost") ||
        X509_sign(raw, identity_->key.get(), EVP_sha256()) == 0) {
        return nullptr;
    }
    ContextPtr context(SSL_CTX_new(TLS_server_method()));
    if (!context || SSL_CTX_use_certificate(context.get(), raw) != 1 ||
        SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1) {
        return nullptr;
    }
    return std::make_unique<DemoTls>(context.release());
}

}  // namespace cli
