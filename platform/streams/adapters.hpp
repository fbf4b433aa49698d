/// @file
/// Streams made of what C++ programs have at hand.
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
/// as that of a string without memory, ends the program. Outputs and sources are used by one thread
/// at a time; the functions by any.
namespace Streams {

/// Writes to a stream of the C++ library.
class OstreamOutput final : public Object, public Interfaces::Stream {
public:
    /// @param out  Borrowed; must outlive this stream.
    explicit OstreamOutput(std::ostream& out) : out_(out) {}

    /// Writes the bytes, without flushing.
    ///
    /// @param buffer  Where they are.
    /// @param size    How many.
    /// @return `size`, or 0 with 0x20000 + `errno` when the stream fails (with `EIO` when it does
    ///         not say why); what it had taken by then stays there.
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
    /// @param text  Borrowed; must outlive this stream.
    explicit StringOutput(std::string& text) : text_(text) {}

    /// Appends the bytes.
    ///
    /// @param buffer  Where they are.
    /// @param size    How many.
    /// @return `size`.
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
    /// @param room  Borrowed; must outlive this stream.
    explicit SpanOutput(std::span<std::byte> room) : room_(room) {}

    /// Puts the bytes behind those that came before.
    ///
    /// @param buffer  Where they are.
    /// @param size    How many.
    /// @return How many there was room for. Fewer than `size` with 0x20000 + `ENOSPC` when the bytes are full.
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

/// Makes an output stream that writes to a stream of the C++ library, such as `std::cout`.
///
/// @param out  Borrowed; must outlive the result.
/// @return A new stream, never null.
inline Ref<Interfaces::Stream> to(std::ostream& out) {
    return Ref<OstreamOutput>::make(out);
}
/// Makes an output stream that appends to a string.
///
/// @param text  Borrowed; must outlive the result.
/// @return A new stream, never null.
inline Ref<Interfaces::Stream> to(std::string& text) {
    return Ref<StringOutput>::make(text);
}
/// Makes an output stream that fills bytes; `Response::bodySize` tells how many it took. A longer
/// body fails the exchange.
///
/// @param room  Borrowed; must outlive the result.
/// @return A new stream, never null.
inline Ref<Interfaces::Stream> to(std::span<std::byte> room) {
    return Ref<SpanOutput>::make(room);
}
/// Makes an output stream over a file, created when absent and emptied when present.
///
/// @param path  Of the host.
/// @return A new stream, or null with the code 0x20000 + errno. An exchange without an output
///         stream keeps the body in memory: look at the result before you perform.
inline Ref<Interfaces::Stream> toFile(const Ref<String>& path) {
    return FileStrm::openForWriting(path);
}

/// Makes a body source over a copy of a text.
///
/// @param text  Copied.
/// @return A new source, never null.
inline Ref<Interfaces::Stripe> from(std::string_view text) {
    return MemInStrm::create(text);
}
/// Makes a body source over bytes that stay where they are.
///
/// @param bytes  Borrowed; must outlive the result.
/// @return A new source, never null.
inline Ref<Interfaces::Stripe> from(std::span<const std::byte> bytes) {
    return MemInStrm::borrow(bytes.data(), bytes.size());
}
/// Makes a body source over a regular file.
///
/// @param path  Of the host.
/// @return A new source, or null with the code 0x20000 + errno. A request without a body source
///         sends no body: look at the result before you set it.
inline Ref<Interfaces::Stripe> fromFile(const Ref<String>& path) {
    return FileStrm::openForReading(path);
}

}  // namespace Streams
