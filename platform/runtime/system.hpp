#pragma once

#include <cstdint>

#include "platform/runtime/export.hpp"
#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"

/// Facts about the system.
class VORNIK_EXPORT Sys {
public:
    /// For `info`: the installed memory in MiB.
    static constexpr std::uint32_t InstalledMemory = 0x20001;

    /// Answers a fact, or 0 when it is unknown.
    static std::uint64_t info(std::uint32_t fact) noexcept;
    /// Answers the boot parameter's text: that of `setBootParameter`, else the environment variable
    /// `VORNIK_BOOT`, else the kernel's command line; empty when there is none.
    static Ref<String> bootParameter();
    /// Replaces the boot parameter for this process; null takes the replacement back. Libraries may
    /// read the parameter once only: call it first.
    static void setBootParameter(const Ref<String>& text);
    /// Answers where a file of the environment, such as "/system/base/certs.pem", lies on the host:
    /// under the folder that the environment variable `VORNIK_ROOT` names, else at the host's root.
    /// The variable is ignored in a program that runs with another user's rights.
    static Ref<String> hostPath(const Ref<String>& path);
};

/// The environment as a product.
class VORNIK_EXPORT PlatformEnvironment {
public:
    /// Answers the long name of a product, for "Vornik" its name, version and host such as
    /// "Vornik/1.0.0 (Linux x86_64)": a product token with a comment (RFC 9110, section 10.1.5).
    /// Null for any other key.
    static Ref<String> getLongProductName(Ref<String> key);
};
