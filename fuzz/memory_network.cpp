// Sockets without a system behind them. The linker takes these definitions, not the platform's.

#include "fuzz/memory_network.hpp"

#include <algorithm>
#include <cstring>

#include "platform/network/network.hpp"
#include "platform/runtime/error.hpp"

namespace Services::Network::Client {
namespace {

using Definitions::IPEndpoint;

class MemorySocket final : public Object, public virtual Socket {
public:
    MemorySocket() { ++memoryNetwork().open; }
    MemorySocket(const MemorySocket&) = delete;
    MemorySocket& operator=(const MemorySocket&) = delete;
    ~MemorySocket() override { --memoryNetwork().open; }

    bool connect(const IPEndpoint&, std::uint32_t) override {
        MemoryNetwork& network = memoryNetwork();
        number_ = network.sent.size();
        network.sent.emplace_back();
        answer_ = number_ < network.answers.size() ? network.answers[number_] : std::string();
        return true;
    }
    std::int64_t send(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        memoryNetwork().sent[number_].append(reinterpret_cast<const char*>(buffer.data()), size);
        return static_cast<std::int64_t>(size);
    }
    std::int64_t receive(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        const std::size_t count = std::min({answer_.size() - at_, std::size_t{size}, nextPiece()});
        if (count == 0) {
            Error::set(memoryNetwork().endCode);
            return 0;
        }
        std::memcpy(buffer.data(), answer_.data() + at_, count);
        at_ += count;
        return static_cast<std::int64_t>(count);
    }

private:
    std::size_t nextPiece() {
        const std::vector<std::uint8_t>& pieces = memoryNetwork().pieces;
        const std::uint8_t piece = pieces.empty() ? std::uint8_t{0} : pieces[turn_ % pieces.size()];
        ++turn_;
        return piece != 0 ? piece : SIZE_MAX;
    }

    std::string answer_;
    std::size_t number_ = 0;
    std::size_t at_ = 0;
    std::size_t turn_ = 0;
};

}  // namespace

bool Resolver::resolve(const Ref<String>& host, const Ref<String>&,
                       Definitions::Endpoints& endpoints) {
    endpoints.clear();
    if (host->length() == 0) {
        constexpr std::uint32_t noName = 2;
        Error::set(ErrResolverBase + noName);
        return false;
    }
    endpoints.emplace_back();
    return true;
}

Ref<Socket> Socket::create(Definitions::AddressFamily, std::uint32_t, std::uint32_t) {
    return Ref<MemorySocket>::make();
}

}  // namespace Services::Network::Client

MemoryNetwork& memoryNetwork() {
    static MemoryNetwork network;
    return network;
}
