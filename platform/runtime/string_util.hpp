#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/runtime/containers.hpp"
#include "platform/runtime/export.hpp"
#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"

/// A growing text of octets on the heap.
using HeapText = std::basic_string<char, std::char_traits<char>, HeapAllocator<char>>;

/// Cuts texts apart and puts them together.
///
/// @threads Any thread; nothing is kept between calls.
class VORNIK_EXPORT StringUtil {
public:
    /// Splits at every separator; empty segments are kept, so a text without a separator gives
    /// itself.
    ///
    /// @param limit  The largest number of segments; the last one then holds the rest, separators
    ///               included. 0: no limit.
    /// @return A new list of new strings; null when `text` is null.
    static Ref<TVector<Ref<String>>> split(const Ref<String>& text, char separator,
                                           std::size_t limit);
    /// Puts a separator between the segments; a null segment counts as empty.
    static Ref<String> join(const TVector<Ref<String>>& segments, char separator);
    static Ref<String> join(const TVector<Ref<String>>& segments, const Ref<String>& separator);
    /// Removes blank, tab, CR, LF, VT and FF at both ends.
    static std::string_view trim(std::string_view text) noexcept;
    static Ref<String> trim(const Ref<String>& text);
    template <TextLike Text>
    static std::string_view trim(const Text& text) noexcept {
        return trim(viewOf(text));
    }
};

/// Converts between numbers and their decimal texts.
class VORNIK_EXPORT StrConv {
public:
    static Ref<String> str(std::uint64_t value);
    /// Converts a text of decimal digits alone: at least one, no sign, no blank, no overflow.
    ///
    /// @param value  Takes the number; unchanged on failure.
    [[nodiscard]] static bool num(std::string_view text, std::uint64_t& value) noexcept;
    [[nodiscard]] static bool num(const Ref<String>& text, std::uint64_t& value) noexcept;
    template <TextLike Text>
    [[nodiscard]] static bool num(const Text& text, std::uint64_t& value) noexcept {
        return num(viewOf(text), value);
    }
};

/// Builds a text piece by piece. `hexadecimal` and `padded` hold for the next number alone.
///
/// @threads One thread at a time.
class VORNIK_EXPORT StringPrinter final : public Object {
public:
    static Ref<StringPrinter> create();

    /// Appends one code point as UTF-8.
    StringPrinter& character(char32_t codePoint);
    StringPrinter& text(std::string_view octets);
    /// Appends a string; a null reference shows as "(null)".
    StringPrinter& text(const Ref<String>& string);
    template <TextLike Text>
    StringPrinter& text(const Text& octets) {
        return text(viewOf(octets));
    }
    StringPrinter& number(std::uint64_t value);
    StringPrinter& number(std::int64_t value);
    /// The next number is written in lower-case hexadecimal digits.
    StringPrinter& hexadecimal() noexcept;
    /// The next number is filled with zeros at the left up to `width` digits.
    StringPrinter& padded(unsigned width) noexcept;

    /// Answers a new string of what has been appended so far.
    [[nodiscard]] Ref<String> toString() const;
    [[nodiscard]] std::string_view view() const noexcept { return text_; }
    /// Forgets the text, keeps its memory.
    void clear() noexcept;

private:
    HeapText text_;
    unsigned width_ = 0;
    bool hexadecimal_ = false;
};
