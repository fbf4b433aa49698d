#include "net/http/transport/net_stream.hpp"

#include <gtest/gtest.h>

#include "net/http/transport/connect.hpp"
#include "tests/support/host.hpp"
#include "tests/unit/tls/fake_transport.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

using Services::Network::Definitions::IPEndpoint;

TEST(SocketNetStream, PassesEverythingOn) {
    const auto socket = Ref<FakeSocket>::make();
    Ref<NetStream> stream = createSocketStream(socket);
    EXPECT_EQ(socket->referenceCount(), 2U);
    socket->transport.outcomes = {{3, 0}, {}, {0, 0x1234}};
    char bytes[] = "######";
    TransferBuffer buffer = TransferBuffer::plain(bytes);
    buffer.offset = 1;
    EXPECT_EQ(stream->read(buffer, 5, NoTimeout), 3);
    EXPECT_STREQ(bytes, "#abc##");
    EXPECT_EQ(stream->write(buffer, 5, NoTimeout), 5);
    EXPECT_EQ(socket->transport.written, "abc##");
    EXPECT_EQ(stream->read(buffer, 5, NoTimeout), 0);
    EXPECT_EQ(Error::get(), 0x1234U);
    EXPECT_EQ(socket->transport.asked, "read 5 0; write 5 0; read 5 0; ");
    stream.reset();
    EXPECT_EQ(socket->referenceCount(), 1U);
}

TEST(TransferBuffer, OfNullNamesNoMemory) {
    const TransferBuffer buffer = TransferBuffer::plain(nullptr);
    EXPECT_EQ(buffer.kind, TransferBuffer::None);
    EXPECT_EQ(buffer.data(), nullptr);
    EXPECT_EQ(TransferBuffer::mapped({}).kind, TransferBuffer::None);
}

TEST(FormatEndpoint, IsDecimalForIPv4AndUncompressedForAnyOther) {
    IPEndpoint endpoint;
    const std::uint32_t number = 0xC0000207;
    Mem::copy(&number, endpoint.address.data(), sizeof(number));
    endpoint.port = 443;
    EXPECT_EQ(plain(formatEndpoint(endpoint)), "192.0.2.7:443");
    const std::uint16_t groups[8] = {0x2001, 0xdb8, 0, 0, 0, 0, 0xABC, 1};
    Mem::copy(groups, endpoint.address.data(), sizeof(groups));
    endpoint.port = 65535;
    for (const std::uint32_t family : {10U, 0U, 77U}) {
        endpoint.family = static_cast<Services::Network::Definitions::AddressFamily>(family);
        EXPECT_EQ(plain(formatEndpoint(endpoint)), "[2001:db8:0:0:0:0:abc:1]:65535");
    }
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Utils
