#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <net/http/http.hpp>

/// Readers of option values: text in, value out, nothing for a text that is none.
namespace cli {

/// Reads decimal digits alone, within bounds.
std::optional<std::uint64_t> readNumber(std::string_view text, std::uint64_t smallest,
                                        std::uint64_t largest);

/// Reads seconds, a fraction allowed, as milliseconds. Only 0 gives 0: a shorter time than a
/// millisecond is rounded up, because 0 means that there is no limit.
std::optional<std::uint64_t> readSeconds(std::string_view text);

/// Reads a method: a token (RFC 9110, section 5.6.2), so that it cannot bring lines of its own.
std::optional<std::string> readMethod(std::string_view text);

/// Reads "Name: value", cut at the first colon, the value without its leading blanks.
std::optional<std::pair<std::string, std::string>> readHeader(std::string_view text);

std::optional<Libraries::Networks::HTTP::Client::Request::Protocol> readProtocol(
    std::string_view text);
std::optional<Libraries::Networks::HTTP::Client::Request::Version> readVersion(
    std::string_view text);

}  // namespace cli
