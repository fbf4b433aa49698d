#pragma once

#include "net/http/engine/request_obj.hpp"
#include "net/http/engine/response_head.hpp"
#include "net/http/engine/transfer_memory.hpp"
#include "net/http/transport/net_stream.hpp"

namespace Libraries::Networks::HTTP::Client {

/// Receives one hop's response: feeds the head's parser, then delivers the body.
///
/// The transfer memory is held from construction to destruction.
class Download {
public:
    static constexpr std::uint64_t BufferSize = 0x100000;

    /// @param output  The application's stream; null: the body collects in memory.
    Download(const RequestObj& request, Utils::NetStream& stream, Ref<Interfaces::Stream> output,
             ResponseHead& head);

    /// @return False with `ErrTransfer` or `ErrCancelled`; what was delivered stays delivered.
    [[nodiscard]] bool run();

    /// Answers what collected the body, null when it went to the application's stream.
    [[nodiscard]] const Ref<MemOutStrm>& memoryBody() const noexcept { return memoryBody_; }
    /// Answers the number of body bytes delivered.
    [[nodiscard]] std::uint64_t written() const noexcept { return written_; }

private:
    [[nodiscard]] bool takeHeadBytes(std::uint64_t count);
    std::uint64_t dropAwaitedLineFeed(std::uint64_t count);
    [[nodiscard]] bool deliver(std::uint64_t count);
    [[nodiscard]] bool isComplete() const noexcept;
    [[nodiscard]] bool endOfData(std::uint32_t code) const;

    const RequestObj& request_;
    Utils::NetStream& stream_;
    ResponseHead& head_;
    Ref<MemOutStrm> memoryBody_;
    Ref<Interfaces::Stream> output_;
    TransferMemory memory_;
    TransferBuffer writeBuffer_;
    std::uint64_t fill_ =
        0;  // bytes at the buffer's start that wait: a head line, or body behind the head
    std::uint64_t written_ = 0;
    bool lineFeedAwaited_ = false;
};

}  // namespace Libraries::Networks::HTTP::Client
