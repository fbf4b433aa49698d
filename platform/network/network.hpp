/// @file
/// Name resolution, TCP sockets and their time limits.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "platform/runtime/containers.hpp"
#include "platform/runtime/export.hpp"
#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"
#include "platform/streams/streams.hpp"

namespace Services::Network {

namespace Definitions {

/// Which protocol an address belongs to; every value but `IPv4` is treated as IPv6.
enum class AddressFamily : std::uint32_t {
    IPv4 = 2,   ///< RFC 791.
    IPv6 = 10,  ///< RFC 8200.
};

/// An address and a port. The fields stand in this order for good.
struct IPEndpoint {
    AddressFamily family = AddressFamily::IPv4;  ///< How `address` is to be read.
    /// IPv4: in the first four bytes one native unsigned 32-bit number, whose most significant byte
    /// is the first octet of the dotted form. IPv6: eight native unsigned 16-bit groups, the first
    /// group first.
    alignas(4) std::array<std::uint8_t, 16> address{};
    std::uint16_t port = 0;  ///< Native byte order.
};

/// Endpoints in the order in which they should be dialled.
using Endpoints = std::vector<IPEndpoint, HeapAllocator<IPEndpoint>>;

}  // namespace Definitions

/// Limits of the service in milliseconds, for the whole process; 0: no limit.
///
/// At first they are those of the environment variables `VORNIK_NET_CONNECT_TIMEOUT` and
/// `VORNIK_NET_IDLE_TIMEOUT` (seconds), else 60 s and 300 s.
///
/// @threads Any thread. A change reaches the sockets that connect after it.
class VORNIK_EXPORT Limits {
public:
    /// Sets how long a connect may take.
    ///
    /// @param milliseconds  0: no limit but the system's.
    static void setConnect(std::uint64_t milliseconds) noexcept;
    /// @return How long a connect may take, in milliseconds; 0: no limit.
    static std::uint64_t connect() noexcept;
    /// Sets how long a send or a receive may go without a byte moving. A send notices between one
    /// and two limits.
    ///
    /// @param milliseconds  0: no limit.
    static void setIdle(std::uint64_t milliseconds) noexcept;
    /// @return How long nothing may move, in milliseconds; 0: no limit.
    static std::uint64_t idle() noexcept;
};

namespace Client {

/// Finds the addresses of a host.
///
/// @threads Any thread.
class VORNIK_EXPORT Resolver {
public:
    /// Resolves a host name, or takes an address literal with or without brackets without asking
    /// anyone.
    ///
    /// @param host       The name or the literal.
    /// @param port       Decimal text.
    /// @param endpoints  Takes at least one endpoint on success: in the host resolver's order, IPv4
    ///                   first.
    /// @return False, `endpoints` empty, with the code 0x30000 + the resolver's code or 0x20000 +
    ///         errno. A text that is no host name at all is refused with EAI_NONAME's code: one
    ///         that is empty, over 255 octets, begins with a dot, or holds blanks, control
    ///         characters or "@".
    /// @blocks As long as the host's resolver takes.
    [[nodiscard]] static bool resolve(const Ref<String>& host, const Ref<String>& port,
                                      Definitions::Endpoints& endpoints);
};

/// A TCP socket. Blocking; the connection closes with the last reference.
///
/// Failures set the code 0x20000 + errno; a limit that is met is ETIMEDOUT. Signals never show.
///
/// @threads One thread may send while another receives.
class VORNIK_EXPORT Socket : public virtual RefCount {
public:
    /// Connects to an endpoint. To be called once.
    ///
    /// @param endpoint  Whom to dial.
    /// @param timeout   Always `NoTimeout`: the process's connect limit holds.
    /// @return False with the error code set.
    /// @blocks Until the peer accepts or refuses, or the connect limit is met.
    [[nodiscard]] virtual bool connect(const Definitions::IPEndpoint& endpoint,
                                       std::uint32_t timeout) = 0;
    /// Sends `size` bytes and goes on until all are taken.
    ///
    /// @param buffer    Where the bytes are; borrowed for the call.
    /// @param size      How many.
    /// @param reserved  Has no effect.
    /// @return How many were taken; fewer than `size` means failure.
    /// @blocks Until the system has taken all, or the idle limit is met.
    virtual std::int64_t send(TransferBuffer buffer, std::uint64_t size,
                              std::uint32_t reserved) = 0;
    /// Receives what is there, at most `size` bytes, and waits only when nothing is.
    ///
    /// @param buffer    Takes the bytes; borrowed for the call.
    /// @param size      How many there is room for.
    /// @param reserved  Has no effect.
    /// @return The number of bytes; 0 with the code `ErrEndOfStream` (0x15) when the peer has ended
    ///         the connection in an orderly way, 0 with another code on failure.
    /// @blocks Until a byte is there, or the idle limit is met.
    virtual std::int64_t receive(TransferBuffer buffer, std::uint64_t size,
                                 std::uint32_t reserved) = 0;

    /// Makes a socket that is not connected yet.
    ///
    /// @param family    Of the endpoint that is to be dialled.
    /// @param type      1: stream.
    /// @param protocol  6: TCP.
    /// @return A new socket, or null with the error code set.
    static Ref<Socket> create(Definitions::AddressFamily family, std::uint32_t type,
                              std::uint32_t protocol);
};

}  // namespace Client

}  // namespace Services::Network
