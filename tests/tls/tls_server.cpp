#include "tests/tls/tls_server.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <stdexcept>

#include <fcntl.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

namespace {

using SslPtr = std::unique_ptr<SSL, decltype(&SSL_free)>;

constexpr std::string_view PlainAnswer = "HTTP/1.1 400 Bad Request\r\nConnection: close\r\n\r\n";

void require(bool good, const char* what) {
    if (!good) {
        throw std::runtime_error(std::string("cannot set a TLS server up: ") + what);
    }
}

std::shared_ptr<SSL_CTX> makeContext(const TlsServer::Options& options) {
    std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    require(static_cast<bool>(context), "context");
    SSL_CTX_set_min_proto_version(context.get(), options.version);
    SSL_CTX_set_max_proto_version(context.get(), options.version);
    if (options.extra == TlsServer::Extra::Renegotiation) {  // with a certificate each time
        SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
        SSL_CTX_set_options(context.get(), SSL_OP_NO_TICKET);
    }
    SSL_CTX_set_security_level(context.get(), 0);  // weak certificates are the client's to refuse
    const Certificate& leaf = options.chain.front();
    require(SSL_CTX_use_certificate(context.get(), leaf.x509()) == 1, "certificate");
    require(SSL_CTX_use_PrivateKey(context.get(), leaf.key()) == 1, "key");
    for (std::size_t i = 1; i < options.chain.size(); ++i) {
        require(SSL_CTX_add1_chain_cert(context.get(), options.chain[i].x509()) == 1, "chain");
    }
    return context;
}

void setLimits(int connection) {
    timeval limit = {};
    limit.tv_sec = WaitMilliseconds / 1000;
    (void)setsockopt(connection, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    (void)setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
}

/// Reads until the client has ended its direction.
void drain(int connection) {
    std::array<char, 4096> buffer;
    while (recv(connection, buffer.data(), buffer.size(), 0) > 0) {
    }
}

bool readRequest(SSL* ssl, std::string& request) {
    std::array<char, 65536> buffer;
    while (!isWholeRequest(request)) {
        const int count = SSL_read(ssl, buffer.data(), static_cast<int>(buffer.size()));
        if (count <= 0) {
            return false;
        }
        request.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return true;
}

/// Asks for a second handshake and plays it to its end, although no data comes with it.
bool renegotiate(SSL* ssl) {
    if (SSL_renegotiate(ssl) != 1 || SSL_do_handshake(ssl) != 1) {
        return false;
    }
    const int number = SSL_get_fd(ssl);
    const int flags = fcntl(number, F_GETFL);
    (void)fcntl(number, F_SETFL, flags | O_NONBLOCK);
    bool alive = true;
    while (alive && SSL_renegotiate_pending(ssl) != 0) {
        char byte = 0;
        const int result = SSL_peek(ssl, &byte, 1);
        pollfd entry = {number, POLLIN, 0};
        alive = SSL_get_error(ssl, result) == SSL_ERROR_WANT_READ &&
                (SSL_renegotiate_pending(ssl) == 0 || poll(&entry, 1, WaitMilliseconds) == 1);
    }
    (void)fcntl(number, F_SETFL, flags);
    return alive;
}

bool perform(TlsServer::Extra extra, SSL* ssl) {
    switch (extra) {
        case TlsServer::Extra::Ticket:
            return SSL_new_session_ticket(ssl) == 1 && SSL_do_handshake(ssl) == 1;
        case TlsServer::Extra::KeyUpdate:
            return SSL_key_update(ssl, SSL_KEY_UPDATE_REQUESTED) == 1 && SSL_do_handshake(ssl) == 1;
        case TlsServer::Extra::Renegotiation:
            return renegotiate(ssl);
        default:
            return true;
    }
}

}  // namespace

TlsServer::TlsServer(Options options, Handler handler)
    : options_(std::move(options)), handler_(std::move(handler)), context_(makeContext(options_)) {
    for (unsigned i = 0; i < options_.threads; ++i) {
        threads_.emplace_back([this] { run(); });
    }
}

TlsServer::~TlsServer() {
    stop_.raise();
    for (std::thread& thread : threads_) {
        thread.join();
    }
}

Ref<String> TlsServer::url(std::string_view path, std::string_view host) const {
    return String::concat({"https://", host, ":", std::to_string(port()), path});
}

std::vector<TlsServer::Connection> TlsServer::connections(std::size_t count) {
    std::unique_lock lock(mutex_);
    connectionEnded_.wait_for(lock, std::chrono::milliseconds(2 * WaitMilliseconds),
                              [&] { return ended_.size() >= count; });
    return ended_;
}

void TlsServer::run() {
    // OpenSSL writes without regard to a client that has left.
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    while (stop_.waitReadable(listener_.number(), -1)) {
        const OwnedDescriptor connection = listener_.accept();
        if (!connection) {
            continue;  // another thread has taken it
        }
        setLimits(connection.number());
        Connection seen;
        serve(connection.number(), seen);
        const std::lock_guard lock(mutex_);
        ended_.push_back(std::move(seen));
        connectionEnded_.notify_all();
    }
}

void TlsServer::serve(int connection, Connection& seen) {
    if (options_.opening == Opening::Handshake) {
        serveTls(connection, seen);
    } else if (options_.opening != Opening::CloseAtOnce) {
        std::array<char, 4096> hello;
        (void)recv(connection, hello.data(), hello.size(), 0);
        if (options_.opening == Opening::PlainHttp) {
            (void)send(connection, PlainAnswer.data(), PlainAnswer.size(), MSG_NOSIGNAL);
        }
    }
    if (options_.end != End::Reset) {
        (void)shutdown(connection, SHUT_WR);
        drain(connection);
    }
}

void TlsServer::serveTls(int connection, Connection& seen) {
    const SslPtr ssl(SSL_new(context_.get()), SSL_free);
    SSL_set_fd(ssl.get(), connection);
    if (SSL_accept(ssl.get()) == 1) {
        seen.handshake = true;
        seen.resumed = SSL_session_reused(ssl.get()) != 0;
        const char* const name = SSL_get_servername(ssl.get(), TLSEXT_NAMETYPE_host_name);
        seen.serverName = name != nullptr ? name : "(none)";
        if (readRequest(ssl.get(), seen.request)) {
            answer(ssl.get(), seen);
        }
        finish(ssl.get(), seen);
    }
    ERR_clear_error();
}

void TlsServer::answer(SSL* ssl, Connection& seen) {
    const std::string bytes = handler_(seen.request);
    std::string_view rest = bytes;
    while (!rest.empty()) {
        const std::size_t count = std::min(rest.size(), options_.record);
        if (SSL_write(ssl, rest.data(), static_cast<int>(count)) <= 0) {
            return;
        }
        rest.remove_prefix(count);
        if (!seen.extra) {
            seen.extra = perform(options_.extra, ssl);
        }
    }
}

void TlsServer::finish(SSL* ssl, Connection& seen) const {
    const int number = SSL_get_fd(ssl);
    if (options_.end == End::Reset) {
        const linger abort = {1, 0};
        (void)setsockopt(number, SOL_SOCKET, SO_LINGER, &abort, sizeof(abort));
        return;
    }
    if (options_.end == End::CloseNotify) {
        SSL_shutdown(ssl);
    } else if (options_.end == End::Garbage) {
        (void)send(number, PlainAnswer.data(), PlainAnswer.size(), MSG_NOSIGNAL);
    }
    (void)shutdown(number, SHUT_WR);
    std::array<char, 4096> buffer;
    while (SSL_read(ssl, buffer.data(), static_cast<int>(buffer.size())) > 0) {
    }
    seen.closeNotify = (SSL_get_shutdown(ssl) & SSL_RECEIVED_SHUTDOWN) != 0;
}
