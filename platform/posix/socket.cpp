// Blocking TCP sockets. The limits of the service are the kernel's own: SO_SNDTIMEO bounds a
// connect and a send, SO_RCVTIMEO a receive, so that no extra call is needed on the way of the
// bytes.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <memory>

#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include "platform/network/network.hpp"
#include "platform/posix/descriptor.hpp"
#include "platform/posix/endpoint.hpp"
#include "platform/runtime/error.hpp"

namespace Services::Network::Client {
namespace {

using Clock = std::chrono::steady_clock;

// A receive that waits this long turns the probes on; a peer that is gone is then noticed after
// 30 + 4 * 15 seconds.
constexpr std::uint64_t QuietMilliseconds = 10000;
constexpr int KeepAliveIdleSeconds = 30;
constexpr int KeepAliveIntervalSeconds = 15;
constexpr int KeepAliveProbes = 4;

constexpr std::uint64_t LongestLimit = std::uint64_t{INT_MAX} * 1000;  // milliseconds: 68 years

constexpr std::uint64_t SmallestSegment = 536;  // RFC 9293, section 3.7.1

// TLS asks for 5 bytes, then for the rest of a record, at most 16 KiB and a little: what comes with
// the first is kept for the second, and for the next records.
constexpr std::uint64_t LargeReceive = 0x8000;
constexpr std::uint64_t ReadAhead = 0x10000;

// A receiver takes what comes in pieces that stay in a processor's caches: what it does with them is
// faster than the longer way of larger pieces. Larger ones also make it wait for a server each time,
// where smaller ones find the next piece there. bench/RESULTS.md has what was tried.
constexpr std::uint64_t MostAtOnce = 0x8000;

// The most that one call sends: eight of the segments in which the host talks to itself, which hold
// 65,535 bytes with the headers of IPv6 (40), TCP (20) and its timestamps (12); with IPv4, 20 bytes
// more. Of a round size, a call would leave a small segment behind (bench/RESULTS.md).
constexpr std::uint64_t MostSentAtOnce = std::uint64_t{8} * (65535 - 40 - 20 - 12);

void setOption(int descriptor, int level, int option, int value) noexcept {
    // An option that this kind of socket lacks does not keep it from its work.
    (void)setsockopt(descriptor, level, option, &value, sizeof(value));
}

void setTimeout(int descriptor, int option, std::uint64_t milliseconds) noexcept {
    const std::uint64_t bounded = std::min(milliseconds, LongestLimit);
    timeval value = {};
    value.tv_sec = static_cast<time_t>(bounded / 1000);
    value.tv_usec = static_cast<suseconds_t>(bounded % 1000 * 1000);
    (void)setsockopt(descriptor, SOL_SOCKET, option, &value, sizeof(value));
}

/// Waits for a descriptor to become ready, whatever signals arrive.
///
/// @param milliseconds  0: no limit. @return False when the limit is met or waiting fails, errno
///                      set.
bool waitFor(int descriptor, short events, std::uint64_t milliseconds) noexcept {
    const auto bounded = static_cast<std::int64_t>(std::min(milliseconds, LongestLimit));
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(bounded);
    for (;;) {
        int timeout = -1;
        if (milliseconds != 0) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
            timeout = static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
        }
        pollfd entry = {descriptor, events, 0};
        const int ready = poll(&entry, 1, timeout);
        if (ready > 0) {
            return true;
        }
        if (ready == 0 && timeout != INT_MAX) {
            errno = ETIMEDOUT;
            return false;
        }
        if (ready < 0 && errno != EINTR) {
            return false;
        }
    }
}

/// The kernel reports a limit that it has met as a descriptor that would block.
void setTransferError() noexcept {
    if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINPROGRESS) {
        errno = ETIMEDOUT;
    }
    Host::setErrorFromErrno();
}

class PosixSocket final : public Object, public virtual Socket {
public:
    explicit PosixSocket(Host::Descriptor descriptor) noexcept
        : descriptor_(std::move(descriptor)) {}

    bool connect(const Definitions::IPEndpoint& endpoint, std::uint32_t) override {
        const Host::SocketAddress address = Host::toSocketAddress(endpoint);
        const std::uint64_t limit = Limits::connect();
        const int number = descriptor_.number();
        setTimeout(number, SO_SNDTIMEO, limit);
        const Clock::time_point begin = Clock::now();
        int result = ::connect(number, address.get(), address.length);
        if (result != 0 && errno == EINTR) {
            result = finishConnect(limit, begin);
        }
        if (result != 0) {
            setTransferError();
            return false;
        }
        applyIdleLimit(limit);
        return true;
    }

    std::int64_t send(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        avoidDelay(size);
        const std::uint8_t* const bytes = buffer.data();
        std::uint64_t sent = 0;
        while (sent < size) {
            const std::uint64_t piece = std::min(size - sent, MostSentAtOnce);
            const ssize_t count = ::send(descriptor_.number(), bytes + sent, piece, MSG_NOSIGNAL);
            if (count >= 0) {
                sent += static_cast<std::uint64_t>(count);
            } else if (!goOnWaiting(POLLOUT, sendWait_)) {
                setTransferError();
                break;
            }
        }
        return static_cast<std::int64_t>(sent);
    }

    std::int64_t receive(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        if (aheadSize_ == 0) {
            if (size >= LargeReceive) {
                return receiveInto(buffer.data(), std::min(size, MostAtOnce));
            }
            const std::int64_t count = receiveInto(aheadBuffer(), ReadAhead);
            if (count <= 0) {
                return count;
            }
            aheadStart_ = 0;
            aheadSize_ = static_cast<std::uint64_t>(count);
        }
        const std::uint64_t count = std::min(size, aheadSize_);
        Mem::copy(ahead_.get() + aheadStart_, buffer.data(), count);
        aheadStart_ += count;
        aheadSize_ -= count;
        return static_cast<std::int64_t>(count);
    }

private:
    std::int64_t receiveInto(std::uint8_t* bytes, std::uint64_t size) noexcept {
        for (;;) {
            const ssize_t count = ::recv(descriptor_.number(), bytes, size, 0);
            if (count > 0) {
                return count;
            }
            if (count == 0) {
                Error::set(ErrEndOfStream);
                return 0;
            }
            if (!goOnWaiting(POLLIN, receiveWait_)) {
                setTransferError();
                return 0;
            }
        }
    }

    /// Whatever does not fill a segment would wait until all before it is acknowledged, such as a
    /// body behind its head. A small head alone is spared the call.
    void avoidDelay(std::uint64_t size) noexcept {
        if (!undelayed_ && (std::exchange(hasSent_, true) || size > SmallestSegment)) {
            undelayed_ = true;
            setOption(descriptor_.number(), IPPROTO_TCP, TCP_NODELAY, 1);
        }
    }

    std::uint8_t* aheadBuffer() {
        if (!ahead_) {
            ahead_.reset(static_cast<std::uint8_t*>(Heap::alloc(ReadAhead, Heap::Array)));
        }
        return ahead_.get();
    }

    /// An interrupted connect goes on in the kernel; calling it again would fail.
    [[nodiscard]] int finishConnect(std::uint64_t limit, Clock::time_point begin) const noexcept {
        const auto waited = static_cast<std::uint64_t>(
            std::chrono::floor<std::chrono::milliseconds>(Clock::now() - begin).count());
        const std::uint64_t left = limit == 0 ? 0 : limit - std::min(waited, limit - 1);
        if (!waitFor(descriptor_.number(), POLLOUT, left)) {
            return -1;
        }
        int error = 0;
        socklen_t length = sizeof(error);
        if (getsockopt(descriptor_.number(), SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
            return -1;
        }
        errno = error;
        return error == 0 ? 0 : -1;
    }

    /// Sets how long the kernel waits within one call; `goOnWaiting` waits for what is left of the
    /// limit.
    ///
    /// @param sendWait  What is already set for a send: the connect limit.
    void applyIdleLimit(std::uint64_t sendWait) noexcept {
        idle_ = Limits::idle();
        sendWait_ = sendWait;
        if (idle_ != 0 && (sendWait_ == 0 || idle_ < sendWait_)) {
            sendWait_ = idle_;
            setTimeout(descriptor_.number(), SO_SNDTIMEO, sendWait_);
        }
        receiveWait_ = idle_ != 0 ? std::min(idle_, QuietMilliseconds) : QuietMilliseconds;
        setTimeout(descriptor_.number(), SO_RCVTIMEO, receiveWait_);
    }

    /// Tells whether a call that moved nothing should be made again, after waiting for the rest of
    /// the idle limit: one limit for all signals together.
    ///
    /// @param waited  How long the kernel has waited when the call says that it would block.
    [[nodiscard]] bool goOnWaiting(short events, std::uint64_t waited) noexcept {
        const bool blocked = errno == EAGAIN || errno == EWOULDBLOCK;
        if (!blocked && errno != EINTR) {
            return false;
        }
        if (blocked && idle_ != 0 && idle_ <= waited) {
            return false;
        }
        startProbes();
        return waitFor(descriptor_.number(), events,
                       blocked && idle_ != 0 ? idle_ - waited : idle_);
    }

    void startProbes() noexcept {
        if (probing_.exchange(true)) {
            return;
        }
        const int number = descriptor_.number();
        setOption(number, IPPROTO_TCP, TCP_KEEPIDLE, KeepAliveIdleSeconds);
        setOption(number, IPPROTO_TCP, TCP_KEEPINTVL, KeepAliveIntervalSeconds);
        setOption(number, IPPROTO_TCP, TCP_KEEPCNT, KeepAliveProbes);
        setOption(number, SOL_SOCKET, SO_KEEPALIVE, 1);
    }

    Host::Descriptor descriptor_;
    std::uint64_t idle_ = 0;             // milliseconds, 0: no limit; so are the next two
    std::uint64_t sendWait_ = 0;         // how long one call of send waits
    std::uint64_t receiveWait_ = 0;      // how long one call of recv waits
    std::atomic<bool> probing_ = false;  // one thread may send while another receives
    bool hasSent_ = false;
    bool undelayed_ = false;
    std::unique_ptr<std::uint8_t, HeapArrayDelete> ahead_;  // made by the first small receive
    std::uint64_t aheadStart_ = 0;
    std::uint64_t aheadSize_ = 0;
};

}  // namespace

Ref<Socket> Socket::create(Definitions::AddressFamily family, std::uint32_t type,
                           std::uint32_t protocol) {
    const int domain = family == Definitions::AddressFamily::IPv4 ? AF_INET : AF_INET6;
    Host::Descriptor descriptor(
        ::socket(domain, static_cast<int>(type) | SOCK_CLOEXEC, static_cast<int>(protocol)));
    if (!descriptor) {
        Host::setErrorFromErrno();
        return nullptr;
    }
    return Ref<PosixSocket>::make(std::move(descriptor));
}

}  // namespace Services::Network::Client
