#pragma once

#include "net/http/engine/request_obj.hpp"
#include "net/http/transport/net_stream.hpp"

namespace Libraries::Networks::HTTP::Client {

/// What a body source holds, in bytes.
struct BodySize {
    std::uint64_t total = 0;
    std::uint64_t left = 0;  ///< From where it stands: what is announced and sent.
};

/// Asks the request's body source how much it will deliver; nothing without one. A length that was
/// asked again could be another one, of a file that grows.
BodySize measureBody(const RequestObj& request);

/// Sends the request body in fragments, telling its progress and asking the cancel query after each.
///
/// @return False with `ErrTransfer` or `ErrCancelled`; what was sent stays sent.
[[nodiscard]] bool sendBody(const RequestObj& request, Utils::NetStream& stream,
                            const BodySize& size);

}  // namespace Libraries::Networks::HTTP::Client
