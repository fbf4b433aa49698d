#pragma once

#include "tests/support/fault_points.hpp"

/// The calls of OpenSSL that can be made to fail. The program that links `nethttp_openssl_faults`
/// defines them itself and hands them on.
enum class SslCall {
    NewIndex,
    MethodNew,
    ExIndex,
    BioNew,
    BioExData,
    BioRead,
    InitCrypto,
    InitSsl,
    ContextNew,
    LoadBundle,
    SslNew,
    SetHost,
    Control,
    Connect,
    PeerCertificate,
    VerifyResult,
    Read,
    Write,
    PrintName,
    Extension,
    ToUtf8,
    ToTime,
};
inline constexpr unsigned SslCallCount = 22;

/// Answers how a call can go wrong, as points know it. An error is 1 where 0 or null tells of the
/// failure, 2 where -1 does, 3 for the same with an error in the thread's queue; of a verification it
/// is the result.
const FaultPoints::Kind& kindOf(SslCall call);

/// Makes the next call on this thread fail; those of others, and later ones, do their work.
class SslFault {
public:
    /// @param skip  Calls that do their work before the one that fails.
    explicit SslFault(SslCall call, int skip = 0);
    SslFault(const SslFault&) = delete;
    SslFault& operator=(const SslFault&) = delete;
    ~SslFault();

private:
    SslCall call_;
};

/// The allocations of OpenSSL. They are counted and can fail once `watchSslMemory` was called, which
/// must be before OpenSSL allocates anything.
extern const FaultPoints::Kind SslAllocation;
void watchSslMemory();
/// Answers how many blocks of OpenSSL the threads that count points have in use.
long liveSslBlocks() noexcept;
