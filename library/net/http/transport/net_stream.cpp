// The plain connection as a stream; the one under TLS stands with TLS.

#include "net/http/transport/net_stream.hpp"

#include <utility>

namespace Libraries::Networks::HTTP::Utils {

SocketNetStream::SocketNetStream(Ref<Socket> socket) noexcept : socket_(std::move(socket)) {}

std::int64_t SocketNetStream::read(TransferBuffer buffer, std::uint64_t size, std::uint32_t) {
    return socket_->receive(std::move(buffer), size, 0);
}

std::int64_t SocketNetStream::write(TransferBuffer buffer, std::uint64_t size, std::uint32_t) {
    return socket_->send(std::move(buffer), size, 0);
}

Ref<NetStream> createSocketStream(Ref<Socket> socket) {
    return Ref<SocketNetStream>::make(std::move(socket));
}

}  // namespace Libraries::Networks::HTTP::Utils
