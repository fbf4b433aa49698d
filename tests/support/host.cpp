#include "tests/support/host.hpp"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void require(bool good, const char* what) {
    if (!good) {
        throw std::runtime_error(std::string(what) + " failed in a test's set-up");
    }
}

}  // namespace

// Under a sanitizer an allocation that is too large answers null, as it does without one.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): the sanitizers' own names
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
    return "allocator_may_return_null=1";
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

OwnedDescriptor::~OwnedDescriptor() {
    if (number_ >= 0) {
        ::close(number_);
    }
}

StopSignal::StopSignal() : event_(eventfd(0, EFD_CLOEXEC)) {
    require(static_cast<bool>(event_), "eventfd");
}

void StopSignal::raise() const noexcept {
    (void)eventfd_write(event_.number(), 1);
}

bool StopSignal::waitReadable(int descriptor, int milliseconds) const noexcept {
    pollfd entries[] = {{descriptor, POLLIN, 0}, {event_.number(), POLLIN, 0}};
    int ready = 0;
    do {
        ready = poll(entries, 2, milliseconds);
    } while (ready < 0 && errno == EINTR);
    return ready > 0 && entries[0].revents != 0;
}

LoopbackListener::LoopbackListener(int backlog)
    : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {
    sockaddr_in address = loopback(0);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    socklen_t length = sizeof(address);
    require(bind(number(), generic, length) == 0, "bind");
    require(backlog < 0 || listen(number(), backlog) == 0, "listen");
    require(getsockname(number(), generic, &length) == 0, "getsockname");
    port_ = ntohs(address.sin_port);
}

OwnedDescriptor LoopbackListener::accept() const noexcept {
    OwnedDescriptor connection(accept4(number(), nullptr, nullptr, SOCK_CLOEXEC));
    const int on = 1;
    (void)setsockopt(connection.number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
    return connection;
}

Services::Network::Definitions::IPEndpoint LoopbackListener::endpoint() const noexcept {
    using Services::Network::Definitions::IPEndpoint;
    IPEndpoint endpoint;
    const std::uint8_t octets[] = {1, 0, 0, 127};  // a native number, on a little-endian machine
    std::copy(std::begin(octets), std::end(octets), endpoint.address.begin());
    endpoint.port = port_;
    return endpoint;
}

UnansweringPort::UnansweringPort() : listener_(0) {
    const sockaddr_in address = loopback(listener_.port());
    for (int i = 0; i < 4; ++i) {
        OwnedDescriptor filler(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        (void)connect(filler.number(), reinterpret_cast<const sockaddr*>(&address),
                      sizeof(address));
        queued_.push_back(std::move(filler));
    }
}

ScopedLimits::ScopedLimits(std::uint64_t connectMilliseconds,
                           std::uint64_t idleMilliseconds) noexcept
    : connect_(Services::Network::Limits::connect()), idle_(Services::Network::Limits::idle()) {
    Services::Network::Limits::setConnect(connectMilliseconds);
    Services::Network::Limits::setIdle(idleMilliseconds);
}

ScopedLimits::~ScopedLimits() {
    Services::Network::Limits::setConnect(connect_);
    Services::Network::Limits::setIdle(idle_);
}

int descriptorTo(std::uint16_t port) {
    for (int number = 0; number < 1024; ++number) {
        sockaddr_in peer = {};
        socklen_t length = sizeof(peer);
        if (getpeername(number, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
            peer.sin_family == AF_INET && ntohs(peer.sin_port) == port) {
            return number;
        }
    }
    return -1;
}

Disturbance::Disturbance() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    thread_ = std::thread([this, target = pthread_self()] {
        while (!done_) {
            pthread_kill(target, SIGUSR1);
            usleep(200);
        }
    });
}

Disturbance::~Disturbance() {
    done_ = true;
    thread_.join();
}

bool sendAll(int connection, std::string_view bytes, std::size_t piece,
             std::chrono::milliseconds pause) {
    while (!bytes.empty()) {
        const ssize_t count =
            send(connection, bytes.data(), std::min(piece, bytes.size()), MSG_NOSIGNAL);
        if (count <= 0) {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(count));
        if (pause.count() != 0) {
            std::this_thread::sleep_for(pause);
        }
    }
    return true;
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

TemporaryFile::TemporaryFile(std::string_view content)
    : path_((std::filesystem::temp_directory_path() / "nethttp-test-XXXXXX").string()) {
    const OwnedDescriptor file(mkstemp(path_.data()));
    require(static_cast<bool>(file), "mkstemp");
    std::ofstream(path_, std::ios::binary) << content;
}

TemporaryFile::~TemporaryFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

std::string TemporaryFile::content() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
