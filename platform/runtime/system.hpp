/// @file
/// Facts about the system and its environment.
#pragma once

#include <cstdint>

#include "platform/runtime/export.hpp"
#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"

/// Facts about the system.
///
/// @threads Any thread.
class VORNIK_EXPORT Sys {
public:
    /// For `info`: the installed memory in MiB.
    static constexpr std::uint32_t InstalledMemory = 0x20001;

    /// Answers a fact.
    ///
    /// @param fact  `InstalledMemory`.
    /// @return The fact, in its own unit; 0 when it is unknown.
    static std::uint64_t info(std::uint32_t fact) noexcept;
    /// Answers the boot parameter's text: that of `setBootParameter`, else the environment variable
    /// `VORNIK_BOOT`, else the kernel's command line.
    ///
    /// @return A string, empty when there is none.
    static Ref<String> bootParameter();
    /// Replaces the boot parameter for this process. Libraries may read the parameter once only, as
    /// the HTTP client does: call it first.
    ///
    /// @param text  Words with blanks between them; null takes the replacement back.
    static void setBootParameter(const Ref<String>& text);
    /// Answers where a file of the environment, such as "/system/base/certs.pem", lies on the host:
    /// under the folder that the environment variable `VORNIK_ROOT` names, else at the host's root.
    /// The variable is ignored in a program that runs with another user's rights.
    ///
    /// @param path  Absolute, in the environment; not null.
    /// @return The path on the host.
    static Ref<String> hostPath(const Ref<String>& path);
};

/// The environment as a product.
///
/// @threads Any thread.
class VORNIK_EXPORT PlatformEnvironment {
public:
    /// Answers the long name of a product, for "Vornik" its name, version and host such as
    /// "Vornik/1.0.0 (Linux x86_64)": a product token with a comment (RFC 9110, section 10.1.5).
    ///
    /// @param key  The product's short name.
    /// @return A string; null for any other key, and for null.
    static Ref<String> getLongProductName(Ref<String> key);
};
