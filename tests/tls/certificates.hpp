#pragma once

#include <ctime>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <openssl/types.h>

enum class KeyType { Ec, Rsa, Rsa1024, Rsa512, Ed25519 };

inline constexpr std::time_t Day = 86'400;

/// What a certificate says.
struct CertificateText {
    /// Entries such as "O=Acme/CN=leaf", as UTF-8.
    std::string subject = "CN=leaf";
    /// The subjectAltName entries in order, "DNS:name" or "IP:address"; none: no such extension.
    std::vector<std::string> names = {};
    std::time_t notBefore = std::time(nullptr) - Day;
    std::time_t notAfter = std::time(nullptr) + Day;
    KeyType key = KeyType::Ec;
    /// Whether it may issue others.
    bool authority = false;
    /// The extended key usage.
    const char* purpose = "serverAuth";
    /// Of the signature; null: one that is good.
    const char* digest = nullptr;
    /// Further extensions by number, in OpenSSL's words. Basic constraints take the place of its own.
    std::vector<std::pair<int, std::string>> extensions = {};
};

/// The text of a certificate authority.
inline CertificateText authority(const std::string& name) {
    return {.subject = "CN=" + name, .authority = true};
}

/// A certificate with its private key, made at run time; copies share both.
class Certificate {
public:
    static Certificate selfSigned(const CertificateText& text) { return {text, nullptr}; }
    [[nodiscard]] Certificate issue(const CertificateText& text) const { return {text, this}; }

    [[nodiscard]] X509* x509() const noexcept { return x509_.get(); }
    [[nodiscard]] EVP_PKEY* key() const noexcept { return key_.get(); }
    [[nodiscard]] std::string pem() const;
    /// Answers a list of its own, as PEM, that revokes a certificate it has issued.
    [[nodiscard]] std::string revocationOf(const Certificate& issued) const;

private:
    Certificate(const CertificateText& text, const Certificate* issuer);

    std::shared_ptr<EVP_PKEY> key_;
    std::shared_ptr<X509> x509_;
};

/// What a server sends: its own certificate first.
using Chain = std::vector<Certificate>;

/// Makes these the trusted roots of this process, by a folder of the environment's files that is
/// the process's own. The first call must come before other threads run.
///
/// @param more  Stands behind them in the bundle.
void trustOnly(const std::vector<Certificate>& roots, const std::string& more = "");
/// Makes a certificate with one name for a server, and its root the one that is trusted.
Chain trustedChain(const std::string& name = "DNS:localhost");
/// Takes the bundle of trusted roots away.
void removeTrustedRoots();
/// Answers where the bundle stands.
std::filesystem::path trustedRoots();
