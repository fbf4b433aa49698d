// The order of operations is binary interface: applications that were compiled earlier call by
// slot. A pointer to a virtual member function holds one more than the offset of its slot (Itanium
// C++ ABI, section 2.3).
#include <bit>
#include <vector>

#include <gtest/gtest.h>

#include "platform/network/network.hpp"

#include "net/http/http.hpp"
#include "net/http/transport/net_stream.hpp"

namespace Libraries::Networks::HTTP::Client {
namespace {

template <class Member>
std::size_t slotOf(Member member) {
    struct Words {
        std::size_t function;
        std::size_t adjustment;
    };
    return (std::bit_cast<Words>(member).function - 1) / sizeof(void*);
}

template <class... Members>
std::vector<std::size_t> slotsOf(Members... members) {
    return {slotOf(members)...};
}

std::vector<std::size_t> upTo(std::size_t count, std::size_t first = 0) {
    std::vector<std::size_t> slots;
    for (std::size_t i = 0; i < count; ++i) {
        slots.push_back(first + i);
    }
    return slots;
}

TEST(Dispatch, RequestHasItsEighteenOperationsInOrder) {
    using ByToken = Ref<Request> (Request::*)(Ref<String>);
    using ByValue = Ref<Request> (Request::*)(Request::Method);
    using WithOutput = Ref<Response> (Request::*)(Ref<Interfaces::Stream>, unsigned);
    using WithoutOutput = Ref<Response> (Request::*)(unsigned);
    EXPECT_EQ(slotsOf(&Request::setUrl, &Request::setProtocol, &Request::setHost, &Request::setPort,
                      &Request::setPath, &Request::setHeaderField, &Request::setHeaderFields,
                      &Request::setBody, static_cast<ByToken>(&Request::setMethod),
                      static_cast<ByValue>(&Request::setMethod), &Request::setVersion,
                      &Request::setCancelQuery, &Request::setCancelArgument,
                      &Request::setDownloadProgressCallback, &Request::setUploadProgressCallback,
                      static_cast<WithOutput>(&Request::perform),
                      static_cast<WithoutOutput>(&Request::perform), &Request::peerAddress),
              upTo(18));
}

TEST(Dispatch, ResponseHasItsSevenOperationsInOrder) {
    EXPECT_EQ(
        slotsOf(&Response::statusCode, &Response::reasonPhrase, &Response::headerFields,
                &Response::bodyData, &Response::bodySize, &Response::wasRedirected, &Response::url),
        upTo(7));
}

TEST(Dispatch, CallbacksHaveTheirOperationFirst) {
    EXPECT_EQ(slotOf(&ProgressCallback::progress), 0U);
    EXPECT_EQ(slotOf(&CancelQuery::invoke), 0U);
}

TEST(Dispatch, StreamsAndSocketsKeepTheirOrder) {
    using Interfaces::Stream;
    using Interfaces::Stripe;
    using Services::Network::Client::Socket;
    EXPECT_EQ(slotsOf(&Utils::NetStream::read, &Utils::NetStream::write), upTo(2));
    EXPECT_EQ(slotsOf(&Socket::connect, &Socket::send, &Socket::receive), upTo(3));
    EXPECT_EQ(slotsOf(&Stream::read, &Stream::write, &Stream::map, &Stream::unmap), upTo(4));
    EXPECT_EQ(
        slotsOf(&Stripe::setPosition, &Stripe::position, &Stripe::length, &Stripe::elementSize),
        upTo(4, slotOf(&Stripe::setPosition)));
    EXPECT_EQ(slotOf(&MemOutStrm::data) + 1, slotOf(&MemOutStrm::size));
}

TEST(Dispatch, ConstantsOfTheBinaryInterface) {
    using Flag = Request::Flag;
    const Definitions::Set<Flag> all = {
        Flag::DisallowHttp, Flag::DisallowHttps,           Flag::NoDefaultUserAgent,
        Flag::NoRedirect,   Flag::SslIgnoreValidityPeriod, Flag::SslIgnoreUntrusted};
    EXPECT_EQ(all.mask(), 0x1U | 0x2U | 0x4U | 0x10U | 0x40U | 0x80U);
    EXPECT_EQ(Definitions::Set<Flag>(Flag::SslIgnoreInvalid).mask(), 0x8U);
    EXPECT_EQ(Definitions::Set<Flag>(Flag::Verbose).mask(), 0x20U);
    EXPECT_EQ(ErrCancelled, 0x8442U);
    EXPECT_EQ(ErrTransfer, 0x8443U);
    EXPECT_EQ(ErrNullArgument, 0x8445U);
    EXPECT_EQ(ErrInvalidArgument, 0x8446U);
    EXPECT_EQ(ErrNotSupported, 0x10002U);
    EXPECT_EQ(ErrEndOfStream, 0x15U);
}

}  // namespace
}  // namespace Libraries::Networks::HTTP::Client
