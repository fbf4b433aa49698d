// Option values are read strictly: a value that is only nearly right is refused, never guessed at.

#include "arguments.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

#include "platform/runtime/string_util.hpp"

using Libraries::Networks::HTTP::Client::Request;

namespace cli {

namespace {

bool isTokenCharacter(char character) {
    constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || marks.find(character) != marks.npos;
}

}  // namespace

std::optional<std::uint64_t> readNumber(std::string_view text, std::uint64_t smallest,
                                        std::uint64_t largest) {
    std::uint64_t value = 0;
    if (!StrConv::num(text, value) || value < smallest || value > largest) {
        return std::nullopt;
    }
    return value;
}

std::optional<std::uint64_t> readSeconds(std::string_view text) {
    constexpr double mostSeconds = 1e9;  // some thirty years
    double seconds = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
    // The negated comparison refuses what is not a number at all, too.
    if (error != std::errc() || stop != end || std::signbit(seconds) || !(seconds <= mostSeconds)) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(std::ceil(seconds * 1000));
}

std::optional<std::string> readMethod(std::string_view text) {
    if (text.empty() || !std::all_of(text.begin(), text.end(), isTokenCharacter)) {
        return std::nullopt;
    }
    return std::string(text);
}

std::optional<std::pair<std::string, std::string>> readHeader(std::string_view text) {
    const std::size_t colon = text.find(':');
    if (colon == 0 || colon == text.npos || text.find_first_of("\r\n") != text.npos) {
        return std::nullopt;
    }
    const std::size_t value = text.find_first_not_of(" \t", colon + 1);
    return std::pair(std::string(text.substr(0, colon)),
                     std::string(value == text.npos ? std::string_view() : text.substr(value)));
}

std::optional<Request::Protocol> readProtocol(std::string_view text) {
    if (text == "auto") {
        return Request::Protocol::Auto;
    }
    if (text == "http") {
        return Request::Protocol::Http;
    }
    return text == "https" ? std::optional(Request::Protocol::Https) : std::nullopt;
}

std::optional<Request::Version> readVersion(std::string_view text) {
    if (text == "1.0") {
        return Request::Version::Http10;
    }
    return text == "1.1" ? std::optional(Request::Version::Http11) : std::nullopt;
}

}  // namespace cli
