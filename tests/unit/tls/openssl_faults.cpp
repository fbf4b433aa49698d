#include "tests/unit/tls/openssl_faults.hpp"

#include <array>
#include <cstddef>

#include <dlfcn.h>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

namespace {

/// Calls to go before the one that fails; negative: none fails.
thread_local constinit std::array<int, 8> callsBefore = {-1, -1, -1, -1, -1, -1, -1, -1};

int& callsBeforeThat(SslCall call) {
    return callsBefore[static_cast<std::size_t>(call)];
}

bool failsNow(SslCall call) {
    int& left = callsBeforeThat(call);
    return left >= 0 && left-- == 0;
}

/// The function that this program's own stands before.
template <class Function>
Function* next(Function*, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

SslFault::SslFault(SslCall call, int skip) : call_(call) {
    callsBeforeThat(call) = skip;
}

SslFault::~SslFault() {
    callsBeforeThat(call_) = -1;
}

extern "C" {

BIO_METHOD* BIO_meth_new(int type, const char* name) {
    return failsNow(SslCall::MethodNew) ? nullptr : next(BIO_meth_new, "BIO_meth_new")(type, name);
}

int CRYPTO_get_ex_new_index(int kind, long number, void* pointer, CRYPTO_EX_new* made,
                            CRYPTO_EX_dup* copied, CRYPTO_EX_free* freed) {
    return failsNow(SslCall::ExIndex) ? -1
                                      : next(CRYPTO_get_ex_new_index, "CRYPTO_get_ex_new_index")(
                                            kind, number, pointer, made, copied, freed);
}

BIO* BIO_new(const BIO_METHOD* method) {
    return failsNow(SslCall::BioNew) ? nullptr : next(BIO_new, "BIO_new")(method);
}

int BIO_read(BIO* bio, void* data, int size) {
    return failsNow(SslCall::BioRead) ? -1 : next(BIO_read, "BIO_read")(bio, data, size);
}

SSL_CTX* SSL_CTX_new(const SSL_METHOD* method) {
    if (failsNow(SslCall::ContextNew)) {
        ERR_raise(ERR_LIB_SSL, SSL_R_LIBRARY_HAS_NO_CIPHERS);
        ERR_raise(ERR_LIB_SSL, ERR_R_MALLOC_FAILURE);
        return nullptr;
    }
    return next(SSL_CTX_new, "SSL_CTX_new")(method);
}

SSL* SSL_new(SSL_CTX* context) {
    return failsNow(SslCall::SslNew) ? nullptr : next(SSL_new, "SSL_new")(context);
}

int SSL_connect(SSL* ssl) {
    return failsNow(SslCall::Connect) ? 0 : next(SSL_connect, "SSL_connect")(ssl);
}

int ASN1_STRING_to_UTF8(unsigned char** target, const ASN1_STRING* source) {
    return failsNow(SslCall::ToUtf8)
               ? -1
               : next(ASN1_STRING_to_UTF8, "ASN1_STRING_to_UTF8")(target, source);
}
}
