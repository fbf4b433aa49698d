#include "tests/faults/promises.hpp"

#include <algorithm>
#include <cerrno>

#include <netdb.h>

#include "tests/support/heap_faults.hpp"
#include "tests/support/host_faults.hpp"

namespace FaultWalk {
namespace {

using HostFaults::Call;
using HostFaults::kindOf;
using Libraries::Networks::HTTP::Client::ErrTransfer;

constexpr std::string_view NoPMem = "Failed to create PMem for transfer";
constexpr std::string_view NoShMem = "Failed to create ShMem for transfer";
constexpr std::string_view NoOutput = "Failed to write data to output stream; error: ";
constexpr std::string_view NoConnection = "Failed to connect socket to ";
constexpr std::string_view NoHead = "Failed to send data to ";
constexpr std::string_view NoBody = "Failed to write data; error: ";
constexpr std::string_view NoAnswer = "Could not receive data; error: ";
constexpr std::string_view NoHandshake = "TLS handshake failed to ";

const Promise* find(const Promises& promises, const Kind* kind) {
    const auto found = std::find_if(promises.rbegin(), promises.rend(),
                                    [&](const Promise& row) { return row.kind == kind; });
    return found != promises.rend() ? &*found : nullptr;
}

bool beginsWithOne(const std::string& text, const std::vector<std::string_view>& beginnings) {
    return std::any_of(beginnings.begin(), beginnings.end(),
                       [&](std::string_view beginning) { return text.starts_with(beginning); });
}

/// Answers the code that the host's binding makes of the fault; 0: it leaves the one before.
std::uint32_t codeOf(const Point& point) {
    const Treatment& treatment = point.treatment();
    if (treatment.way == Way::Ends) {
        return point.kind() == &kindOf(Call::Recv)   ? ErrEndOfStream
               : point.kind() == &kindOf(Call::Poll) ? ErrHostBase + ETIMEDOUT
                                                     : 0;
    }
    const int error = treatment.error;
    if (point.kind() == &kindOf(Call::Getaddrinfo)) {
        return error == EAI_SYSTEM ? ErrHostBase + EIO
                                   : ErrResolverBase + static_cast<std::uint32_t>(-error);
    }
    const bool isLimit = error == EAGAIN || error == EINPROGRESS;
    const bool isSocket = point.kind() == &kindOf(Call::Connect);
    return ErrHostBase + static_cast<std::uint32_t>(isLimit && isSocket ? ETIMEDOUT : error);
}

/// Tells of records of a level that were not promised, or have another code than the call.
std::string unexpected(const std::vector<std::string>& texts, const std::vector<std::string>& good,
                       const std::vector<std::string_view>& promised, std::uint32_t code) {
    for (const std::string& text : texts) {
        if (std::find(good.begin(), good.end(), text) != good.end()) {
            continue;
        }
        if (!beginsWithOne(text, promised)) {
            return "a record that was not promised: " + text + "; ";
        }
        const std::size_t at = text.rfind("; error: ");
        // Above TLS, the code is that of OpenSSL or of the TLS stream.
        const bool foreign = text.starts_with(NoHandshake) || text.ends_with(hexDec(ErrTransfer));
        if (code != 0 && at != std::string::npos && !foreign && !text.ends_with(hexDec(code))) {
            return "a record without " + hexDec(code) + ": " + text + "; ";
        }
    }
    return "";
}

std::string judgeWarnings(const Point& point, const Result& seen, const Result& good,
                          const Promise& promise) {
    const std::vector<std::string> warnings = seen.texts(3);
    const bool missing = point.treatment().fails() && !promise.warnings.empty() &&
                         !promise.mayAnswer && warnings.size() <= good.texts(3).size();
    return (missing ? "no warning; " : "") +
           unexpected(warnings, good.texts(3), promise.warnings, codeOf(point));
}

std::string judgeAnswer(const Result& seen, const Result& good, const Promise& promise) {
    std::string fault;
    if (!promise.failures.empty() && !promise.mayAnswer) {
        fault += "an answer in spite of the fault; ";
    }
    if (!good.ok || seen.text != good.text) {
        fault += "another answer than without the fault: " + good.text + "; ";
    }
    const std::vector<std::string_view> none;
    return fault +
           unexpected(seen.texts(4), good.texts(4), promise.isOfADump ? promise.failures : none, 0);
}

/// An exchange fails with its own code whatever the host said; a probe passes the host's code on.
std::string judgeFailure(const Point& point, const Result& seen, const Promise& promise) {
    const std::uint32_t code = promise.code != 0 ? promise.code : codeOf(point);
    std::string fault;
    if (seen.error != (seen.text == ProbeStep ? code : ErrTransfer)) {
        fault += "another code than promised; ";
    }
    if (promise.failures.empty()) {
        fault += "a failure where none is promised; ";
    }
    if (seen.texts(4).empty()) {
        fault += "a failure without a record; ";
    }
    return fault + unexpected(seen.texts(4), {}, promise.failures, code == AnyCode ? 0 : code);
}

}  // namespace

Promises hostPromises() {
    constexpr std::uint32_t noMemory = ErrHostBase + ENOMEM;
    return {
        {&kindOf(Call::Mmap), {NoOutput}, {NoPMem, NoShMem}, true, noMemory},
        {&kindOf(Call::Mremap), {NoOutput}, {}, true, noMemory},
        {&HeapFaults::TryAlloc, {NoOutput}, {}, true, noMemory},
        {&kindOf(Call::MemfdCreate), {}, {NoShMem}},
        {&kindOf(Call::Ftruncate), {}, {NoShMem}},
        {&kindOf(Call::Socket), {"Failed to create socket; error: "}},
        {&kindOf(Call::Connect), {NoConnection}},
        {&kindOf(Call::Getsockopt), {NoConnection}},
        {&kindOf(Call::Poll), {NoConnection, NoAnswer}},
        {&kindOf(Call::Send), {NoHead, NoBody}},
        {&kindOf(Call::Recv), {NoAnswer}},
        {&kindOf(Call::Open), {OpenStep}},
        {&kindOf(Call::Fstat), {OpenStep}, {}, true},
        {&kindOf(Call::Pread), {"Failed to read data for request body; error: "}},
        {&kindOf(Call::Write), {NoOutput}},
        {&kindOf(Call::Getaddrinfo), {"Failed to resolve "}},
    };
}

std::function<std::string(const Point&, const Result&, const Result&)> judgeBy(Promises promises) {
    return [promises = std::move(promises)](const Point& point, const Result& seen,
                                            const Result& good) -> std::string {
        const Promise* const found = find(promises, point.kind());
        const bool shows = point.treatment().fails() || point.treatment().way == Way::Ends;
        const Promise promise = found != nullptr && shows ? *found : Promise{point.kind()};
        if (!seen.ok && seen.text == OpenStep) {  // which writes no record
            return seen.error == codeOf(point) && seen.records.empty() ? "" : "another code; ";
        }
        return judgeWarnings(point, seen, good, promise) +
               (seen.ok ? judgeAnswer(seen, good, promise) : judgeFailure(point, seen, promise));
    };
}

std::function<std::string(const Point&, const Result&, const Result&)> judgeRefusal() {
    return [](const Point&, const Result& seen, const Result&) -> std::string {
        if (seen.ok) {
            return "a server is accepted that must be refused; ";
        }
        return std::string(seen.error == ErrTransfer ? "" : "another code than promised; ") +
               (seen.texts(4).empty() ? "a failure without a record; " : "");
    };
}

}  // namespace FaultWalk
