// Strings: one block each, the object in front and its octets behind it.

#include "platform/runtime/string.hpp"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <new>

#include "platform/runtime/string_util.hpp"
#include "platform/runtime/utf8.hpp"

namespace {

constexpr unsigned char lowered(char octet) noexcept {
    const auto value = static_cast<unsigned char>(octet);
    return value >= 'A' && value <= 'Z' ? static_cast<unsigned char>(value + ('a' - 'A')) : value;
}

constexpr std::size_t WordSize = sizeof(std::uint64_t);

std::uint64_t wordAt(const char* octets) noexcept {
    std::uint64_t word = 0;
    std::memcpy(&word, octets, WordSize);
    return word;
}

/// Lowers eight octets at once; the first one is the most significant of the result, so that words
/// have the order of their texts.
std::uint64_t loweredInOrder(std::uint64_t word) noexcept {
    constexpr std::uint64_t Each = 0x0101010101010101;
    if constexpr (std::endian::native == std::endian::little) {
        word = __builtin_bswap64(word);
    }
    // Sums in which the top bit of an octet tells the result; without that bit none carries over.
    const std::uint64_t low = word & Each * 0x7F;
    const std::uint64_t fromA = low + Each * (0x80 - 'A');
    const std::uint64_t behindZ = low + Each * (0x80 - 'Z' - 1);
    const std::uint64_t capital = fromA & ~behindZ & ~word & Each * 0x80;
    return word | capital >> 2U;  // 0x80 becomes 0x20, which is what tells a small letter
}

}  // namespace

const char* String::octets() const noexcept {
    return reinterpret_cast<const char*>(this) + sizeof(String);
}

char* String::octets() noexcept {
    return reinterpret_cast<char*>(this) + sizeof(String);
}

Ref<String> String::allocate(std::size_t length) {
    const std::size_t space = sizeof(String) + 1;
    const std::size_t size = length <= npos - space ? length + space : npos;
    void* const block = Heap::alloc(size, Heap::Object, __builtin_return_address(0));
    Ref<String> string(new (block) String(length));
    string->octets()[length] = '\0';
    return string;
}

Ref<String> String::create(const char* text, std::size_t start, std::size_t length) {
    if (text == nullptr) {
        return nullptr;
    }
    const char* const first = text + start;
    return create(std::string_view(first, length != npos ? length : std::strlen(first)));
}

Ref<String> String::create(std::string_view octets) {
    Ref<String> string = allocate(octets.size());
    Mem::copy(octets.data(), string->octets(), octets.size());
    return string;
}

Ref<String> String::create(const Ref<String>& other) {
    return other ? create(other->view()) : Ref<String>();
}

Ref<String> String::create(std::u32string_view codePoints) {
    HeapText text;
    for (const char32_t codePoint : codePoints) {
        char sequence[Utf8::LongestSequence];
        text.append(sequence, Utf8::encode(codePoint, sequence));
    }
    return create(text);
}

Ref<String> String::concat(std::initializer_list<std::string_view> pieces) {
    std::size_t length = 0;
    for (const std::string_view piece : pieces) {
        length += piece.size();
    }
    Ref<String> string = allocate(length);
    char* end = string->octets();
    for (const std::string_view piece : pieces) {
        Mem::copy(piece.data(), end, piece.size());
        end += piece.size();
    }
    return string;
}

std::size_t String::find(char octet, std::size_t from) const noexcept {
    return view().find(octet, from);
}

std::size_t String::find(std::string_view text, std::size_t from) const noexcept {
    return view().find(text, from);
}

std::size_t String::findLast(char octet, std::size_t from) const noexcept {
    return view().rfind(octet, from);
}

Ref<String> String::substring(std::size_t from, std::size_t count) const {
    return create(view().substr(std::min(from, length_), count));
}

Ref<String> String::lowerCase() const {
    Ref<String> copy = create(view());
    std::transform(octets(), octets() + length_, copy->octets(),
                   [](char octet) { return static_cast<char>(lowered(octet)); });
    return copy;
}

int String::compareLowered(std::string_view left, std::string_view right) noexcept {
    const std::size_t common = std::min(left.size(), right.size());
    // The last word may overlap the one before it: what it shares with that is equal.
    for (std::size_t at = 0; common >= WordSize && at < common; at += WordSize) {
        const std::size_t from = std::min(at, common - WordSize);
        const std::uint64_t leftWord = wordAt(left.data() + from);
        const std::uint64_t rightWord = wordAt(right.data() + from);
        if (leftWord == rightWord) {
            continue;  // most words of names are: they begin alike, in the same letter case
        }
        const std::uint64_t leftLowered = loweredInOrder(leftWord);
        const std::uint64_t rightLowered = loweredInOrder(rightWord);
        if (leftLowered != rightLowered) {
            return leftLowered < rightLowered ? -1 : 1;
        }
    }
    for (std::size_t i = 0; common < WordSize && i < common; ++i) {
        const int difference = int{lowered(left[i])} - int{lowered(right[i])};
        if (difference != 0) {
            return difference;
        }
    }
    return static_cast<int>(left.size() > common) - static_cast<int>(right.size() > common);
}

char* String::copyBytes(std::size_t* count) const {
    auto* const bytes = static_cast<char*>(Heap::alloc(length_ + 1, Heap::Array));
    Mem::copy(octets(), bytes, length_ + 1);
    if (count != nullptr) {
        *count = length_;
    }
    return bytes;
}

char32_t* String::copyCodePoints(std::size_t* count) const {
    // There are at most as many code points as octets.
    const bool fits = length_ < npos / sizeof(char32_t);
    const std::size_t size = fits ? (length_ + 1) * sizeof(char32_t) : npos;
    auto* const codePoints = static_cast<char32_t*>(Heap::alloc(size, Heap::Array));
    std::size_t found = 0;
    for (std::string_view rest = view(); !rest.empty();) {
        const Utf8::Decoded next = Utf8::decode(rest);
        codePoints[found++] = next.codePoint;
        rest.remove_prefix(next.octets);
    }
    codePoints[found] = U'\0';
    if (count != nullptr) {
        *count = found;
    }
    return codePoints;
}
