#pragma once

#include "net/http/tls/openssl_handles.hpp"
#include "net/http/transport/net_stream.hpp"

namespace Libraries::Networks::HTTP::Utils {

/// The BIO method or its ex-data indices cannot be made.
inline constexpr std::uint32_t ErrBioMethod = 0x8483;

/// Makes the BIO method and its ex-data indices, once per process; a failure is final.
bool ensureBioMethod();

/// Makes a BIO over a socket: what OpenSSL reads and writes goes through the socket's own
/// operations, which block; no retry is ever asked for. The BIO holds one reference to the socket
/// until it is freed.
///
/// @return The BIO, or null with `ErrNullArgument`, `ErrBioMethod` or `ErrTransfer`.
BioPtr createStreamBio(const Ref<Socket>& socket);

/// The same over any object: a socket, or one that is an `Interfaces::Stream` and perhaps a
/// `Stripe`.
BioPtr createBioOver(RefCount& object);

}  // namespace Libraries::Networks::HTTP::Utils
