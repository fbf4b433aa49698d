#pragma once

#include "net/http/tls/openssl_handles.hpp"
#include "net/http/transport/net_stream.hpp"

namespace Libraries::Networks::HTTP::Utils {

/// The stream of a TLS connection whose handshake is done and whose peer was accepted. It ends
/// without a close_notify of its own (RFC 8446, section 6.1).
class SSLStream final : public Object, public virtual NetStream {
public:
    SSLStream(Ref<Socket> socket, SslCtxPtr context, SslPtr ssl) noexcept;

    /// @return 0 at the peer's close_notify, with the error code untouched; 0 on failure, with the
    ///         code that the network service set, or `ErrTransfer`, above all for an end without
    ///         close_notify.
    std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) override;
    /// @param size  At most 2,147,483,647. @return `size`; what is less is a failure, with
    ///              `ErrTransfer`.
    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) override;

private:
    Ref<Socket> socket_;  // outlives both of:
    SslCtxPtr context_;
    SslPtr ssl_;  // goes first, and the BIO with it
};

/// Moves the thread's OpenSSL errors to the log, one record each; the queue is empty afterwards.
void logSSLErrors();

/// The callback for `ERR_print_errors_cb`: logs one error and stops.
int sslErrorCallback(const char* text, std::size_t length, void* unused);

}  // namespace Libraries::Networks::HTTP::Utils
