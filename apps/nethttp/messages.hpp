#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace cli {

/// Answers a text as it may stand in one line on a terminal: control characters, the Unicode line
/// and direction marks, and bytes that are not UTF-8 become `\xNN`, as they do in the log.
std::string printable(std::string_view text);

/// Writes one line to standard error, "nethttp: " and the text, made printable.
void complain(std::string_view text);

/// Complains about a file: its name and the text of an error code.
void complainOfFile(std::string_view name, std::uint32_t code);

}  // namespace cli
