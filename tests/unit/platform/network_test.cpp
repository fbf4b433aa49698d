#include "platform/network/network.hpp"

#include <future>
#include <thread>
#include <utility>

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "platform/runtime/error.hpp"

#include "tests/support/host.hpp"
#include "tests/support/scripted_server.hpp"

namespace Services::Network {
namespace {

using Client::Resolver;
using Client::Socket;
using Definitions::AddressFamily;
using Definitions::Endpoints;
using Definitions::IPEndpoint;

std::uint32_t hostCode(int error) {
    return ErrHostBase + static_cast<std::uint32_t>(error);
}

Ref<Socket> newSocket() {
    return Socket::create(AddressFamily::IPv4, 1, 6);
}

Ref<Socket> connectedTo(std::uint16_t port) {
    IPEndpoint endpoint;
    const std::uint32_t address = 0x7F000001;
    Mem::copy(&address, endpoint.address.data(), sizeof(address));
    endpoint.port = port;
    Ref<Socket> socket = newSocket();
    EXPECT_TRUE(socket->connect(endpoint, NoTimeout)) << std::hex << Error::get();
    return socket;
}

std::string receiveSome(Socket& socket, std::size_t size = 100) {
    std::string bytes(size, '\0');
    const std::int64_t count = socket.receive(TransferBuffer::plain(bytes.data()), size, 0);
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

TEST(Resolver, TakesLiteralsWithoutAskingAnyone) {
    Endpoints endpoints;
    ASSERT_TRUE(Resolver::resolve(str("192.0.2.7"), str("65535"), endpoints));
    ASSERT_EQ(endpoints.size(), 1U);
    EXPECT_EQ(endpoints[0].family, AddressFamily::IPv4);
    EXPECT_EQ(endpoints[0].port, 65535);
    std::uint32_t number = 0;
    Mem::copy(endpoints[0].address.data(), &number, sizeof(number));
    EXPECT_EQ(number, 0xC0000207U);
    for (const char* const text : {"2001:db8::1", "[2001:db8::1]", "[2001:DB8:0:0:0:0:0:1]"}) {
        endpoints.clear();
        ASSERT_TRUE(Resolver::resolve(str(text), str("80"), endpoints)) << text;
        EXPECT_EQ(endpoints[0].family, AddressFamily::IPv6);
        std::uint16_t groups[8] = {};
        Mem::copy(endpoints[0].address.data(), groups, sizeof(groups));
        EXPECT_EQ(groups[0], 0x2001);
        EXPECT_EQ(groups[1], 0xdb8);
        EXPECT_EQ(groups[7], 1);
    }
}

TEST(Resolver, FindsLocalhostAtIPv4First) {
    Endpoints endpoints;
    ASSERT_TRUE(Resolver::resolve(str("localhost"), str("80"), endpoints));
    EXPECT_EQ(endpoints[0].family, AddressFamily::IPv4);
    EXPECT_EQ(endpoints[0].port, 80);
}

TEST(Resolver, RefusesWhatIsNoHostName) {
    const std::string tooLong(256, 'a');
    const std::string_view names[] = {"",
                                      ".localhost",
                                      "local host",
                                      " localhost",
                                      "localhost ",
                                      "local\thost",
                                      "a\nb",
                                      "a@b",
                                      "local\x7fhost",
                                      std::string_view("localhost\0", 10),
                                      tooLong};
    for (const std::string_view name : names) {
        Endpoints endpoints(3);
        Error::set(0);
        EXPECT_FALSE(Resolver::resolve(str(name), str("80"), endpoints)) << name;
        EXPECT_EQ(Error::get(), ErrResolverBase + 2) << name;  // that of EAI_NONAME
        EXPECT_TRUE(endpoints.empty());
    }
}

/// Answers whether what this process sends to a port waits for acknowledgements.
bool sendsAtOnceTo(std::uint16_t port) {
    int on = 0;
    socklen_t size = sizeof(on);
    EXPECT_EQ(getsockopt(descriptorTo(port), IPPROTO_TCP, TCP_NODELAY, &on, &size), 0);
    return on != 0;
}

/// A body must not wait until its head is acknowledged, nor the rest of a head that fills segments.
TEST(Socket, SendsAtOnceWhatFollows) {
    for (const auto& [first, sends] : {std::pair{80U, 2}, std::pair{3000U, 1}}) {
        const LoopbackListener listener;
        const Ref<Socket> socket = connectedTo(listener.port());
        const std::string bytes(first, 'x');
        for (int i = 0; i < sends; ++i) {
            EXPECT_EQ(socket->send(TransferBuffer::plain(bytes.data()), bytes.size(), 0),
                      static_cast<std::int64_t>(first));
        }
        EXPECT_TRUE(sendsAtOnceTo(listener.port())) << first;
    }
}

TEST(Socket, SendToADeadPeerFailsWithoutASignal) {
    ScriptedServer server{ReadBody{1}, Reset{}};
    const Ref<Socket> socket = connectedTo(server.port());
    EXPECT_EQ(socket->send(TransferBuffer::plain("x"), 1, 0), 1);
    EXPECT_TRUE(server.finished()) << server.report();
    EXPECT_EQ(receiveSome(*socket), "");  // takes the reset; what follows would raise SIGPIPE
    EXPECT_EQ(socket->send(TransferBuffer::plain("x"), 1, 0), 0);
    EXPECT_EQ(Error::get(), hostCode(EPIPE));
}

TEST(Socket, ConnectMeetsItsLimit) {
    const UnansweringPort port;
    const ScopedLimits limits(150, 0);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(newSocket()->connect(port.listener().endpoint(), NoTimeout));
    EXPECT_EQ(Error::get(), hostCode(ETIMEDOUT));
    const auto taken = std::chrono::steady_clock::now() - start;
    EXPECT_GE(taken, std::chrono::milliseconds(140));
    EXPECT_LT(taken, std::chrono::seconds(10));
}

TEST(Socket, ReceiveAndSendMeetTheIdleLimit) {
    const LoopbackListener listener;
    const ScopedLimits limits(0, 150);
    const Ref<Socket> socket = connectedTo(listener.port());
    EXPECT_EQ(receiveSome(*socket), "");
    EXPECT_EQ(Error::get(), hostCode(ETIMEDOUT));
    const std::string bytes(64U << 20U, 'x');  // more than any socket buffer takes
    Error::set(0);
    const std::int64_t sent = socket->send(TransferBuffer::plain(bytes.data()), bytes.size(), 0);
    EXPECT_LT(sent, static_cast<std::int64_t>(bytes.size()));
    EXPECT_EQ(Error::get(), hostCode(ETIMEDOUT));
}

TEST(Limits, AreAMinuteAndFiveMinutesAtFirst) {
    EXPECT_EQ(Limits::connect(), 60'000U);
    EXPECT_EQ(Limits::idle(), 300'000U);
}

TEST(Socket, SignalsNeverShow) {
    const Disturbance disturbance;
    const UnansweringPort unanswering;
    {
        const ScopedLimits limits(300, 0);
        EXPECT_FALSE(newSocket()->connect(unanswering.listener().endpoint(), NoTimeout));
        EXPECT_EQ(Error::get(), hostCode(ETIMEDOUT));
    }
    {
        const LoopbackListener listener;
        const ScopedLimits limits(0, 300);
        const Ref<Socket> socket = connectedTo(listener.port());
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(receiveSome(*socket), "");
        EXPECT_EQ(Error::get(), hostCode(ETIMEDOUT));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    }
    const LoopbackListener listener;
    const Ref<Socket> socket = connectedTo(listener.port());
    const OwnedDescriptor peer = listener.accept();
    std::string bytes(16U << 20U, 'x');
    std::future<std::size_t> reader = std::async(std::launch::async, [&peer] {
        std::string buffer(1U << 16U, '\0');
        std::size_t total = 0;
        usleep(50'000);  // the sender has filled the socket's buffer and waits
        for (ssize_t count = 1; count > 0;) {
            count = recv(peer.number(), buffer.data(), buffer.size(), 0);
            total += count > 0 ? static_cast<std::size_t>(count) : 0;
            if (total == 16U << 20U) {
                break;
            }
        }
        send(peer.number(), "ok", 2, MSG_NOSIGNAL);
        return total;
    });
    EXPECT_EQ(socket->send(TransferBuffer::plain(bytes.data()), bytes.size(), 0),
              static_cast<std::int64_t>(bytes.size()));
    EXPECT_EQ(receiveSome(*socket), "ok");
    EXPECT_EQ(reader.get(), bytes.size());
}

}  // namespace
}  // namespace Services::Network
