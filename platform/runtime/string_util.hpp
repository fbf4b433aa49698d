/// @file
/// Cutting, joining, converting and building texts.
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
    /// @param text       What is cut; may be null.
    /// @param separator  One octet.
    /// @param limit      The largest number of segments; the last one then holds the rest,
    ///                   separators included. 0: no limit.
    /// @return A new list of new strings; null when `text` is null.
    static Ref<TVector<Ref<String>>> split(const Ref<String>& text, char separator,
                                           std::size_t limit);
    /// Puts a separator between the segments.
    ///
    /// @param segments   A null segment counts as empty.
    /// @param separator  One octet.
    /// @return A new string, never null.
    static Ref<String> join(const TVector<Ref<String>>& segments, char separator);
    /// Puts a separator between the segments.
    ///
    /// @param segments   A null segment counts as empty.
    /// @param separator  Any text; null counts as empty.
    /// @return A new string, never null.
    static Ref<String> join(const TVector<Ref<String>>& segments, const Ref<String>& separator);
    /// Removes blank, tab, CR, LF, VT and FF at both ends.
    ///
    /// @param text  Borrowed; the result is a part of it.
    /// @return What is left, perhaps empty.
    static std::string_view trim(std::string_view text) noexcept;
    /// Removes the same from a string.
    ///
    /// @param text  May be null.
    /// @return A new string; null for null.
    static Ref<String> trim(const Ref<String>& text);
    /// Removes the same from a text such as a `std::string`.
    ///
    /// @param text  Borrowed; the result is a part of it.
    /// @return What is left, perhaps empty.
    template <TextLike Text>
    static std::string_view trim(const Text& text) noexcept {
        return trim(viewOf(text));
    }
};

/// Converts between numbers and their decimal texts.
///
/// @threads Any thread; nothing is kept between calls.
class VORNIK_EXPORT StrConv {
public:
    /// @param value  Any number.
    /// @return A new string of its decimal digits.
    static Ref<String> str(std::uint64_t value);
    /// Converts a text of decimal digits alone: at least one, no sign, no blank, no overflow.
    ///
    /// @param text   The digits.
    /// @param value  Takes the number; unchanged on failure.
    /// @return Whether it was a number. The thread's error code stays as it is.
    [[nodiscard]] static bool num(std::string_view text, std::uint64_t& value) noexcept;
    /// @copydoc num(std::string_view,std::uint64_t&)
    [[nodiscard]] static bool num(const Ref<String>& text, std::uint64_t& value) noexcept;
    /// @copydoc num(std::string_view,std::uint64_t&)
    template <TextLike Text>
    [[nodiscard]] static bool num(const Text& text, std::uint64_t& value) noexcept {
        return num(viewOf(text), value);
    }
};

/// Builds a text piece by piece. `hexadecimal` and `padded` hold for the next number alone. Every
/// operation that builds answers the printer again, so that calls chain.
///
/// @threads One thread at a time.
class VORNIK_EXPORT StringPrinter final : public Object {
public:
    /// @return A new printer without text.
    static Ref<StringPrinter> create();

    /// Appends one code point as UTF-8.
    ///
    /// @param codePoint  Any number; in the generalised form where RFC 3629 has none.
    /// @return The printer.
    StringPrinter& character(char32_t codePoint);
    /// Appends octets as they are.
    ///
    /// @param octets  Copied.
    /// @return The printer.
    StringPrinter& text(std::string_view octets);
    /// Appends a string.
    ///
    /// @param string  Null shows as "(null)".
    /// @return The printer.
    StringPrinter& text(const Ref<String>& string);
    /// Appends a text such as a `std::string`.
    ///
    /// @param octets  Copied.
    /// @return The printer.
    template <TextLike Text>
    StringPrinter& text(const Text& octets) {
        return text(viewOf(octets));
    }
    /// Appends a number in decimal digits, or as `hexadecimal` and `padded` have asked.
    ///
    /// @param value  The number.
    /// @return The printer.
    StringPrinter& number(std::uint64_t value);
    /// @copydoc number(std::uint64_t)
    StringPrinter& number(std::int64_t value);
    /// Has the next number written in lower-case hexadecimal digits.
    ///
    /// @return The printer.
    StringPrinter& hexadecimal() noexcept;
    /// Has the next number filled with zeros at the left.
    ///
    /// @param width  How many digits there should be at least.
    /// @return The printer.
    StringPrinter& padded(unsigned width) noexcept;

    /// @return A new string of what has been appended so far.
    [[nodiscard]] Ref<String> toString() const;
    /// @return The same, borrowed until the printer changes.
    [[nodiscard]] std::string_view view() const noexcept { return text_; }
    /// Forgets the text, keeps its memory.
    void clear() noexcept;

private:
    HeapText text_;
    unsigned width_ = 0;
    bool hexadecimal_ = false;
};
