// Input: a digit, then DER: "0" a certificate, "1" the value of a subjectAltName extension, "2" a
// name. The latter two are put into an empty certificate, so that a mutation need not keep the rest.

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include "platform/runtime/error.hpp"
#include "platform/runtime/system.hpp"

#include "fuzz/quiet_log.hpp"
#include "fuzz/target.hpp"
#include "net/http/tls/lib.net.http.util.hpp"

namespace {

using namespace Libraries::Networks::HTTP::Utils;  // NOLINT(google-build-using-namespace)

using CertificatePtr = std::unique_ptr<X509, OpenSslDelete<X509_free>>;
using NamePtr = std::unique_ptr<X509_NAME, OpenSslDelete<X509_NAME_free>>;
using ExtensionPtr = std::unique_ptr<X509_EXTENSION, OpenSslDelete<X509_EXTENSION_free>>;
using OctetsPtr = std::unique_ptr<ASN1_OCTET_STRING, OpenSslDelete<ASN1_OCTET_STRING_free>>;
using StorePtr = std::unique_ptr<X509_STORE_CTX, OpenSslDelete<X509_STORE_CTX_free>>;

bool prepare() {
    Sys::setBootParameter("lib.net.http.sslcerts.debug");
    return true;
}

void addAltNames(X509* certificate, const unsigned char* der, long size) {
    const OctetsPtr octets(ASN1_OCTET_STRING_new());
    ASN1_OCTET_STRING_set(octets.get(), der, static_cast<int>(size));
    const ExtensionPtr extension(
        X509_EXTENSION_create_by_NID(nullptr, NID_subject_alt_name, 0, octets.get()));
    X509_add_ext(certificate, extension.get(), -1);
}

CertificatePtr certificateOf(std::uint8_t kind, std::string_view text) {
    const auto* der = reinterpret_cast<const unsigned char*>(text.data());
    const auto size = static_cast<long>(text.size());
    if (kind == '0') {
        return CertificatePtr(d2i_X509(nullptr, &der, size));
    }
    CertificatePtr certificate(X509_new());
    if (kind == '1') {
        addAltNames(certificate.get(), der, size);
        return certificate;
    }
    const NamePtr name(d2i_X509_NAME(nullptr, &der, size));
    if (name) {
        X509_set_subject_name(certificate.get(), name.get());
        X509_set_issuer_name(certificate.get(), name.get());
    }
    return certificate;
}

bool hasControl(std::string_view text) {
    return std::any_of(text.begin(), text.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
}

void requireSoundNames(X509* certificate) {
    for (X509_NAME* const name :
         {X509_get_subject_name(certificate), X509_get_issuer_name(certificate)}) {
        const Ref<String> text = nameToString(name);
        fuzz::require(!text || !hasControl(text->view()), "a name is one line");
        fuzz::require(!text || text->length() != 0, "a name without text is null");
    }
}

/// Answers the text of a DNS entry, whose octets are characters, up to a NUL.
std::string textOf(const ASN1_STRING* entry) {
    std::string text;
    const unsigned char* const octets = ASN1_STRING_get0_data(entry);
    for (int i = 0; i < ASN1_STRING_length(entry) && octets[i] != 0; ++i) {
        if (octets[i] < 0x80) {
            text += static_cast<char>(octets[i]);
        } else {
            text += static_cast<char>(0xC0U | octets[i] >> 6U);
            text += static_cast<char>(0x80U | (octets[i] & 0x3FU));
        }
    }
    return text;
}

void requireSameAltNames(X509* certificate) {
    const std::unique_ptr<GENERAL_NAMES, OpenSslDelete<GENERAL_NAMES_free>> entries(
        static_cast<GENERAL_NAMES*>(
            X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    std::vector<std::string> expected;
    for (int i = 0; i < sk_GENERAL_NAME_num(entries.get()); ++i) {
        const GENERAL_NAME* const entry = sk_GENERAL_NAME_value(entries.get(), i);
        if (entry->type == GEN_DNS) {
            expected.push_back(textOf(entry->d.dNSName));
        }
    }
    const Ref<TVector<Ref<String>>> names = subjectAltNames(certificate);
    fuzz::require(static_cast<bool>(names) == (sk_GENERAL_NAME_num(entries.get()) > 0),
                  "there are alternative names");
    std::vector<std::string> seen;
    for (std::size_t i = 0; names && i < names->size(); ++i) {
        seen.emplace_back((*names)[i]->view());
    }
    fuzz::require(seen == expected, "the names are those of DNS, cut at a NUL");
}

}  // namespace

/// A dump of any certificate is made, leaves OpenSSL's queue alone, and judges nothing.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool prepared = prepare();
    fuzz::quietLog();
    fuzz::Input input(data, size);
    const std::uint8_t kind = input.octet();
    const CertificatePtr certificate = certificateOf(kind, input.rest());
    ERR_clear_error();
    const StorePtr store(X509_STORE_CTX_new());
    X509_STORE_CTX_set_current_cert(store.get(), certificate.get());
    for (const int verdict : {0, 1}) {
        X509_STORE_CTX_set_error(store.get(), verdict != 0 ? X509_V_OK : X509_V_ERR_UNSPECIFIED);
        fuzz::require(verifyCallback(verdict, store.get()) == verdict, "the verdict stays");
    }
    fuzz::require(prepared && fuzz::records().size() >= 12, "the certificate is dumped");
    fuzz::require(ERR_peek_error() == 0, "the dump leaves nothing in the queue");
    if (certificate) {
        requireSoundNames(certificate.get());
        requireSameAltNames(certificate.get());
    }
    ERR_clear_error();
    return 0;
}
