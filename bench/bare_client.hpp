#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace bench {

/// The least a program can do for a response: socket, connect, send, receive until the server ends
/// the connection, close.
///
/// @param buffer  Takes the response from its start on; what does not fit overwrites the end.
/// @return How many bytes came; 0 on failure.
std::size_t bareGet(std::uint16_t port, std::string_view head, char* buffer, std::size_t size);

}  // namespace bench
