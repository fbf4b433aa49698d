#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <variant>
#include <vector>

#include "platform/runtime/string.hpp"

#include "tests/support/host.hpp"

// The steps of a server's script. What a client has sent is consumed by the steps that look at it.

/// Reads until the text has arrived; what came before it is passed over.
struct Expect {
    std::string text;
};
/// Reads as many bytes as the text has; they must be the text.
struct ExpectExactly {
    std::string text;
};
/// Reads to the empty line that ends a request head.
struct ReadHead {};
/// Reads this many bytes.
struct ReadBody {
    std::size_t size = 0;
};
struct Send {
    std::string bytes;
};
/// Sends what the function answers for 0, 1, 2...: as often as asked, or until the client goes.
struct Generate {
    static constexpr std::uint64_t Endless = UINT64_MAX;
    std::function<std::string(std::uint64_t)> piece;
    std::uint64_t count = Endless;
};
/// Sends nothing more and keeps the connection until the client has ended its own direction.
struct Hold {};
/// Reads and sends nothing until the test is over, or for as long as a wait may last.
struct Ignore {};
/// Ends the server's direction, reads until the client has ended its own, and closes.
struct Close {};
/// Breaks the connection off, so that the client's receive fails with ECONNRESET.
struct Reset {};
/// Waits for the client's next connection. The first one needs no such step.
struct NextConnection {};

using Step = std::variant<Expect, ExpectExactly, ReadHead, ReadBody, Send, Generate, Hold, Ignore,
                          Close, Reset, NextConnection>;

/// A server on 127.0.0.1 that plays a script to one client connection after another.
///
/// Every wait of it has a limit, and a script that fails breaks its connection off: neither the
/// client nor the test hangs. A connection beyond the script is a failure of the script as well; an
/// empty script expects none at all. A connection that the script leaves open is closed as by
/// `Close`.
class ScriptedServer {
public:
    ScriptedServer() : ScriptedServer(std::vector<Step>()) {}
    ScriptedServer(std::initializer_list<Step> script);
    explicit ScriptedServer(std::vector<Step> script);
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;
    ~ScriptedServer();

    /// Sends in writes of at most `size` bytes. The client may still receive several at once.
    void sendInPiecesOf(std::size_t size) noexcept { piece_ = size; }
    /// Waits so long after each of those writes.
    void pauseBetweenPieces(std::chrono::milliseconds pause) noexcept { pause_ = pause; }

    [[nodiscard]] std::uint16_t port() const noexcept { return listener_.port(); }
    /// Answers "http://127.0.0.1:PORT" and the path.
    [[nodiscard]] Ref<String> url(std::string_view path) const;

    /// Waits for the end of the script and tells whether all of it was played.
    [[nodiscard]] bool finished();
    /// Answers what went wrong, for a failed test's message.
    [[nodiscard]] std::string report();
    /// Waits for the end of the script and answers all bytes of a connection, counted from 0.
    [[nodiscard]] std::string received(std::size_t connection = 0);

private:
    void run();
    bool play(const Step& step);
    bool perform(const Expect& step);
    bool perform(const ExpectExactly& step);
    bool perform(const ReadHead& step);
    bool perform(const ReadBody& step);
    bool perform(const Send& step);
    bool perform(const Generate& step);
    bool perform(const Hold& step);
    bool perform(const Ignore& step);
    bool perform(const Close& step);
    bool perform(const Reset& step);
    bool perform(const NextConnection& step);
    bool awaitEnd();
    bool readUntil(const std::function<bool()>& enough, const std::string& what);
    bool fail(const std::string& what);
    void refuseFurtherConnections();
    void join();

    std::vector<Step> script_;
    LoopbackListener listener_;
    StopSignal stop_;
    std::atomic<std::size_t> piece_{SIZE_MAX};
    std::atomic<std::chrono::milliseconds> pause_{};

    // The server's thread alone uses these until it has ended.
    OwnedDescriptor connection_;
    std::vector<std::string> received_;
    std::size_t consumed_ = 0;
    std::string report_;

    std::mutex mutex_;
    std::condition_variable scriptEnded_;
    bool ended_ = false;
    std::thread thread_;  // last: it uses all of the above
};

/// Tells whether bytes hold a whole request: a head, and as much of a body as that announces.
bool isWholeRequest(std::string_view bytes);
/// Answers what stands behind the head of a request.
std::string bodyOf(const std::string& request);
/// Answers a response of status 200 with the body's length.
std::string okResponse(const std::string& body);

/// A server that answers any number of connections, several at once: it reads one request and its
/// announced body, sends the handler's answer and closes.
class AnsweringServer {
public:
    /// @param handler  Called with the request's bytes, on several threads at once.
    AnsweringServer(std::function<std::string(const std::string&)> handler, unsigned threads);
    AnsweringServer(const AnsweringServer&) = delete;
    AnsweringServer& operator=(const AnsweringServer&) = delete;
    ~AnsweringServer();

    [[nodiscard]] std::uint16_t port() const noexcept { return listener_.port(); }
    [[nodiscard]] Ref<String> url(std::string_view path) const;

private:
    void run();
    void serve(int connection);

    std::function<std::string(const std::string&)> handler_;
    LoopbackListener listener_;
    StopSignal stop_;
    std::vector<std::thread> threads_;
};
