// UTF-8 as RFC 2279 had it, one octet longer: sequences for every 32-bit value.

#include "platform/runtime/utf8.hpp"

#include <bit>

namespace Utf8 {
namespace {

/// Answers the smallest value that needs a sequence of this length.
constexpr std::uint64_t smallest(std::size_t octets) noexcept {
    return octets == 2 ? 0x80 : std::uint64_t{1} << (5 * octets - 4);
}

constexpr std::uint8_t octetAt(std::string_view text, std::size_t index) noexcept {
    return static_cast<std::uint8_t>(text[index]);
}

}  // namespace

Decoded decode(std::string_view text) noexcept {
    const std::uint8_t lead = octetAt(text, 0);
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    const auto octets = static_cast<std::size_t>(std::countl_one(lead));
    const Decoded stray{lead, 1, false};
    if (octets < 2 || octets > LongestSequence || octets > text.size()) {
        return stray;
    }
    std::uint64_t value = lead & (0x7FU >> octets);
    for (std::size_t i = 1; i < octets; ++i) {
        const std::uint8_t next = octetAt(text, i);
        if ((next & 0xC0U) != 0x80) {
            return stray;
        }
        value = value << 6U | (next & 0x3FU);
    }
    if (value < smallest(octets) || value > 0xFFFFFFFF) {
        return stray;
    }
    return {static_cast<char32_t>(value), octets, true};
}

std::size_t encode(char32_t codePoint, char (&sequence)[LongestSequence]) noexcept {
    const std::uint64_t value = codePoint;
    if (value < 0x80) {
        sequence[0] = static_cast<char>(value);
        return 1;
    }
    std::size_t octets = 2;
    while (octets < LongestSequence && value >= smallest(octets + 1)) {
        ++octets;
    }
    std::uint64_t rest = value;
    for (std::size_t i = octets - 1; i > 0; --i) {
        sequence[i] = static_cast<char>(0x80U | (rest & 0x3FU));
        rest >>= 6U;
    }
    sequence[0] = static_cast<char>((0xFF00U >> octets & 0xFFU) | rest);
    return octets;
}

}  // namespace Utf8
