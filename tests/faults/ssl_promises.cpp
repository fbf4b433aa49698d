#include "tests/faults/promises.hpp"
#include "tests/support/host_faults.hpp"
#include "tests/tls/openssl_faults.hpp"

namespace FaultWalk {
namespace {

using HostFaults::Call;
using Libraries::Networks::HTTP::Client::ErrTransfer;

constexpr std::string_view NoHandshake = "TLS handshake failed to ";
constexpr std::string_view SslError = "SSL error: ";
constexpr std::string_view NotWritten = "Failed to write all data to SSL engine; ";
constexpr std::string_view NoHead = "Failed to send data to ";
constexpr std::string_view NoBody = "Failed to write data; error: ";
constexpr std::string_view NoAnswer = "Could not receive data; error: ";
constexpr std::string_view NotRead = "Read of ";
constexpr std::string_view Untrusted = "Certificate error: ";

/// Whatever a TLS exchange that has come to nothing may say.
const std::vector<std::string_view>& anyFailure() {
    static const std::vector<std::string_view> all = {
        "Failed to create BIO for socket",
        "Failed to create BIO from socket",
        "Failed to initialize SSL",
        Untrusted,
        NoHandshake,
        SslError,
        "No server certificate for ",
        "Certificate verification failed for ",
        NotWritten,
        NoHead,
        NoBody,
        NoAnswer,
        NotRead,
        "Failed to create BIO for printing X509 data",
        "Failed to read X509 data from BIO with pending size of ",
        "Failed to retrieve entry ",
    };
    return all;
}

void add(Promises& all, SslCall call, Promise promise) {
    promise.kind = &kindOf(call);
    promise.code = ErrTransfer;
    all.push_back(std::move(promise));
}

void addSetUp(Promises& all) {
    const std::string_view noBio = "Failed to create BIO for socket";
    const std::string_view noTransport = "Failed to create BIO from socket";
    add(all, SslCall::BioNew,
        {.failures = {noBio, noTransport, "Failed to create BIO for printing X509 data"},
         .mayAnswer = true,
         .isOfADump = true});
    all.push_back({.kind = &SslAllocation,
                   .failures = anyFailure(),
                   .mayAnswer = true,
                   .code = AnyCode,
                   .isOfADump = true});
    add(all, SslCall::BioExData, {.failures = {noBio, noTransport}});
    add(all, SslCall::ContextNew, {.failures = {SslError, "Failed to initialize SSL CTX"}});
    add(all, SslCall::SslNew, {.failures = {"Failed to initialize SSL"}});
    add(all, SslCall::SetHost,
        {.failures = {"Certificate verification failed for "}, .mayAnswer = true});
    add(all, SslCall::LoadBundle, {.failures = {Untrusted, NoHandshake, SslError}});
}

void addExchange(Promises& all) {
    add(all, SslCall::Connect, {.failures = {NoHandshake, SslError}});
    add(all, SslCall::PeerCertificate, {.failures = {"No server certificate for "}});
    add(all, SslCall::VerifyResult, {.failures = {"Certificate verification failed for "}});
    add(all, SslCall::Write, {.failures = {NotWritten, NoHead, NoBody}});
    add(all, SslCall::Read, {.failures = {NotRead, NoAnswer}});
}

/// What fails within a dump leaves a gap in it, and no more.
void addDump(Promises& all) {
    add(all, SslCall::BioRead,
        {.failures = {"Failed to read X509 data from BIO with pending size of "},
         .mayAnswer = true,
         .isOfADump = true});
    add(all, SslCall::ToUtf8,
        {.failures = {"Failed to retrieve entry "}, .mayAnswer = true, .isOfADump = true});
}

}  // namespace

Promises tlsPromises() {
    Promises all = hostPromises();
    all.push_back({&HostFaults::kindOf(Call::Send),
                   {NoHandshake, SslError, NotWritten, NoHead, NoBody},
                   {"Wrote nothing to socket from BIO; error: "}});
    all.push_back({&HostFaults::kindOf(Call::Recv),
                   {NoHandshake, SslError, NoAnswer, NotRead},
                   {"Read nothing from socket for BIO; error: "}});
    addSetUp(all);
    addExchange(all);
    addDump(all);
    return all;
}

}  // namespace FaultWalk
