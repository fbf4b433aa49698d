// From records, which have their numbers twice and their errors as codes, to a sentence.

#include "reason.hpp"

#include <charconv>
#include <optional>

#include "platform/runtime/error.hpp"
#include "platform/runtime/string_util.hpp"

#include "text.hpp"

namespace cli {

namespace {

constexpr std::string_view certificatePrefix = "Certificate error: ";
constexpr std::string_view tlsPrefix = "SSL error: ";
constexpr std::string_view errorMark = "; error: ";
constexpr std::string_view nothingCame = "Could not receive data";

/// What stands behind a record's code. An orderly end over TLS leaves the code that stood there before:
/// that of an output which does not map memory, and which has nothing to do with it.
std::string describe(std::string_view record, std::uint64_t code) {
    const bool isOrderlyEnd = code == ErrNotSupported && record.starts_with(nothingCame);
    return textOf(
        Error::describe(isOrderlyEnd ? ErrEndOfStream : static_cast<std::uint32_t>(code)));
}

/// A number as records show it, "6fh (111)".
struct RecordNumber {
    std::uint64_t value = 0;
    std::size_t length = 0;  ///< Of its text.
};

std::optional<RecordNumber> readNumber(std::string_view text) {
    std::uint64_t hexadecimal = 0;
    std::uint64_t decimal = 0;
    const char* const end = text.data() + text.size();
    auto read = std::from_chars(text.data(), end, hexadecimal, 16);
    constexpr std::string_view between = "h (";
    if (read.ec != std::errc() ||
        !std::string_view(read.ptr, static_cast<std::size_t>(end - read.ptr))
             .starts_with(between)) {
        return std::nullopt;
    }
    read = std::from_chars(read.ptr + between.size(), end, decimal);
    if (read.ec != std::errc() || read.ptr == end || *read.ptr != ')' || decimal != hexadecimal) {
        return std::nullopt;
    }
    return RecordNumber{decimal, static_cast<std::size_t>(read.ptr + 1 - text.data())};
}

/// Answers a record's text with each number as people write it.
std::string withPlainNumbers(std::string_view text) {
    std::string result;
    bool withinWord = false;
    while (!text.empty()) {
        const auto number = withinWord ? std::nullopt : readNumber(text);
        const bool letter = (text.front() >= 'a' && text.front() <= 'z') ||
                            (text.front() >= 'A' && text.front() <= 'Z') ||
                            (text.front() >= '0' && text.front() <= '9');
        result += number ? std::to_string(number->value) : std::string(1, text.front());
        withinWord = letter;
        text.remove_prefix(number ? number->length : 1);
    }
    return result;
}

}  // namespace

void FailureRecords::add(std::string_view text) {
    if (text.starts_with(certificatePrefix)) {
        certificateRefused_ = true;
        if (certificate_.empty()) {
            certificate_ = text.substr(certificatePrefix.size());
        }
    } else if (text.starts_with(tlsPrefix)) {
        // "error:0A00010B:SSL routines::wrong version number": the rest is for those who know.
        const std::size_t colon = text.rfind(':');
        tls_ =
            StringUtil::trim(text.substr(colon + 1));  // OpenSSL's longer form ends in a line end
    } else if (what_.empty()) {
        what_ = text;
        certificateRefused_ =
            certificateRefused_ || text.starts_with("Certificate verification failed for ");
    }
}

std::string FailureRecords::reason(std::uint32_t code, std::string_view peer) const {
    std::string what = what_;
    std::string why = certificate_.empty() ? tls_ : certificate_;
    const std::size_t mark = what.rfind(errorMark);
    if (mark != what.npos) {
        const std::string_view text = what;
        const auto number = readNumber(text.substr(mark + errorMark.size()));
        if (why.empty() && number) {
            why = describe(text, number->value);
        }
        what.resize(mark);
    }
    if (what.empty()) {
        what = textOf(Error::describe(code));
    }
    what = withPlainNumbers(what);
    const bool namesPeer = peer.empty() || what.find(peer) != what.npos;
    return (namesPeer ? std::string() : std::string(peer) + ": ") + what +
           (why.empty() ? "" : ": " + why);
}

}  // namespace cli
