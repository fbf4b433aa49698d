#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// The network of a target: every name has one address, every connection comes about, and answers
/// the next of the given texts in the given pieces. It stands in the place of the network service.
struct MemoryNetwork {
    std::vector<std::string> answers;  ///< One for each connection; then they are empty.
    std::vector<std::uint8_t> pieces;  ///< Bytes for each receive, in turn; 0: whatever there is.
    std::uint32_t endCode = 0;         ///< What a receive behind the answer leaves.

    std::vector<std::string> sent;  ///< By connection.
    unsigned open = 0;              ///< Sockets that are still referred to.
};

/// Answers the network that sockets are connected to from now on.
MemoryNetwork& memoryNetwork();
