/// @file
/// The thread's error code, and texts for codes.
#pragma once

#include <cstdint>

#include "platform/runtime/export.hpp"
#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"

/// The peer ended the connection in an orderly way.
inline constexpr std::uint32_t ErrEndOfStream = 0x15;
/// An object does not offer the operation, above all that of mapping memory.
inline constexpr std::uint32_t ErrNotSupported = 0x10002;
/// Failures of the host system: this plus its error number.
inline constexpr std::uint32_t ErrHostBase = 0x20000;
/// Failures of name resolution: this plus the magnitude of the resolver's code (RFC 3493, section
/// 6.1).
inline constexpr std::uint32_t ErrResolverBase = 0x30000;

/// The calling thread's error code. Operations that fail set it; after a success it means nothing.
///
/// @threads Every thread has a code of its own, 0 at its start.
class VORNIK_EXPORT Error {
public:
    /// Sets the calling thread's code.
    ///
    /// @param code  0: no error.
    static void set(std::uint32_t code) noexcept;
    /// @return The calling thread's code. Ask before anything else is called: it may change it.
    [[nodiscard]] static std::uint32_t get() noexcept;
    /// Answers a text for a person, such as "Connection refused"; it never fails.
    ///
    /// @param code  Any number.
    /// @return A new string, never null.
    static Ref<String> describe(std::uint32_t code);
    /// @return The text of the calling thread's code: a new string, never null.
    static Ref<String> describe() { return describe(get()); }
    /// Answers the name of a code as programs spell it, such as "ErrTransfer".
    ///
    /// @param code  Any number.
    /// @return A literal; null for a code without a name.
    static const char* name(std::uint32_t code) noexcept;
};
