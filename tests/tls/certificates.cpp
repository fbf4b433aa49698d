#include "tests/tls/certificates.hpp"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>

#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

void require(bool good, const char* what) {
    if (!good) {
        throw std::runtime_error(std::string("cannot make a certificate: ") + what);
    }
}

std::shared_ptr<EVP_PKEY> own(EVP_PKEY* key) {
    require(key != nullptr, "key");
    return {key, EVP_PKEY_free};
}

std::shared_ptr<EVP_PKEY> makeKey(KeyType type) {
    if (type == KeyType::Ec) {
        return own(EVP_EC_gen("P-256"));
    }
    if (type == KeyType::Ed25519) {
        return own(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
    }
    if (type == KeyType::Rsa1024 || type == KeyType::Rsa512) {
        return own(EVP_RSA_gen(type == KeyType::Rsa1024 ? 1024U : 512U));
    }
    // One for all: it takes as long to make as a hundred of the others.
    static const std::shared_ptr<EVP_PKEY> rsa = own(EVP_RSA_gen(2048));
    return rsa;
}

void addSubject(X509_NAME* name, std::string_view entries) {
    while (!entries.empty()) {
        const std::string_view entry = entries.substr(0, entries.find('/'));
        const std::size_t equals = entry.find('=');
        const std::string field(entry.substr(0, equals));
        const std::string value(entry.substr(equals + 1));
        require(X509_NAME_add_entry_by_txt(name, field.c_str(), V_ASN1_UTF8STRING,
                                           reinterpret_cast<const unsigned char*>(value.data()),
                                           static_cast<int>(value.size()), -1, 0) == 1,
                "subject");
        entries.remove_prefix(std::min(entries.size(), entry.size() + 1));
    }
}

void addExtension(X509* certificate, X509V3_CTX* context, int nid, const char* value) {
    const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> extension(
        X509V3_EXT_conf_nid(nullptr, context, nid, value), X509_EXTENSION_free);
    require(extension && X509_add_ext(certificate, extension.get(), -1) == 1, value);
}

/// Made piece by piece: a name of the configuration syntax cannot hold a NUL.
void addNames(X509* certificate, const std::vector<std::string>& names) {
    const std::unique_ptr<GENERAL_NAMES, decltype(&GENERAL_NAMES_free)> all(
        sk_GENERAL_NAME_new_null(), GENERAL_NAMES_free);
    for (const std::string& name : names) {
        const std::string value = name.substr(name.find(':') + 1);
        GENERAL_NAME* const entry = GENERAL_NAME_new();
        if (name.starts_with("IP:")) {
            GENERAL_NAME_set0_value(entry, GEN_IPADD, a2i_IPADDRESS(value.c_str()));
        } else {
            ASN1_IA5STRING* const text = ASN1_IA5STRING_new();
            ASN1_STRING_set(text, value.data(), static_cast<int>(value.size()));
            GENERAL_NAME_set0_value(entry, GEN_DNS, text);
        }
        sk_GENERAL_NAME_push(all.get(), entry);
    }
    require(X509_add1_ext_i2d(certificate, NID_subject_alt_name, all.get(), 0, 0) == 1, "names");
}

void addExtensions(X509* certificate, X509* issuer, const CertificateText& text) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    addExtension(certificate, &context, NID_subject_key_identifier, "hash");
    addExtension(certificate, &context, NID_authority_key_identifier, "keyid");
    const bool constrained =
        std::any_of(text.extensions.begin(), text.extensions.end(),
                    [](const auto& extension) { return extension.first == NID_basic_constraints; });
    for (const auto& [nid, value] : text.extensions) {
        addExtension(certificate, &context, nid, value.c_str());
    }
    if (text.authority) {
        if (!constrained) {
            addExtension(certificate, &context, NID_basic_constraints, "critical,CA:TRUE");
        }
        addExtension(certificate, &context, NID_key_usage, "critical,keyCertSign,cRLSign");
    } else {
        addExtension(certificate, &context, NID_basic_constraints, "critical,CA:FALSE");
        addExtension(certificate, &context, NID_ext_key_usage, text.purpose);
    }
    if (!text.names.empty()) {
        addNames(certificate, text.names);
    }
}

/// The folder under which the library looks for the environment's files.
class EnvironmentFolder {
public:
    EnvironmentFolder() : root_(fs::temp_directory_path() / "nethttp-root-XXXXXX") {
        std::string name = root_.string();
        require(mkdtemp(name.data()) != nullptr, "temporary folder");
        root_ = name;
        fs::create_directories(bundle().parent_path());
        // NOLINTNEXTLINE(concurrency-mt-unsafe): before any thread
        require(setenv("VORNIK_ROOT", name.c_str(), 1) == 0, "setenv");
    }
    EnvironmentFolder(const EnvironmentFolder&) = delete;
    EnvironmentFolder& operator=(const EnvironmentFolder&) = delete;
    ~EnvironmentFolder() {
        if (getpid() == owner_) {  // not a copy of the process that a test has made
            std::error_code ignored;
            fs::remove_all(root_, ignored);
        }
    }
    [[nodiscard]] fs::path bundle() const { return root_ / "system/base/certs.pem"; }

private:
    fs::path root_;
    pid_t owner_ = getpid();
};

const EnvironmentFolder& environmentFolder() {
    static const EnvironmentFolder folder;
    return folder;
}

template <class Object>
std::string pemOf(int (*write)(BIO*, const Object*), const Object* object) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> memory(BIO_new(BIO_s_mem()), BIO_free);
    require(write(memory.get(), object) == 1, "PEM");
    const char* text = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

}  // namespace

Certificate::Certificate(const CertificateText& text, const Certificate* issuer)
    : key_(makeKey(text.key)), x509_(X509_new(), X509_free) {
    static std::atomic<long> serial{1};
    X509* const self = x509();
    X509_set_version(self, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(self), serial++);
    ASN1_TIME_set(X509_getm_notBefore(self), text.notBefore);
    ASN1_TIME_set(X509_getm_notAfter(self), text.notAfter);
    addSubject(X509_get_subject_name(self), text.subject);
    X509* const above = issuer != nullptr ? issuer->x509() : self;
    X509_set_issuer_name(self, X509_get_subject_name(above));
    X509_set_pubkey(self, key());
    addExtensions(self, above, text);
    EVP_PKEY* const signer = issuer != nullptr ? issuer->key() : key();
    // Ed25519 brings its own digest.
    const EVP_MD* const digest = EVP_PKEY_get_base_id(signer) == EVP_PKEY_ED25519 ? nullptr
                                 : text.digest != nullptr ? EVP_get_digestbyname(text.digest)
                                                          : EVP_sha256();
    require(X509_sign(self, signer, digest) != 0, "signature");
}

std::string Certificate::pem() const {
    return pemOf<X509>(PEM_write_bio_X509, x509());
}

std::string Certificate::revocationOf(const Certificate& issued) const {
    const std::unique_ptr<X509_CRL, decltype(&X509_CRL_free)> list(X509_CRL_new(), X509_CRL_free);
    X509_CRL_set_version(list.get(), X509_CRL_VERSION_2);
    X509_CRL_set_issuer_name(list.get(), X509_get_subject_name(x509()));
    X509_CRL_set1_lastUpdate(list.get(), X509_get0_notBefore(x509()));
    X509_CRL_set1_nextUpdate(list.get(), X509_get0_notAfter(x509()));
    X509_REVOKED* const entry = X509_REVOKED_new();
    X509_REVOKED_set_serialNumber(entry, X509_get_serialNumber(issued.x509()));
    X509_REVOKED_set_revocationDate(entry, const_cast<ASN1_TIME*>(X509_get0_notBefore(x509())));
    require(X509_CRL_add0_revoked(list.get(), entry) == 1, "revocation");
    require(X509_CRL_sign(list.get(), key(), EVP_sha256()) != 0, "signature");
    return pemOf<X509_CRL>(PEM_write_bio_X509_CRL, list.get());
}

void trustOnly(const std::vector<Certificate>& roots, const std::string& more) {
    std::ofstream bundle(environmentFolder().bundle());
    for (const Certificate& root : roots) {
        bundle << root.pem();
    }
    bundle << more;
    bundle.flush();
    require(bundle.good(), "bundle");
}

Chain trustedChain(const std::string& name) {
    const Certificate root = Certificate::selfSigned(authority("Root"));
    trustOnly({root});
    return {root.issue({.names = {name}})};
}

void removeTrustedRoots() {
    fs::remove(environmentFolder().bundle());
}

std::filesystem::path trustedRoots() {
    return environmentFolder().bundle();
}
