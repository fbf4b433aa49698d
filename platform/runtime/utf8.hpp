#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// UTF-8 in its generalised form: up to seven octets, which reach every 32-bit value. Surrogates
/// and values above 0x10FFFF are encoded like any other.
namespace Utf8 {

inline constexpr std::size_t LongestSequence = 7;

/// One decoded code point and how many octets it took, at least 1.
struct Decoded {
    char32_t codePoint;
    std::size_t octets;
    bool wellFormed;  ///< False when the octet is not part of a sequence and stands for itself.
};

/// Decodes the code point at the start of `text`, which is not empty. Overlong forms are no
/// sequences.
Decoded decode(std::string_view text) noexcept;

/// Writes the sequence of a code point and answers its length.
std::size_t encode(char32_t codePoint, char (&sequence)[LongestSequence]) noexcept;

}  // namespace Utf8
