/// @file
/// Immutable texts.
#pragma once

#include <compare>
#include <cstddef>
#include <initializer_list>
#include <iosfwd>
#include <string_view>

#include "platform/runtime/export.hpp"
#include "platform/runtime/object.hpp"

/// An immutable text: octets, normally UTF-8, with a terminating NUL behind them.
///
/// Every index and every length counts octets, so any sequence of octets survives unchanged. Null
/// (no string at all, `Ref<String>()`) and empty are distinct values. UTF-8 is that of RFC 3629.
///
/// @threads Immutable: any number of threads may read one string.
class VORNIK_EXPORT String final : public Object {
public:
    /// As a length: up to the terminator. As an index that a search answers: absent.
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    /// Copies a part of a C text.
    ///
    /// @param text    Where the octets are; null gives null.
    /// @param start   The index of the first octet.
    /// @param length  How many octets, NULs included; `npos`: up to the terminating NUL.
    /// @return A new string, or null for null.
    static Ref<String> create(const char* text, std::size_t start = 0, std::size_t length = npos);
    /// Copies the octets of a view.
    ///
    /// @param octets  Any octets, NULs included.
    /// @return A new string, never null.
    static Ref<String> create(std::string_view octets);
    /// Copies a text such as a `std::string`.
    ///
    /// @param text  Copied.
    /// @return A new string, never null.
    template <TextLike Text>
    static Ref<String> create(const Text& text) {
        return create(viewOf(text));
    }
    /// Copies another string.
    ///
    /// @param other  May be null.
    /// @return A new string, or null for null.
    static Ref<String> create(const Ref<String>& other);
    /// Encodes code points as UTF-8, in its generalised form (RFC 2279 and above) where RFC 3629
    /// has none: `copyCodePoints` gives the same code points back.
    ///
    /// @param codePoints  Any numbers.
    /// @return A new string, never null.
    static Ref<String> create(std::u32string_view codePoints);
    /// Joins several texts with one allocation.
    ///
    /// @param pieces  In this order, without a separator.
    /// @return A new string, never null.
    static Ref<String> concat(std::initializer_list<std::string_view> pieces);

    /// @return The number of octets, the NUL behind them not counted.
    [[nodiscard]] std::size_t length() const noexcept { return length_; }
    /// @return Whether there is no octet.
    [[nodiscard]] bool empty() const noexcept { return length_ == 0; }
    /// @param index  Below the length, or equal to it for the NUL; not checked.
    /// @return The octet at the index.
    [[nodiscard]] char at(std::size_t index) const noexcept { return octets()[index]; }
    /// @return The octets, valid as long as the string; behind them stands a NUL.
    [[nodiscard]] std::string_view view() const noexcept { return {octets(), length_}; }
    /// @return The octets with their NUL as a C text, valid as long as the string.
    [[nodiscard]] const char* cText() const noexcept { return octets(); }

    /// Finds the first occurrence of an octet.
    ///
    /// @param octet  What is sought.
    /// @param from   The index at which the search begins.
    /// @return Its index, or `npos`.
    [[nodiscard]] std::size_t find(char octet, std::size_t from = 0) const noexcept;
    /// Finds the first occurrence of a text.
    ///
    /// @param text  What is sought.
    /// @param from  The index at which the search begins.
    /// @return The index of its first octet, or `npos`.
    [[nodiscard]] std::size_t find(std::string_view text, std::size_t from = 0) const noexcept;
    /// Finds the last occurrence of an octet.
    ///
    /// @param octet  What is sought.
    /// @param from   The largest index that counts.
    /// @return Its index, or `npos`.
    [[nodiscard]] std::size_t findLast(char octet, std::size_t from = npos) const noexcept;
    /// Copies a part.
    ///
    /// @param from   The index of the first octet; behind the end, the result is empty.
    /// @param count  The largest number of octets.
    /// @return A new string, never null.
    [[nodiscard]] Ref<String> substring(std::size_t from, std::size_t count = npos) const;
    /// @return A new string in which A to Z are lowered; other octets stay.
    [[nodiscard]] Ref<String> lowerCase() const;

    /// @param text  Any octets.
    /// @return Whether the octets are the same, letter case significant.
    [[nodiscard]] bool equals(std::string_view text) const noexcept { return view() == text; }
    /// The strict order of strings: that of their octets as unsigned numbers.
    friend std::strong_ordering operator<=>(const String& left, const String& right) noexcept {
        return left.view().compare(right.view()) <=> 0;
    }
    /// Strings are equal when their octets are.
    friend bool operator==(const String& left, const String& right) noexcept {
        return left.view() == right.view();
    }
    /// Orders two texts as the order above orders their `lowerCase` copies, without making them.
    ///
    /// @param left   A text.
    /// @param right  Another one.
    /// @return Below 0: the left one comes first; 0: they are equal; above 0: the right one.
    [[nodiscard]] static int compareLowered(std::string_view left, std::string_view right) noexcept;

    /// Copies the octets and the NUL behind them.
    ///
    /// @param count  Takes the number of octets, the NUL not counted; may be null.
    /// @return A new buffer, which the caller frees with `Heap::free`, kind `Array`.
    [[nodiscard]] char* copyBytes(std::size_t* count) const;
    /// Decodes the text. An octet that is not part of a UTF-8 sequence stands for the code point of
    /// its own value.
    ///
    /// @param count  Takes the number of code points, the 0 not counted; may be null.
    /// @return A new array of the code points and a 0, which the caller frees with `Heap::free`,
    ///         kind `Array`.
    [[nodiscard]] char32_t* copyCodePoints(std::size_t* count) const;

private:
    explicit String(std::size_t length) noexcept : length_(length) {}
    static Ref<String> allocate(std::size_t length);
    [[nodiscard]] const char* octets() const noexcept;
    char* octets() noexcept;

    std::size_t length_;  // the octets themselves stand behind the object, in the same block
};

/// Orders references to strings by their texts, null first.
struct StringLess {
    /// @param left   A string, or null.
    /// @param right  Another one, or null.
    /// @return Whether the left one comes first.
    bool operator()(const Ref<String>& left, const Ref<String>& right) const noexcept {
        if (!left || !right) {
            return !left && right;
        }
        return *left < *right;
    }
};

/// Writes a string to a stream of the C++ library.
///
/// @param out   Takes the octets.
/// @param text  Null shows as "(null)".
/// @return The stream.
template <class Traits>
std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& out,
                                             const Ref<String>& text) {
    return out << (text ? text->view() : std::string_view("(null)"));
}
