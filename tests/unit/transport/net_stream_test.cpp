#include "net/http/transport/net_stream.hpp"

#include <gtest/gtest.h>

#include "platform/runtime/error.hpp"

#include "net/http/transport/connect.hpp"
#include "tests/support/host.hpp"

namespace Libraries::Networks::HTTP::Utils {
namespace {

using Services::Network::Definitions::IPEndpoint;

/// A socket that writes down what it was asked for and answers what it was told.
class RecordingSocket final : public Object, public virtual Socket {
public:
    bool connect(const IPEndpoint&, std::uint32_t) override { return false; }
    std::int64_t send(TransferBuffer given, std::uint64_t count, std::uint32_t third) override {
        return record("send", given, count, third);
    }
    std::int64_t receive(TransferBuffer given, std::uint64_t count, std::uint32_t third) override {
        return record("receive", given, count, third);
    }

    std::string called;
    TransferBuffer buffer;
    std::uint64_t size = 0;
    std::uint32_t reserved = 99;
    std::uint32_t ownerReferences = 0;
    std::int64_t answer = 0;

private:
    std::int64_t record(const char* name, const TransferBuffer& given, std::uint64_t count,
                        std::uint32_t third) {
        called = name;
        buffer = given;
        size = count;
        reserved = third;
        Error::set(0x1234);
        return answer;
    }
};

TEST(SocketNetStream, PassesEverythingOnUnchanged) {
    const auto socket = Ref<RecordingSocket>::make();
    Ref<NetStream> stream = createSocketStream(socket);
    EXPECT_EQ(socket->referenceCount(), 2U);
    char bytes[16];
    const TransferBuffer buffer = TransferBuffer::plain(bytes);
    for (const std::int64_t answer : {16, 3, 0}) {
        socket->answer = answer;
        EXPECT_EQ(stream->read(buffer, 16, NoTimeout), answer);
        EXPECT_EQ(socket->called, "receive");
        EXPECT_EQ(Error::get(), 0x1234U);
        EXPECT_EQ(socket->size, 16U);
        EXPECT_EQ(socket->reserved, 0U);
        EXPECT_EQ(socket->buffer.kind, TransferBuffer::Plain);
        EXPECT_EQ(socket->buffer.offset, 0U);
        EXPECT_EQ(static_cast<void*>(socket->buffer.data()), bytes);
        EXPECT_EQ(stream->write(buffer, 9, NoTimeout), answer);
        EXPECT_EQ(socket->called, "send");
        EXPECT_EQ(socket->size, 9U);
        EXPECT_EQ(socket->reserved, 0U);
    }
    stream.reset();
    EXPECT_EQ(socket->referenceCount(), 1U);
}

TEST(SocketNetStream, PassesAMappedBufferOn) {
    const auto socket = Ref<RecordingSocket>::make();
    const Mapping mapping = {PMem::create(4096), {1, 2, 3, 4}};
    TransferBuffer buffer = TransferBuffer::mapped(mapping);
    buffer.offset = 7;
    createSocketStream(socket)->write(buffer, 1, NoTimeout);
    EXPECT_EQ(socket->buffer.kind, TransferBuffer::Mapped);
    EXPECT_EQ(socket->buffer.data(), mapping.memory->address() + 7);
    EXPECT_EQ(socket->buffer.words, mapping.words);
    EXPECT_EQ(socket->buffer.owner, Ref<RefCount>(mapping.memory));
    EXPECT_EQ(socket->buffer.second, Ref<RefCount>(mapping.memory));
    socket->buffer = {};
    EXPECT_EQ(mapping.memory->referenceCount(), 3U);  // the mapping and the two of `buffer`
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
