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
/// (no string at all, `Ref<String>()`) and empty are distinct values.
///
/// @threads Immutable: any number of threads may read one string.
class VORNIK_EXPORT String final : public Object {
public:
    /// As a length: up to the terminator. As an index that a search answers: absent.
    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

    /// Copies `length` octets of `text` from index `start`; with `npos`, up to the terminating NUL.
    /// A null `text` gives null.
    static Ref<String> create(const char* text, std::size_t start = 0, std::size_t length = npos);
    /// Copies the octets of a view.
    static Ref<String> create(std::string_view octets);
    /// Copies a text such as a `std::string`.
    template <TextLike Text>
    static Ref<String> create(const Text& text) {
        return create(viewOf(text));
    }
    /// Copies another string; null gives null.
    static Ref<String> create(const Ref<String>& other);
    /// Encodes code points as UTF-8, in its generalised form (RFC 2279 and above) where RFC 3629
    /// has none: `copyCodePoints` gives the same code points back.
    static Ref<String> create(std::u32string_view codePoints);
    /// Joins several texts with one allocation.
    static Ref<String> concat(std::initializer_list<std::string_view> pieces);

    [[nodiscard]] std::size_t length() const noexcept { return length_; }
    [[nodiscard]] bool empty() const noexcept { return length_ == 0; }
    /// Answers the octet at an index, which must be below the length.
    [[nodiscard]] char at(std::size_t index) const noexcept { return octets()[index]; }
    /// Answers the octets, valid as long as the string; behind them stands a NUL.
    [[nodiscard]] std::string_view view() const noexcept { return {octets(), length_}; }
    [[nodiscard]] const char* cText() const noexcept { return octets(); }

    /// Answers the index of the first occurrence at or behind `from`, or `npos`.
    [[nodiscard]] std::size_t find(char octet, std::size_t from = 0) const noexcept;
    [[nodiscard]] std::size_t find(std::string_view text, std::size_t from = 0) const noexcept;
    /// Answers the index of the last occurrence at or before `from`, or `npos`.
    [[nodiscard]] std::size_t findLast(char octet, std::size_t from = npos) const noexcept;
    /// Answers a new string of at most `count` octets from `from`; empty behind the end.
    [[nodiscard]] Ref<String> substring(std::size_t from, std::size_t count = npos) const;
    /// Answers a copy in which A to Z are lowered; other octets stay.
    [[nodiscard]] Ref<String> lowerCase() const;

    [[nodiscard]] bool equals(std::string_view text) const noexcept { return view() == text; }
    /// The strict order of strings: that of their octets as unsigned numbers.
    friend std::strong_ordering operator<=>(const String& left, const String& right) noexcept {
        return left.view().compare(right.view()) <=> 0;
    }
    friend bool operator==(const String& left, const String& right) noexcept {
        return left.view() == right.view();
    }
    /// Orders two texts as the order above orders their `lowerCase` copies, without making them.
    [[nodiscard]] static int compareLowered(std::string_view left, std::string_view right) noexcept;

    /// Answers a new buffer with the octets and a NUL; the caller frees it with `Heap::free`, kind
    /// `Array`.
    ///
    /// @param count  Takes the number of octets, the NUL not counted; may be null.
    [[nodiscard]] char* copyBytes(std::size_t* count) const;
    /// Answers a new array of the code points and a 0; freed like the buffer of `copyBytes`. An
    /// octet that is not part of a UTF-8 sequence stands for the code point of its own value.
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
    bool operator()(const Ref<String>& left, const Ref<String>& right) const noexcept {
        if (!left || !right) {
            return !left && right;
        }
        return *left < *right;
    }
};

/// Writes the octets of a string; null shows as "(null)".
template <class Traits>
std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& out,
                                             const Ref<String>& text) {
    return out << (text ? text->view() : std::string_view("(null)"));
}
