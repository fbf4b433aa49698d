#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/streams/streams.hpp"

namespace Libraries::Networks::HTTP::Client {

/// The memory through which one body passes: shared memory that the application's stream may map,
/// or a heap block when there is none. It lives as long as the transfer of one hop.
class TransferMemory {
public:
    /// Which kind of shared memory is tried first; after `Private`, `Shared` is tried as well.
    enum class First { Private, Shared };

    /// Makes the memory. A kind that cannot be had is a warning, with the error code if `withCode`.
    TransferMemory(std::uint64_t size, First first, bool withCode);
    TransferMemory(const TransferMemory&) = delete;
    TransferMemory& operator=(const TransferMemory&) = delete;
    /// Hands the mapping back if that was asked for. The thread's error code survives.
    ~TransferMemory();

    enum class HandBack { No, Yes };

    /// Offers shared memory to a stream. A failure, other than that the stream does not map, is the
    /// warning `failureText` with the error code.
    ///
    /// @param handBack  Whether the stream is told, at the end, that its mapping is no longer used.
    void offerTo(Ref<Interfaces::Stream> stream, std::string_view failureText, HandBack handBack);

    [[nodiscard]] std::uint8_t* address() const noexcept { return address_; }
    /// Answers the buffer for the stream that the memory was offered to: mapped, or plain.
    [[nodiscard]] TransferBuffer streamBuffer() const;

private:
    Ref<SharedMemory> memory_;
    std::unique_ptr<std::uint8_t, HeapArrayDelete> block_;
    std::uint8_t* address_ = nullptr;
    Ref<Interfaces::Stream> stream_;  // set while it holds a mapping to be handed back
    Mapping mapping_;
};

}  // namespace Libraries::Networks::HTTP::Client
