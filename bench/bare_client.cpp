// The comparison: nothing but the system calls.

#include "bench/bare_client.hpp"

#include <algorithm>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace bench {

namespace {

constexpr std::uint32_t Loopback = 0x7F000001;

std::size_t receiveAll(int connection, char* buffer, std::size_t size) {
    constexpr std::size_t Piece = 0x100000;
    std::size_t total = 0;
    for (;;) {
        const std::size_t room = std::min(Piece, size);
        char* const place = buffer + std::min(total, size - room);
        const ssize_t count = recv(connection, place, room, 0);
        if (count <= 0) {
            return count == 0 ? total : 0;
        }
        total += static_cast<std::size_t>(count);
    }
}

}  // namespace

std::size_t bareGet(std::uint16_t port, std::string_view head, char* buffer, std::size_t size) {
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connection < 0) {
        return 0;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(Loopback);
    address.sin_port = htons(port);
    std::size_t received = 0;
    if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 &&
        send(connection, head.data(), head.size(), MSG_NOSIGNAL) ==
            static_cast<ssize_t>(head.size())) {
        received = receiveAll(connection, buffer, size);
    }
    close(connection);
    return received;
}

}  // namespace bench
