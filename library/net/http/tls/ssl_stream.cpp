#include "net/http/tls/ssl_stream.hpp"

#include <utility>

#include <openssl/err.h>
#include <openssl/ssl.h>

#include "net/http/http.hpp"
#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Utils {

using Client::ErrTransfer;

SSLStream::SSLStream(Ref<Socket> socket, SslCtxPtr context, SslPtr ssl) noexcept
    : socket_(std::move(socket)), context_(std::move(context)), ssl_(std::move(ssl)) {}

std::int64_t SSLStream::read(TransferBuffer buffer, std::uint64_t size, std::uint32_t) {
    ERR_clear_error();  // an old error would pass for one of this call
    const int count = SSL_read(ssl_.get(), buffer.data(), static_cast<int>(size));
    if (count > 0) {
        return count;
    }
    const int error = SSL_get_error(ssl_.get(), count);
    ERR_clear_error();
    // A transport that failed has set the thread's code, and an orderly end is no error.
    if (error != SSL_ERROR_SYSCALL && error != SSL_ERROR_ZERO_RETURN) {
        if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
            record << "Read of " << hexDec(size) << " from SSL engine failed with "
                   << hexDec(std::int32_t{error});
        }
        Error::set(ErrTransfer);
    }
    return 0;
}

std::int64_t SSLStream::write(TransferBuffer buffer, std::uint64_t size, std::uint32_t) {
    ERR_clear_error();
    const auto wanted = static_cast<int>(size);
    const int count = SSL_write(ssl_.get(), buffer.data(), wanted);
    if (count < wanted) {
        ERR_clear_error();
        if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
            record << "Failed to write all data to SSL engine; expected to write " << hexDec(size)
                   << ", but wrote " << hexDec(std::int32_t{count});
        }
        Error::set(ErrTransfer);
    }
    return count;
}

void logSSLErrors() {
    while (const unsigned long error = ERR_get_error()) {
        char text[1024];
        ERR_error_string_n(error, text, sizeof(text));
        if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
            record << "SSL error: " << std::string_view(text);
        }
    }
}

int sslErrorCallback(const char* text, std::size_t, void*) {
    if (LogRecord record{Channel::HttpUtils, Level::Failure}) {
        record << "SSL error: " << std::string_view(text);
    }
    return 0;
}

}  // namespace Libraries::Networks::HTTP::Utils
