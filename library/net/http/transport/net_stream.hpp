#pragma once

#include "platform/network/network.hpp"

namespace Libraries::Networks::HTTP::Utils {

using Services::Network::Client::Socket;

/// The bytes of one connection, plain or under TLS. The order of the operations is fixed.
///
/// @threads One thread at a time.
class NetStream : public virtual RefCount {
public:
    /// Reads at most `size` bytes. @return Their number; 0 at the end of the connection and on
    /// failure, with the thread's error code as the transport left it.
    virtual std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) = 0;
    /// Writes `size` bytes. @return How many were taken; any other number than `size` is a failure.
    virtual std::int64_t write(TransferBuffer buffer, std::uint64_t size,
                               std::uint32_t timeout) = 0;
};

/// The stream of a plain connection: what the socket answers is passed on unchanged. It does not
/// close the socket, whose last reference does.
class SocketNetStream final : public Object, public virtual NetStream {
public:
    explicit SocketNetStream(Ref<Socket> socket) noexcept;

    std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) override;
    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) override;

private:
    Ref<Socket> socket_;
};

/// Wraps a connected socket.
Ref<NetStream> createSocketStream(Ref<Socket> socket);

}  // namespace Libraries::Networks::HTTP::Utils
