#pragma once

#include "net/http/engine/request_obj.hpp"
#include "net/http/transport/net_stream.hpp"

namespace Libraries::Networks::HTTP::Client {

/// Answers how many bytes the request's body source will deliver from where it stands, 0 without
/// one.
std::uint64_t measureBody(const RequestObj& request);

/// Sends the request body of `size` bytes in fragments, telling its progress and asking the cancel
/// query after each.
///
/// @return False with `ErrTransfer` or `ErrCancelled`; what was sent stays sent.
[[nodiscard]] bool sendBody(const RequestObj& request, Utils::NetStream& stream,
                            std::uint64_t size);

}  // namespace Libraries::Networks::HTTP::Client
