// Texts cut apart, put together, and made of numbers.

#include "platform/runtime/string_util.hpp"

#include <charconv>
#include <system_error>

#include "platform/runtime/utf8.hpp"

namespace {

constexpr std::string_view Blanks = " \t\r\n\v\f";

Ref<String> joinWith(const TVector<Ref<String>>& segments, std::string_view separator) {
    HeapText text;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        if (i != 0) {
            text.append(separator);
        }
        if (segments[i]) {
            text.append(segments[i]->view());
        }
    }
    return String::create(text);
}

/// Appends a number; `digits` are those of its absolute value.
void appendNumber(HeapText& text, std::uint64_t digits, bool negative, int base, unsigned width) {
    char buffer[20];
    const std::to_chars_result result =
        std::to_chars(buffer, buffer + sizeof(buffer), digits, base);
    const auto length = static_cast<std::size_t>(result.ptr - buffer);
    if (negative) {
        text.push_back('-');
    }
    if (length < width) {
        text.append(width - length, '0');
    }
    text.append(buffer, length);
}

}  // namespace

Ref<TVector<Ref<String>>> StringUtil::split(const Ref<String>& text, char separator,
                                            std::size_t limit) {
    if (!text) {
        return nullptr;
    }
    auto segments = Ref<TVector<Ref<String>>>::make();
    std::string_view rest = text->view();
    while (limit == 0 || segments->size() + 1 < limit) {
        const std::size_t end = rest.find(separator);
        if (end == std::string_view::npos) {
            break;
        }
        segments->append(String::create(rest.substr(0, end)));
        rest.remove_prefix(end + 1);
    }
    segments->append(String::create(rest));
    return segments;
}

Ref<String> StringUtil::join(const TVector<Ref<String>>& segments, char separator) {
    return joinWith(segments, std::string_view(&separator, 1));
}

Ref<String> StringUtil::join(const TVector<Ref<String>>& segments, const Ref<String>& separator) {
    return joinWith(segments, separator ? separator->view() : std::string_view());
}

std::string_view StringUtil::trim(std::string_view text) noexcept {
    const std::size_t first = text.find_first_not_of(Blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(Blanks) - first + 1);
}

Ref<String> StringUtil::trim(const Ref<String>& text) {
    return text ? String::create(trim(text->view())) : Ref<String>();
}

Ref<String> StrConv::str(std::uint64_t value) {
    char digits[20];
    const std::to_chars_result result = std::to_chars(digits, digits + sizeof(digits), value);
    return String::create(std::string_view(digits, static_cast<std::size_t>(result.ptr - digits)));
}

bool StrConv::num(std::string_view text, std::uint64_t& value) noexcept {
    const char* const end = text.data() + text.size();
    std::uint64_t number = 0;
    // Unsigned: from_chars accepts neither a sign nor a blank, and refuses an empty text.
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end) {
        return false;
    }
    value = number;
    return true;
}

bool StrConv::num(const Ref<String>& text, std::uint64_t& value) noexcept {
    return text && num(text->view(), value);
}

Ref<StringPrinter> StringPrinter::create() {
    return Ref<StringPrinter>::make();
}

StringPrinter& StringPrinter::character(char32_t codePoint) {
    char sequence[Utf8::LongestSequence];
    text_.append(sequence, Utf8::encode(codePoint, sequence));
    return *this;
}

StringPrinter& StringPrinter::text(std::string_view octets) {
    text_.append(octets);
    return *this;
}

StringPrinter& StringPrinter::text(const Ref<String>& string) {
    return text(string ? string->view() : std::string_view("(null)"));
}

StringPrinter& StringPrinter::number(std::uint64_t value) {
    appendNumber(text_, value, false, std::exchange(hexadecimal_, false) ? 16 : 10,
                 std::exchange(width_, 0));
    return *this;
}

StringPrinter& StringPrinter::number(std::int64_t value) {
    if (value >= 0 || hexadecimal_) {
        return number(static_cast<std::uint64_t>(value));
    }
    appendNumber(text_, std::uint64_t{0} - static_cast<std::uint64_t>(value), true, 10,
                 std::exchange(width_, 0));
    return *this;
}

StringPrinter& StringPrinter::hexadecimal() noexcept {
    hexadecimal_ = true;
    return *this;
}

StringPrinter& StringPrinter::padded(unsigned width) noexcept {
    width_ = width;
    return *this;
}

Ref<String> StringPrinter::toString() const {
    return String::create(text_);
}

void StringPrinter::clear() noexcept {
    text_.clear();
    width_ = 0;
    hexadecimal_ = false;
}
