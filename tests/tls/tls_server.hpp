#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/scripted_server.hpp"
#include "tests/tls/certificates.hpp"

/// A TLS server on 127.0.0.1 that plays the same part on every connection, any number of them: it
/// shakes hands, reads one request and its announced body, answers and ends.
///
/// Every wait of it has a limit, so that neither the client nor the test hangs.
class TlsServer {
public:
    /// What happens when a client has connected.
    enum class Opening {
        Handshake,
        CloseAtOnce,
        CloseAfterHello,  ///< Once the client has said its first word.
        PlainHttp,        ///< Answers that first word as a server without TLS would.
    };
    /// What happens within the answer, after its first record.
    enum class Extra { None, Ticket, KeyUpdate, Renegotiation };
    /// What happens behind the answer.
    enum class End {
        CloseNotify,  ///< An orderly end of TLS, then of the connection.
        Cut,          ///< The connection ends, and TLS has not said so.
        Reset,        ///< The connection breaks.
        Garbage,      ///< Bytes that are no TLS.
    };

    struct Options {
        Chain chain;
        int version = 0;  ///< The one protocol version to speak; 0: any.
        Opening opening = Opening::Handshake;
        Extra extra = Extra::None;
        End end = End::CloseNotify;
        std::size_t record = 16384;  ///< The most bytes in one record of the answer.
        unsigned threads = 1;        ///< Connections served at once.
    };
    using Handler = std::function<std::string(const std::string& request)>;

    /// A connection that has ended.
    struct Connection {
        bool handshake = false;
        bool resumed = false;      ///< The handshake took up an earlier session.
        std::string serverName;    ///< The name that the client asked for.
        std::string request;       ///< All of its bytes.
        bool closeNotify = false;  ///< The client ended TLS in an orderly way.
        bool extra = false;        ///< What was to happen within the answer has happened.
    };

    TlsServer(Options options, Handler handler);
    TlsServer(Options options, const std::string& answer)
        : TlsServer(std::move(options), [answer](const std::string&) { return answer; }) {}
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;
    ~TlsServer();

    [[nodiscard]] std::uint16_t port() const noexcept { return listener_.port(); }
    [[nodiscard]] Services::Network::Definitions::IPEndpoint endpoint() const noexcept {
        return listener_.endpoint();
    }
    /// Answers "https://HOST:PORT" and the path.
    [[nodiscard]] Ref<String> url(std::string_view path, std::string_view host = "localhost") const;
    /// Waits until so many connections have ended, and answers all that have.
    [[nodiscard]] std::vector<Connection> connections(std::size_t count);

private:
    void run();
    void serve(int connection, Connection& seen);
    void serveTls(int connection, Connection& seen);
    void answer(SSL* ssl, Connection& seen);
    void finish(SSL* ssl, Connection& seen) const;

    Options options_;
    Handler handler_;
    std::shared_ptr<SSL_CTX> context_;
    LoopbackListener listener_;
    StopSignal stop_;

    std::mutex mutex_;
    std::condition_variable connectionEnded_;
    std::vector<Connection> ended_;
    std::vector<std::thread> threads_;  // last: they use all of the above
};
