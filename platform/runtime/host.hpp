#pragma once

#include <cstdint>

#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"

/// What the runtime asks of the binding to the host system.
namespace Host {

Ref<String> describeError(std::uint32_t number);
Ref<String> describeResolverError(std::uint32_t magnitude);

/// Answers an environment variable's text, or null. The environment must not change meanwhile.
const char* environment(const char* name) noexcept;
/// As above, but null in a program that runs with another user's rights.
const char* trustedEnvironment(const char* name) noexcept;
/// Answers the number of seconds that a variable holds, in milliseconds, or `otherwise`.
std::uint64_t environmentSeconds(const char* name, std::uint64_t otherwise) noexcept;

/// Answers the kernel's command line without its line end; empty when it cannot be read.
Ref<String> kernelCommandLine();
/// Answers the installed memory in MiB, 0 when unknown.
std::uint64_t installedMemory() noexcept;
/// Answers the machine's name such as "x86_64".
Ref<String> machine();

}  // namespace Host
