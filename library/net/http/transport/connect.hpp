#pragma once

#include "platform/network/network.hpp"

namespace Libraries::Networks::HTTP::Utils {

/// Resolves a host and connects a socket to its first endpoint; the only place where connections
/// are made.
///
/// @param endpointText  Takes the text of the endpoint that was dialled, whether or not the connect
///                      then succeeded; null when it did not come to that.
/// @return A connected socket, or null with the network service's error code.
Ref<Services::Network::Client::Socket> connectToHost(const Ref<String>& host, std::uint16_t port,
                                                     Ref<String>& endpointText);

/// Answers the text of an endpoint: "192.0.2.7:443" or "[2001:db8:0:0:0:0:0:1]:443", uncompressed.
Ref<String> formatEndpoint(const Services::Network::Definitions::IPEndpoint& endpoint);

}  // namespace Libraries::Networks::HTTP::Utils
