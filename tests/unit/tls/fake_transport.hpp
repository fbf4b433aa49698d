#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <string>

#include <gtest/gtest.h>

#include "platform/network/network.hpp"
#include "platform/runtime/error.hpp"

namespace Libraries::Networks::HTTP::Utils {

/// What the next transfer of a fake answers: so many bytes at most, or a 0 with a code.
struct Outcome {
    std::uint64_t most = UINT64_MAX;
    std::uint32_t code = 0;
};

/// A source of "abcdef..." and a sink that remembers, with scripted outcomes.
struct FakeTransport {
    std::int64_t transfer(const TransferBuffer& buffer, std::uint64_t size, std::uint32_t third,
                          bool reads) {
        asked += std::string(reads ? "read " : "write ") + std::to_string(size) + " " +
                 std::to_string(third) + "; ";
        EXPECT_EQ(buffer.kind, TransferBuffer::Plain);
        const Outcome outcome = outcomes.empty() ? Outcome{} : outcomes.front();
        if (!outcomes.empty()) {
            outcomes.pop_front();
        }
        if (outcome.most == 0) {
            Error::set(outcome.code);
            return 0;
        }
        const std::uint64_t count = std::min(size, outcome.most);
        for (std::uint64_t i = 0; i < count; ++i) {
            if (reads) {
                buffer.data()[i] = static_cast<std::uint8_t>('a' + i);
            } else {
                written += static_cast<char>(buffer.data()[i]);
            }
        }
        return static_cast<std::int64_t>(count);
    }

    std::string asked;  ///< "read SIZE THIRD-ARGUMENT; " for each transfer
    std::string written;
    std::deque<Outcome> outcomes;
};

class FakeSocket final : public Object, public virtual Services::Network::Client::Socket {
public:
    bool connect(const Services::Network::Definitions::IPEndpoint&, std::uint32_t) override {
        return false;
    }
    std::int64_t send(TransferBuffer buffer, std::uint64_t size, std::uint32_t third) override {
        return transport.transfer(buffer, size, third, false);
    }
    std::int64_t receive(TransferBuffer buffer, std::uint64_t size, std::uint32_t third) override {
        return transport.transfer(buffer, size, third, true);
    }
    FakeTransport transport;
};

class FakeStream final : public Object, public virtual Interfaces::Stream {
public:
    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t third) override {
        return transport.transfer(buffer, size, third, false);
    }
    std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t third) override {
        return transport.transfer(buffer, size, third, true);
    }
    FakeTransport transport;
};

}  // namespace Libraries::Networks::HTTP::Utils
