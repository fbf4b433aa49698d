#include "tests/hostile/tampered_wire.hpp"

#include <algorithm>
#include <array>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

namespace {

/// Answers what is there to receive; nothing at the end or after a failure.
std::string receiveSome(int number) {
    std::array<char, 65536> buffer;
    const ssize_t count = recv(number, buffer.data(), buffer.size(), 0);
    return {buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0))};
}

OwnedDescriptor connectedTo(std::uint16_t port) {
    OwnedDescriptor number(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    (void)connect(number.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    return number;
}

}  // namespace

TamperedWire::TamperedWire(std::uint16_t port) : server_(port), thread_([this] { run(); }) {}

TamperedWire::~TamperedWire() {
    stop_.raise();
    thread_.join();
}

void TamperedWire::harm(Harm harm, std::size_t at) {
    harm_ = harm;
    at_ = at;
}

Ref<String> TamperedWire::url() const {
    return String::concat({"https://localhost:", std::to_string(listener_.port()), "/"});
}

std::size_t TamperedWire::forwarded() const noexcept {
    serving_.wait(true);
    return forwarded_;
}

void TamperedWire::run() {
    while (stop_.waitReadable(listener_.number(), -1)) {
        OwnedDescriptor client = listener_.accept();
        if (client) {
            serving_ = true;
            serve(client.number());
            serving_ = false;
            serving_.notify_all();
            if (reached_ && harm_ == Harm::Reset) {
                const linger abort = {1, 0};
                (void)setsockopt(client.number(), SOL_SOCKET, SO_LINGER, &abort, sizeof(abort));
            }
        }
    }
}

void TamperedWire::serve(int client) {
    reached_ = false;
    forwarded_ = 0;
    const OwnedDescriptor server = connectedTo(server_);
    for (bool more = true; more;) {
        std::array<pollfd, 2> entries = {{{client, POLLIN, 0}, {server.number(), POLLIN, 0}}};
        if (poll(entries.data(), entries.size(), WaitMilliseconds) <= 0) {
            return;
        }
        if (entries[1].revents != 0) {
            const std::string bytes = receiveSome(server.number());
            more = !bytes.empty() && forward(client, bytes);
        } else {
            const std::string bytes = receiveSome(client);
            more = !bytes.empty() && sendAll(server.number(), bytes);
        }
    }
}

/// Sends bytes on to the client. @return Whether the connection goes on.
bool TamperedWire::forward(int client, std::string bytes) {
    const std::size_t before = forwarded_;
    const bool here = harm_ != Harm::None && at_ >= before && at_ - before < bytes.size();
    if (here && harm_ == Harm::Flip) {
        reached_ = true;
        bytes[at_ - before] = static_cast<char>(bytes[at_ - before] ^ 0x10);
    } else if (here) {
        reached_ = true;
        bytes.resize(at_ - before);
    }
    forwarded_ = before + bytes.size();
    if (!sendAll(client, bytes)) {
        return false;
    }
    if (here && harm_ == Harm::Stall) {
        while (!receiveSome(client).empty()) {  // until it has had enough
        }
    }
    return !here || harm_ == Harm::Flip;
}
