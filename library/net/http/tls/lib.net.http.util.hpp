#pragma once

#include "platform/runtime/containers.hpp"

#include "net/http/transport/net_stream.hpp"

namespace Libraries::Networks::HTTP::Utils {

/// The certificate policy: what a connection forgives.
enum class SSLFlag : std::uint32_t {
    IgnoreUntrusted = 0,
    IgnoreValidityPeriod = 1,
    IgnoreInvalid = 2
};

/// Turns a connected socket into an authenticated TLS connection with `host`.
///
/// @return Null with `ErrTransfer`.
Ref<NetStream> createSSLStream(Ref<Socket> socket, const Ref<String>& host,
                               const Definitions::Set<SSLFlag>& flags);

}  // namespace Libraries::Networks::HTTP::Utils
