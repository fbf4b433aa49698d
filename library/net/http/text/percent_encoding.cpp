// Percent-encoding (RFC 3986, section 2.1) over the UTF-8 octets of a text, and its inverse.

#include <algorithm>
#include <memory>
#include <optional>
#include <span>
#include <string_view>

#include "platform/runtime/string_util.hpp"

#include "net/http/http.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

constexpr std::u32string_view EscapedVisible = U"%+,/:?\\";

constexpr bool isKept(char32_t codePoint) noexcept {
    return codePoint >= 0x21 && codePoint <= 0x7F &&
           EscapedVisible.find(codePoint) == std::u32string_view::npos;
}

/// The code points of a text, freed with this object.
class CodePoints {
public:
    explicit CodePoints(const String& text) : array_(text.copyCodePoints(&count_)) {}
    [[nodiscard]] std::u32string_view view() const noexcept { return {array_.get(), count_}; }

private:
    std::size_t count_ = 0;
    std::unique_ptr<char32_t[], HeapArrayDelete> array_;
};

void appendEscape(StringPrinter& printer, std::uint8_t byte) {
    printer.text("%").hexadecimal().padded(2).number(std::uint64_t{byte});
}

void appendText(StringPrinter& printer, std::u32string_view text) {
    for (const char32_t codePoint : text) {
        printer.character(codePoint);
    }
}

constexpr std::uint8_t continuation(char32_t codePoint, unsigned shift) noexcept {
    return static_cast<std::uint8_t>(0x80U | (codePoint >> shift & 0x3FU));
}

/// Appends the escapes of a code point; surrogates and what lies above Unicode have none.
void appendEscapes(StringPrinter& printer, char32_t c) {
    if (c < 0x80) {
        appendEscape(printer, static_cast<std::uint8_t>(c));
    } else if (c < 0x800) {
        appendEscape(printer, static_cast<std::uint8_t>(0xC0U | c >> 6U));
        appendEscape(printer, continuation(c, 0));
    } else if (c < 0x10000 && (c < 0xD800 || c >= 0xE000)) {
        appendEscape(printer, static_cast<std::uint8_t>(0xE0U | c >> 12U));
        appendEscape(printer, continuation(c, 6));
        appendEscape(printer, continuation(c, 0));
    } else if (c >= 0x10000 && c < 0x110000) {
        appendEscape(printer, static_cast<std::uint8_t>(0xF0U | c >> 18U));
        appendEscape(printer, continuation(c, 12));
        appendEscape(printer, continuation(c, 6));
        appendEscape(printer, continuation(c, 0));
    }
}

std::optional<std::uint8_t> hexDigit(char32_t c) noexcept {
    if (c >= U'0' && c <= U'9') {
        return static_cast<std::uint8_t>(c - U'0');
    }
    const char32_t lower = c | 0x20U;
    if (lower >= U'a' && lower <= U'f') {
        return static_cast<std::uint8_t>(lower - U'a' + 10);
    }
    return std::nullopt;
}

/// The bytes of consecutive escapes, until they make up a character or cannot any more.
class EscapedBytes {
public:
    enum class State { Complete, Waiting, Broken };

    void add(std::uint8_t byte) noexcept { bytes_[count_++] = byte; }
    void clear() noexcept { count_ = 0; }
    [[nodiscard]] std::span<const std::uint8_t> bytes() const noexcept { return {bytes_, count_}; }

    [[nodiscard]] State state() const noexcept {
        const std::size_t needed = length();
        const auto isContinuation = [](std::uint8_t byte) { return (byte & 0xC0U) == 0x80; };
        if (needed == 0 || !std::all_of(bytes_ + 1, bytes_ + count_, isContinuation)) {
            return State::Broken;
        }
        return count_ == needed ? State::Complete : State::Waiting;
    }

    /// Answers the character of a complete sequence; overlong forms and surrogates are taken as
    /// they are.
    [[nodiscard]] char32_t character() const noexcept {
        if (count_ == 1) {
            return bytes_[0];
        }
        if (bytes_[0] < 0xC0) {
            return U'?';  // a continuation byte cannot lead
        }
        char32_t value = bytes_[0] & (0x7FU >> count_);
        for (std::size_t i = 1; i < count_; ++i) {
            value = value << 6U | (bytes_[i] & 0x3FU);
        }
        return value;
    }

private:
    /// Answers how many bytes the first one announces, 0 for one that cannot lead.
    [[nodiscard]] std::size_t length() const noexcept {
        const std::uint8_t lead = bytes_[0];
        if (lead < 0x80) {
            return 1;
        }
        if (lead < 0xE0) {
            return 2;
        }
        if (lead < 0xF0) {
            return 3;
        }
        return lead < 0xF5 ? 4 : 0;
    }

    std::uint8_t bytes_[4] = {};
    std::size_t count_ = 0;
};

/// Scans a text from its first "%" on. What has been read but not yet decided is pending: it runs
/// from `pending_` to where the scan stands.
class Decoder {
public:
    explicit Decoder(std::u32string_view text) noexcept : text_(text) {}

    Ref<String> decode(std::size_t firstEscape) {
        std::size_t i = firstEscape;
        while (i < text_.size()) {
            if (text_[i] == U'%') {
                i = takeEscape(i);
            } else {
                if (text_[i] == U'+') {
                    appendPending(i, i + 1);
                    printer_.text(" ");
                }
                ++i;
            }
        }
        // An unfinished escape and the escapes of an unfinished character stay as they stand.
        appendPending(text_.size(), text_.size());
        return printer_.toString();
    }

private:
    /// Takes the escape at `i`, or the broken one: the character that breaks it is not looked at
    /// again.
    std::size_t takeEscape(std::size_t i) {
        std::uint8_t byte = 0;
        for (std::size_t digit = 1; digit <= 2; ++digit) {
            if (i + digit >= text_.size()) {
                return text_.size();
            }
            const std::optional<std::uint8_t> value = hexDigit(text_[i + digit]);
            if (!value) {
                return i + digit + 1;
            }
            byte = static_cast<std::uint8_t>(byte << 4U | *value);
        }
        takeByte(byte, i, i + 3);
        return i + 3;
    }

    void takeByte(std::uint8_t byte, std::size_t escape, std::size_t end) {
        if (bytes_.bytes().empty()) {
            sequence_ = escape;
        } else if (escape != sequence_ + 3 * bytes_.bytes().size()) {
            // Other text came in between: the waiting bytes stay as they stand, inside the pending
            // text.
            bytes_.clear();
            sequence_ = escape;
        }
        bytes_.add(byte);
        const EscapedBytes::State state = bytes_.state();
        if (state == EscapedBytes::State::Waiting) {
            return;
        }
        appendPending(sequence_, end);
        if (state == EscapedBytes::State::Complete) {
            printer_.character(bytes_.character());
        } else {
            for (const std::uint8_t broken : bytes_.bytes()) {
                appendEscape(printer_, broken);
            }
        }
        bytes_.clear();
    }

    /// Appends the pending text up to `end`; the next pending text starts at `next`.
    void appendPending(std::size_t end, std::size_t next) {
        appendText(printer_, text_.substr(pending_, end - pending_));
        pending_ = next;
    }

    std::u32string_view text_;
    StringPrinter printer_;
    EscapedBytes bytes_;
    std::size_t sequence_ = 0;  // where the escapes of `bytes_` start
    std::size_t pending_ = 0;
};

}  // namespace

Ref<String> Request::httpEncode(Ref<String> text) {
    if (!text) {
        Error::set(ErrNullArgument);
        return nullptr;
    }
    const std::string_view octets = text->view();
    // Octets that are kept are code points of their own, so most texts need no decoding at all.
    if (std::all_of(octets.begin(), octets.end(),
                    [](char octet) { return isKept(static_cast<unsigned char>(octet)); })) {
        return text;
    }
    const CodePoints codePoints(*text);
    StringPrinter printer;
    for (const char32_t codePoint : codePoints.view()) {
        if (isKept(codePoint)) {
            printer.character(codePoint);
        } else {
            appendEscapes(printer, codePoint);
        }
    }
    return printer.toString();
}

Ref<String> Request::httpDecode(Ref<String> text) {
    if (!text) {
        Error::set(ErrNullArgument);
        return nullptr;
    }
    if (text->find('%') == String::npos) {
        return text;
    }
    const CodePoints codePoints(*text);
    return Decoder(codePoints.view()).decode(codePoints.view().find(U'%'));
}

}  // namespace Libraries::Networks::HTTP::Client
