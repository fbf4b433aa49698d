#pragma once

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "platform/runtime/error.hpp"
#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"
#include "platform/streams/streams.hpp"

/// Output streams and body sources made of what C++ programs have at hand. All of it is inline.
///
/// What an output refers to is borrowed: it must outlive the stream. An exception on the way, such
/// as that of a string without memory, ends the program.
namespace Streams {

/// Writes to a stream of the C++ library.
class OstreamOutput final : public Object, public Interfaces::Stream {
public:
    explicit OstreamOutput(std::ostream& out) : out_(out) {}

    /// @return 0 with 0x20000 + `errno` when the stream fails (with `EIO` when it does not say why); what it had taken by then stays there.
    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t) noexcept override {
        errno = 0;
        out_.write(reinterpret_cast<const char*>(buffer.data()),
                   static_cast<std::streamsize>(size));
        if (!out_) {
            Error::set(ErrHostBase + static_cast<std::uint32_t>(errno != 0 ? errno : EIO));
            return 0;
        }
        return static_cast<std::int64_t>(size);
    }

private:
    std::ostream& out_;
};

/// Appends to a string.
class StringOutput final : public Object, public Interfaces::Stream {
public:
    explicit StringOutput(std::string& text) : text_(text) {}

    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t) noexcept override {
        text_.append(reinterpret_cast<const char*>(buffer.data()), size);
        return static_cast<std::int64_t>(size);
    }

private:
    std::string& text_;
};

/// Fills bytes that the caller has, from their beginning.
class SpanOutput final : public Object, public Interfaces::Stream {
public:
    explicit SpanOutput(std::span<std::byte> room) : room_(room) {}

    /// @return Fewer than `size` with 0x20000 + `ENOSPC` when the bytes are full.
    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t) noexcept override {
        const std::size_t count = std::min<std::size_t>(size, room_.size());
        if (count != 0) {
            std::memcpy(room_.data(), buffer.data(), count);
            room_ = room_.subspan(count);
        }
        if (count < size) {
            Error::set(ErrHostBase + static_cast<std::uint32_t>(ENOSPC));
        }
        return static_cast<std::int64_t>(count);
    }

private:
    std::span<std::byte> room_;
};

/// An output stream that writes to a stream of the C++ library, such as `std::cout`.
inline Ref<Interfaces::Stream> to(std::ostream& out) {
    return Ref<OstreamOutput>::make(out);
}
/// An output stream that appends to a string.
inline Ref<Interfaces::Stream> to(std::string& text) {
    return Ref<StringOutput>::make(text);
}
/// An output stream that fills bytes; `Response::bodySize` tells how many it took. A longer body
/// fails the exchange.
inline Ref<Interfaces::Stream> to(std::span<std::byte> room) {
    return Ref<SpanOutput>::make(room);
}
/// An output stream over a file, created when absent and emptied when present.
///
/// @return Null with the code 0x20000 + errno. An exchange without an output stream keeps the body
///         in memory: look at the result before you perform.
inline Ref<Interfaces::Stream> toFile(const Ref<String>& path) {
    return FileStrm::openForWriting(path);
}

/// A body source over a copy of a text.
inline Ref<Interfaces::Stripe> from(std::string_view text) {
    return MemInStrm::create(text);
}
/// A body source over bytes that stay where they are: they must outlive it.
inline Ref<Interfaces::Stripe> from(std::span<const std::byte> bytes) {
    return MemInStrm::borrow(bytes.data(), bytes.size());
}
/// A body source over a file.
///
/// @return Null with the code 0x20000 + errno. A request without a body source sends no body: look
///         at the result before you set it.
inline Ref<Interfaces::Stripe> fromFile(const Ref<String>& path) {
    return FileStrm::openForReading(path);
}

}  // namespace Streams
