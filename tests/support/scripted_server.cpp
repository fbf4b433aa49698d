#include "tests/support/scripted_server.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <chrono>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

enum class Received { Bytes, End, Failure };

/// Appends what arrives within the limit.
Received receiveInto(std::string& bytes, int connection, const StopSignal& stop) {
    std::array<char, 65536> buffer;
    if (!stop.waitReadable(connection, WaitMilliseconds)) {
        return Received::Failure;
    }
    const ssize_t count = recv(connection, buffer.data(), buffer.size(), 0);
    if (count > 0) {
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return count > 0 ? Received::Bytes : count == 0 ? Received::End : Received::Failure;
}

/// A client that takes nothing for as long as a wait may last is a failure.
void limitSends(int connection) {
    timeval limit = {};
    limit.tv_sec = WaitMilliseconds / 1000;
    (void)setsockopt(connection, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
}

/// Waits until the client's host has all that was sent: a reset drops what is still on its way.
void awaitDelivery(int connection) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    int waiting = 1;
    while (ioctl(connection, SIOCOUTQ, &waiting) == 0 && waiting != 0 &&
           std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
}

Ref<String> loopbackUrl(std::uint16_t port, std::string_view path) {
    return String::concat({"http://127.0.0.1:", std::to_string(port), path});
}

}  // namespace

ScriptedServer::ScriptedServer(std::initializer_list<Step> script)
    : ScriptedServer(std::vector<Step>(script)) {}

ScriptedServer::ScriptedServer(std::vector<Step> script)
    : script_(std::move(script)), thread_([this] { run(); }) {}

ScriptedServer::~ScriptedServer() {
    join();
}

Ref<String> ScriptedServer::url(std::string_view path) const {
    return loopbackUrl(port(), path);
}

bool ScriptedServer::finished() {
    {
        std::unique_lock lock(mutex_);
        // No limit of its own: every step has one.
        scriptEnded_.wait(lock, [this] { return ended_; });
    }
    join();
    return report_.empty();
}

std::string ScriptedServer::report() {
    (void)finished();
    return report_;
}

std::string ScriptedServer::received(std::size_t connection) {
    (void)finished();
    return connection < received_.size() ? received_[connection] : "(no such connection)";
}

void ScriptedServer::join() {
    stop_.raise();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void ScriptedServer::run() {
    bool good = script_.empty() || perform(NextConnection{});
    for (std::size_t i = 0; good && i < script_.size(); ++i) {
        good = play(script_[i]);
        if (!good) {
            report_ += " (step " + std::to_string(i + 1) + ")";
        }
    }
    if (good && connection_) {
        (void)perform(Close{});  // what goes wrong stands in the report
    }
    if (connection_) {
        perform(Reset{});
    }
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    scriptEnded_.notify_all();
    refuseFurtherConnections();
}

bool ScriptedServer::play(const Step& step) {
    if (!connection_ && !std::holds_alternative<NextConnection>(step)) {
        return fail("the script goes on behind the end of its connection");
    }
    return std::visit([this](const auto& kind) { return perform(kind); }, step);
}

bool ScriptedServer::readUntil(const std::function<bool()>& enough, const std::string& what) {
    while (!enough()) {
        const Received result = receiveInto(received_.back(), connection_.number(), stop_);
        if (result != Received::Bytes) {
            const char* const how = result == Received::End ? "the client ended" : "none came";
            return fail("waited for " + what + ", but " + how + "; unread so far: \"" +
                        received_.back().substr(consumed_) + "\"");
        }
    }
    return true;
}

bool ScriptedServer::perform(const Expect& step) {
    const auto position = [&] { return received_.back().find(step.text, consumed_); };
    if (!readUntil([&] { return position() != std::string::npos; }, "\"" + step.text + "\"")) {
        return false;
    }
    consumed_ = position() + step.text.size();
    return true;
}

bool ScriptedServer::perform(const ExpectExactly& step) {
    const std::size_t start = consumed_;
    if (!perform(ReadBody{step.text.size()})) {
        return false;
    }
    const std::string got = received_.back().substr(start, step.text.size());
    return got == step.text || fail("expected \"" + step.text + "\", got \"" + got + "\"");
}

bool ScriptedServer::perform(const ReadHead&) {
    return perform(Expect{"\r\n\r\n"});
}

bool ScriptedServer::perform(const ReadBody& step) {
    const auto enough = [&] { return received_.back().size() - consumed_ >= step.size; };
    if (!readUntil(enough, std::to_string(step.size) + " bytes")) {
        return false;
    }
    consumed_ += step.size;
    return true;
}

bool ScriptedServer::perform(const Send& step) {
    return sendAll(connection_.number(), step.bytes, piece_, pause_) ||
           fail("the client took no more");
}

bool ScriptedServer::perform(const Generate& step) {
    constexpr std::size_t enough = 65536;  // for one write
    std::string bytes;
    for (std::uint64_t i = 0; i < step.count; ++i) {
        bytes += step.piece(i);
        if (bytes.size() < enough && i + 1 < step.count) {
            continue;
        }
        if (!sendAll(connection_.number(), bytes, piece_, pause_)) {
            // A client that stays and takes nothing is no end of an endless answer.
            const bool gone = errno != EAGAIN;
            return (gone && step.count == Generate::Endless) || fail("the client took no more");
        }
        bytes.clear();
    }
    return true;
}

bool ScriptedServer::perform(const Hold&) {
    return awaitEnd() || fail("the client did not close");
}

bool ScriptedServer::perform(const Ignore&) {
    (void)stop_.waitReadable(-1, WaitMilliseconds);
    return true;
}

bool ScriptedServer::perform(const Close&) {
    (void)shutdown(connection_.number(), SHUT_WR);  // a client that is gone already is no failure
    const bool ended = awaitEnd();
    connection_.close();
    return ended || fail("the client did not close");
}

/// Reads until the client has ended its direction.
bool ScriptedServer::awaitEnd() {
    Received result = Received::Bytes;
    while (result == Received::Bytes) {
        result = receiveInto(received_.back(), connection_.number(), stop_);
    }
    // A client that leaves with unread bytes resets the connection: as good an end as any.
    return result == Received::End || errno == ECONNRESET;
}

bool ScriptedServer::perform(const Reset&) {
    awaitDelivery(connection_.number());
    const linger abort = {1, 0};
    (void)setsockopt(connection_.number(), SOL_SOCKET, SO_LINGER, &abort, sizeof(abort));
    connection_.close();
    return true;
}

bool ScriptedServer::perform(const NextConnection&) {
    if (connection_ && !perform(Close{})) {
        return false;
    }
    if (!stop_.waitReadable(listener_.number(), WaitMilliseconds)) {
        return fail("no client connected");
    }
    connection_ = listener_.accept();
    limitSends(connection_.number());
    received_.emplace_back();
    consumed_ = 0;
    return static_cast<bool>(connection_) || fail("accept");
}

bool ScriptedServer::fail(const std::string& what) {
    report_ += (report_.empty() ? "" : "; ") + what;
    return false;
}

void ScriptedServer::refuseFurtherConnections() {
    while (stop_.waitReadable(listener_.number(), -1)) {
        connection_ = listener_.accept();
        perform(Reset{});
        fail("a connection beyond the script");
    }
}

bool isWholeRequest(std::string_view bytes) {
    constexpr std::string_view name = "Content-Length: ";
    const std::size_t head = bytes.find("\r\n\r\n");
    const std::size_t at = bytes.find(name);
    std::size_t length = 0;
    if (at < head) {
        const std::string_view digits = bytes.substr(at + name.size());
        std::from_chars(digits.data(), digits.data() + digits.size(), length);
    }
    return head != std::string_view::npos && bytes.size() >= head + 4 + length;
}

std::string bodyOf(const std::string& request) {
    return request.substr(request.find("\r\n\r\n") + 4);
}

std::string okResponse(const std::string& body) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

AnsweringServer::AnsweringServer(std::function<std::string(const std::string&)> handler,
                                 unsigned threads)
    : handler_(std::move(handler)) {
    for (unsigned i = 0; i < threads; ++i) {
        threads_.emplace_back([this] { run(); });
    }
}

AnsweringServer::~AnsweringServer() {
    stop_.raise();
    for (std::thread& thread : threads_) {
        thread.join();
    }
}

Ref<String> AnsweringServer::url(std::string_view path) const {
    return loopbackUrl(port(), path);
}

void AnsweringServer::run() {
    // The listener does not block: another thread may have taken the connection first. One that is
    // there is served before the signal to stop counts.
    while (stop_.waitReadable(listener_.number(), -1)) {
        const OwnedDescriptor connection = listener_.accept();
        if (connection) {
            serve(connection.number());
        }
    }
}

void AnsweringServer::serve(int connection) {
    std::string request;
    while (!isWholeRequest(request)) {
        if (receiveInto(request, connection, stop_) != Received::Bytes) {
            return;
        }
    }
    limitSends(connection);
    if (sendAll(connection, handler_(request))) {
        (void)shutdown(connection, SHUT_WR);
        while (receiveInto(request, connection, stop_) == Received::Bytes) {
        }
    }
}
