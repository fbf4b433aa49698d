// What the program says on standard error. Names and URLs come from whoever wrote the command line,
// which may be a script that read them elsewhere, so they are made harmless here.

#include "messages.hpp"

#include <cstddef>
#include <cstdio>

#include "platform/runtime/error.hpp"

#include "text.hpp"

namespace cli {

namespace {

bool isContinuation(char octet) {
    return (static_cast<unsigned char>(octet) & 0xC0U) == 0x80U;
}

/// Answers the number of octets of the character that a text begins with, by its first octet alone.
std::size_t announcedLength(unsigned char first) {
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first <= 0xDF) {
        return 2;
    }
    if (first >= 0xE0 && first <= 0xEF) {
        return 3;
    }
    return first >= 0xF0 && first <= 0xF4 ? 4 : 0;
}

/// Decodes the character that a text begins with; 0 when that is no well-formed UTF-8.
char32_t firstCharacter(std::string_view text, std::size_t& length) {
    constexpr unsigned char leadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
    constexpr char32_t smallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text.front());
    length = announcedLength(first);
    if (length == 0 || length > text.size()) {
        return 0;
    }
    char32_t character = first & leadBits[length];
    for (const char octet : text.substr(1, length - 1)) {
        if (!isContinuation(octet)) {
            return 0;
        }
        character = (character << 6U) | (static_cast<unsigned char>(octet) & 0x3FU);
    }
    const bool surrogate = character >= 0xD800 && character <= 0xDFFF;
    return character < smallest[length] || character > 0x10FFFF || surrogate ? 0 : character;
}

bool isHarmless(char32_t character) {
    const auto within = [character](char32_t low, char32_t high) {
        return character >= low && character <= high;
    };
    return character >= 0x20 && !within(0x7F, 0x9F) && !within(0x200E, 0x200F) &&
           !within(0x2028, 0x202E) && !within(0x2066, 0x2069);
}

}  // namespace

std::string printable(std::string_view text) {
    constexpr char digits[] = "0123456789abcdef";
    std::string result;
    while (!text.empty()) {
        std::size_t length = 0;
        const char32_t character = firstCharacter(text, length);
        if (isHarmless(character)) {
            result += text.substr(0, length);
            text.remove_prefix(length);
            continue;
        }
        // One octet at a time: what follows a broken sequence may well be sound.
        for (std::size_t octets = character == 0 ? 1 : length; octets != 0; --octets) {
            const auto octet = static_cast<unsigned char>(text.front());
            result += {'\\', 'x', digits[octet >> 4U], digits[octet & 0xFU]};
            text.remove_prefix(1);
        }
    }
    return result;
}

void complain(std::string_view text) {
    const std::string line = "nethttp: " + printable(text) + '\n';
    // Nobody is left to tell when standard error itself is gone.
    (void)std::fwrite(line.data(), 1, line.size(), stderr);
}

void complainOfFile(std::string_view name, std::uint32_t code) {
    complain(std::string(name) + ": " + textOf(Error::describe(code)));
}

}  // namespace cli
