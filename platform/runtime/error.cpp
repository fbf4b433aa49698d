// The thread's error code, and texts for the codes of the environment and its HTTP client.

#include "platform/runtime/error.hpp"

#include "platform/runtime/host.hpp"
#include "platform/runtime/string_util.hpp"

namespace {

thread_local std::uint32_t currentCode = 0;

struct KnownCode {
    std::uint32_t code;
    const char* name;
    const char* text;
};

constexpr KnownCode KnownCodes[] = {
    {0, "", "No error"},
    {ErrEndOfStream, "ErrEndOfStream", "The peer ended the connection"},
    {0x8442, "ErrCancelled", "The transfer was cancelled"},
    {0x8443, "ErrTransfer", "The transfer failed"},
    {0x8445, "ErrNullArgument", "A required argument is null"},
    {0x8446, "ErrInvalidArgument", "An argument is invalid"},
    {0x8483, "ErrBioMethod", "The TLS transport cannot be set up"},
    {ErrNotSupported, "ErrNotSupported", "The operation is not supported"},
};

const KnownCode* findKnown(std::uint32_t code) noexcept {
    for (const KnownCode& known : KnownCodes) {
        if (known.code == code) {
            return &known;
        }
    }
    return nullptr;
}

}  // namespace

void Error::set(std::uint32_t code) noexcept {
    currentCode = code;
}

std::uint32_t Error::get() noexcept {
    return currentCode;
}

const char* Error::name(std::uint32_t code) noexcept {
    const KnownCode* const known = findKnown(code);
    return known != nullptr ? known->name : nullptr;
}

Ref<String> Error::describe(std::uint32_t code) {
    if (const KnownCode* const known = findKnown(code)) {
        return String::create(known->text);
    }
    if (code >= ErrResolverBase && code < ErrResolverBase + 0x10000) {
        return Host::describeResolverError(code - ErrResolverBase);
    }
    if (code >= ErrHostBase && code < ErrHostBase + 0x10000) {
        return Host::describeError(code - ErrHostBase);
    }
    StringPrinter text;
    return text.text("Error ").hexadecimal().number(std::uint64_t{code}).text("h").toString();
}
