#pragma once

#include <cstdint>
#include <string_view>

namespace Libraries::Networks::HTTP::Client {

/// Ends a transfer: writes the record `text` with the code of the call that failed, and sets
/// `ErrTransfer`.
///
/// @param code  The thread's error code, taken right after that call.
/// @return False, for the caller to pass on.
bool failTransfer(std::string_view text, std::uint32_t code);

}  // namespace Libraries::Networks::HTTP::Client
