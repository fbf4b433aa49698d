#include "tests/tls/openssl_faults.hpp"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include <dlfcn.h>
#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

namespace {

using FaultPoints::Kind;

constexpr int AnswersNothing = 1;
constexpr int AnswersMinusOne = 2;
constexpr int LeavesAnError = 3;

// In the order of `SslCall`.
constexpr std::array<Kind, SslCallCount> Kinds = {{
    {"BIO_get_new_index", {AnswersMinusOne}},
    {"BIO_meth_new", {AnswersNothing}},
    {"CRYPTO_get_ex_new_index", {AnswersMinusOne}},
    {"BIO_new", {AnswersNothing}},
    {"BIO_set_ex_data", {AnswersNothing}},
    {"BIO_read", {AnswersNothing, AnswersMinusOne}},
    {"OPENSSL_init_crypto", {AnswersNothing}},
    {"OPENSSL_init_ssl", {AnswersNothing}},
    {"SSL_CTX_new", {AnswersNothing}},
    {"SSL_CTX_load_verify_locations", {AnswersNothing}},
    {"SSL_new", {AnswersNothing}},
    {"SSL_set1_host", {AnswersNothing}},
    {"SSL_ctrl", {AnswersNothing}},
    {"SSL_connect", {AnswersNothing, AnswersMinusOne, LeavesAnError}},
    {"SSL_get0_peer_certificate", {AnswersNothing}},
    {"SSL_get_verify_result",
     {X509_V_ERR_UNSPECIFIED, X509_V_ERR_CERT_HAS_EXPIRED, X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT,
      X509_V_ERR_OUT_OF_MEM, X509_V_ERR_HOSTNAME_MISMATCH}},
    {"SSL_read", {LeavesAnError}},
    {"SSL_write", {AnswersNothing, AnswersMinusOne, LeavesAnError}},
    {"X509_NAME_print_ex", {AnswersMinusOne}},
    {"X509_get_ext_d2i", {AnswersNothing}},
    {"ASN1_STRING_to_UTF8", {AnswersMinusOne}},
    {"ASN1_TIME_to_tm", {AnswersNothing}},
}};

/// The number of the call that fails, from 1; 0: none does.
thread_local constinit std::array<int, SslCallCount> failingCalls{};

int& failingCall(SslCall call) {
    return failingCalls[static_cast<std::size_t>(call)];
}

/// A call, and where it comes from.
struct Site {
    SslCall call;
    const void* caller;
};

/// Tells whether OpenSSL calls itself. Such calls cannot all fail in reality, and where they do they
/// fail for want of memory, which the allocations show.
bool isInternal(const void* caller) {
    struct Known {
        const void* caller = nullptr;
        bool internal = false;
    };
    thread_local std::array<Known, 256> all{};  // asking the loader takes long
    Known& known = all[reinterpret_cast<std::uintptr_t>(caller) % all.size()];
    if (known.caller != caller) {
        Dl_info facts = {};
        const char* const file = dladdr(caller, &facts) != 0 ? facts.dli_fname : "";
        known = {caller, std::strstr(file, "libcrypto") != nullptr ||
                             std::strstr(file, "libssl") != nullptr};
    }
    return known.internal;
}

/// Answers the error of a call that is to fail now, else 0.
int errorNow(const Site& site) {
    const SslCall call = site.call;
    int& left = failingCall(call);
    if (left > 0 && --left == 0) {
        return kindOf(call).errors[0];
    }
    if (!FaultPoints::isCounting() || isInternal(site.caller)) {
        return 0;
    }
    const FaultPoints::Treatment treatment = FaultPoints::next(kindOf(call));
    if (!treatment.fails()) {
        return 0;
    }
    if (treatment.error == LeavesAnError) {
        ERR_raise(ERR_LIB_SSL, ERR_R_MALLOC_FAILURE);
    }
    return treatment.error;
}

/// Makes a call by the function that this program's own stands before, or answers what tells of a
/// failure in its place.
template <class Result, class... Parameters, class... Arguments>
Result call(Result (*)(Parameters...), const Site& site, Arguments... arguments) {
    const int error = errorNow(site);
    if (error == 0) {
        return reinterpret_cast<Result (*)(Parameters...)>(
            dlsym(RTLD_NEXT, kindOf(site.call).name))(arguments...);
    }
    if (site.call == SslCall::ContextNew) {
        ERR_raise(ERR_LIB_SSL, SSL_R_LIBRARY_HAS_NO_CIPHERS);
        ERR_raise(ERR_LIB_SSL, ERR_R_MALLOC_FAILURE);
    }
    if constexpr (std::is_pointer_v<Result>) {
        return nullptr;
    } else {
        return site.call == SslCall::VerifyResult ? error : error == AnswersNothing ? 0 : -1;
    }
}

constinit std::atomic<long> blocks{0};

bool isRefused() {
    return FaultPoints::next(SslAllocation).fails();
}

void* allocate(std::size_t size, const char*, int) {
    void* const block = size == 0 || isRefused() ? nullptr : std::malloc(size);
    blocks += block != nullptr && FaultPoints::isCounting() ? 1 : 0;
    return block;
}

void release(void* block, const char*, int) {
    blocks -= block != nullptr && FaultPoints::isCounting() ? 1 : 0;
    std::free(block);
}

void* reallocate(void* block, std::size_t size, const char* file, int line) {
    if (block == nullptr) {
        return allocate(size, file, line);
    }
    if (size == 0) {
        release(block, file, line);
        return nullptr;
    }
    return isRefused() ? nullptr : std::realloc(block, size);
}

}  // namespace

constinit const Kind SslAllocation = {"CRYPTO_malloc", {ENOMEM}};

const Kind& kindOf(SslCall call) {
    return Kinds[static_cast<std::size_t>(call)];
}

void watchSslMemory() {
    if (CRYPTO_set_mem_functions(allocate, reallocate, release) != 1) {
        std::abort();  // too late: a walk would see nothing
    }
}

long liveSslBlocks() noexcept {
    return blocks;
}

SslFault::SslFault(SslCall call, int skip) : call_(call) {
    failingCall(call) = skip + 1;
}

SslFault::~SslFault() {
    failingCall(call_) = 0;
}

extern "C" {

int BIO_get_new_index() {
    return call(BIO_get_new_index, {SslCall::NewIndex, __builtin_return_address(0)});
}

BIO_METHOD* BIO_meth_new(int type, const char* name) {
    return call(BIO_meth_new, {SslCall::MethodNew, __builtin_return_address(0)}, type, name);
}

int CRYPTO_get_ex_new_index(int kind, long number, void* pointer, CRYPTO_EX_new* made,
                            CRYPTO_EX_dup* copied, CRYPTO_EX_free* freed) {
    return call(CRYPTO_get_ex_new_index, {SslCall::ExIndex, __builtin_return_address(0)}, kind,
                number, pointer, made, copied, freed);
}

BIO* BIO_new(const BIO_METHOD* method) {
    return call(BIO_new, {SslCall::BioNew, __builtin_return_address(0)}, method);
}

int BIO_set_ex_data(BIO* bio, int index, void* data) {
    return call(BIO_set_ex_data, {SslCall::BioExData, __builtin_return_address(0)}, bio, index,
                data);
}

int BIO_read(BIO* bio, void* data, int size) {
    return call(BIO_read, {SslCall::BioRead, __builtin_return_address(0)}, bio, data, size);
}

int OPENSSL_init_crypto(std::uint64_t options, const OPENSSL_INIT_SETTINGS* settings) {
    return call(OPENSSL_init_crypto, {SslCall::InitCrypto, __builtin_return_address(0)}, options,
                settings);
}

int OPENSSL_init_ssl(std::uint64_t options, const OPENSSL_INIT_SETTINGS* settings) {
    return call(OPENSSL_init_ssl, {SslCall::InitSsl, __builtin_return_address(0)}, options,
                settings);
}

SSL_CTX* SSL_CTX_new(const SSL_METHOD* method) {
    return call(SSL_CTX_new, {SslCall::ContextNew, __builtin_return_address(0)}, method);
}

int SSL_CTX_load_verify_locations(SSL_CTX* context, const char* file, const char* folder) {
    return call(SSL_CTX_load_verify_locations, {SslCall::LoadBundle, __builtin_return_address(0)},
                context, file, folder);
}

SSL* SSL_new(SSL_CTX* context) {
    return call(SSL_new, {SslCall::SslNew, __builtin_return_address(0)}, context);
}

int SSL_set1_host(SSL* ssl, const char* name) {
    return call(SSL_set1_host, {SslCall::SetHost, __builtin_return_address(0)}, ssl, name);
}

long SSL_ctrl(SSL* ssl, int command, long number, void* argument) {
    return call(SSL_ctrl, {SslCall::Control, __builtin_return_address(0)}, ssl, command, number,
                argument);
}

int SSL_connect(SSL* ssl) {
    return call(SSL_connect, {SslCall::Connect, __builtin_return_address(0)}, ssl);
}

X509* SSL_get0_peer_certificate(const SSL* ssl) {
    return call(SSL_get0_peer_certificate, {SslCall::PeerCertificate, __builtin_return_address(0)},
                ssl);
}

long SSL_get_verify_result(const SSL* ssl) {
    return call(SSL_get_verify_result, {SslCall::VerifyResult, __builtin_return_address(0)}, ssl);
}

int SSL_read(SSL* ssl, void* data, int size) {
    return call(SSL_read, {SslCall::Read, __builtin_return_address(0)}, ssl, data, size);
}

int SSL_write(SSL* ssl, const void* data, int size) {
    return call(SSL_write, {SslCall::Write, __builtin_return_address(0)}, ssl, data, size);
}

int X509_NAME_print_ex(BIO* bio, const X509_NAME* name, int indent, unsigned long flags) {
    return call(X509_NAME_print_ex, {SslCall::PrintName, __builtin_return_address(0)}, bio, name,
                indent, flags);
}

void* X509_get_ext_d2i(const X509* certificate, int nid, int* critical, int* index) {
    return call(X509_get_ext_d2i, {SslCall::Extension, __builtin_return_address(0)}, certificate,
                nid, critical, index);
}

int ASN1_STRING_to_UTF8(unsigned char** target, const ASN1_STRING* source) {
    return call(ASN1_STRING_to_UTF8, {SslCall::ToUtf8, __builtin_return_address(0)}, target,
                source);
}

int ASN1_TIME_to_tm(const ASN1_TIME* time, struct tm* parts) {
    return call(ASN1_TIME_to_tm, {SslCall::ToTime, __builtin_return_address(0)}, time, parts);
}
}
