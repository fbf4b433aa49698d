#pragma once

#include <memory>

// OpenSSL's types and the functions that free them, declared as its own headers do, so that the
// headers of this folder need none of those.
extern "C" {
using SSL = struct ssl_st;
using SSL_CTX = struct ssl_ctx_st;
using BIO = struct bio_st;
using GENERAL_NAMES = struct stack_st_GENERAL_NAME;
using X509 = struct x509_st;
using X509_NAME = struct X509_name_st;
using X509_STORE_CTX = struct x509_store_ctx_st;

void SSL_free(SSL* ssl);
void SSL_CTX_free(SSL_CTX* context);
int BIO_free(BIO* bio);
void GENERAL_NAMES_free(GENERAL_NAMES* names);
}

namespace Libraries::Networks::HTTP::Utils {

/// Frees an OpenSSL object by its own function.
template <auto Free>
struct OpenSslDelete {
    template <class T>
    void operator()(T* object) const noexcept {
        (void)Free(object);  // nothing can be done about an object that is not freed
    }
};

using SslPtr = std::unique_ptr<SSL, OpenSslDelete<SSL_free>>;
using SslCtxPtr = std::unique_ptr<SSL_CTX, OpenSslDelete<SSL_CTX_free>>;
using BioPtr = std::unique_ptr<BIO, OpenSslDelete<BIO_free>>;
using GeneralNamesPtr = std::unique_ptr<GENERAL_NAMES, OpenSslDelete<GENERAL_NAMES_free>>;

}  // namespace Libraries::Networks::HTTP::Utils
