#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/memory/memory.hpp"
#include "platform/runtime/export.hpp"
#include "platform/runtime/object.hpp"
#include "platform/runtime/string.hpp"

/// The timeout argument of every transfer: the limits of the service itself hold.
inline constexpr std::uint32_t NoTimeout = 0xFFFFFFFF;

/// What a stream answers when it maps transfer memory: the memory, and words that only the stream
/// reads. Empty when `memory` is null.
struct Mapping {
    Ref<SharedMemory> memory;
    std::array<std::uint64_t, 4> words{};

    explicit operator bool() const noexcept { return static_cast<bool>(memory); }
};

/// Names the memory of one transfer; passed by value. The fields stand in this order for good.
struct TransferBuffer {
    enum Kind : std::uint64_t { None = 0, Mapped = 1, Plain = 2 };

    std::uint64_t kind = None;
    std::uint64_t offset = 0;  ///< Added to `base`.
    std::uint8_t* base = nullptr;
    Ref<RefCount> owner;                   ///< Owns mapped memory; null for plain memory.
    std::array<std::uint64_t, 4> words{};  ///< Those of the mapping; zero for plain memory.
    Ref<RefCount> second;                  ///< Once more the owner of mapped memory.

    /// Names plain memory, which the caller keeps alive; null gives a buffer of kind `None`.
    static TransferBuffer plain(const void* address) noexcept {
        TransferBuffer buffer;
        buffer.kind = address != nullptr ? Plain : None;
        // A transfer writes only where its caller gave writable memory.
        buffer.base = static_cast<std::uint8_t*>(const_cast<void*>(address));
        return buffer;
    }
    /// Names the memory of a mapping, of kind `None` when it is empty.
    static TransferBuffer mapped(const Mapping& mapping) {
        TransferBuffer buffer;
        buffer.kind = mapping ? Mapped : None;
        buffer.base = mapping ? mapping.memory->address() : nullptr;
        buffer.owner = mapping.memory;
        buffer.words = mapping.words;
        buffer.second = mapping.memory;
        return buffer;
    }

    /// Answers where the data is, null for kind `None`.
    [[nodiscard]] std::uint8_t* data() const noexcept {
        return kind != None ? base + offset : nullptr;
    }
};

namespace Interfaces {

/// A stream of bytes. An application derives its own streams from it and overrides what they offer.
///
/// @threads One thread at a time, unless a class says otherwise.
class VORNIK_EXPORT Stream : public virtual RefCount {
public:
    /// Reads at most `size` bytes into the buffer.
    ///
    /// @param timeout  Always `NoTimeout`.
    /// @return The number of bytes, which may be smaller than `size`; 0 at the end or on failure,
    ///         with the thread's error code set on failure. Unless overridden: 0,
    ///         `ErrNotSupported`.
    virtual std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout);
    /// Writes `size` bytes of the buffer.
    ///
    /// @return How many were taken; fewer than `size` is a failure, with the thread's error code
    ///         set. Unless overridden: 0, `ErrNotSupported`.
    virtual std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout);
    /// Offers the memory through which the following transfers pass, so that the stream may map it.
    ///
    /// @return A mapping, or an empty one: with `ErrNotSupported` when the stream does not map (so
    ///         unless overridden), with another code when mapping failed.
    virtual Mapping map(const Ref<SharedMemory>& memory);
    /// Takes a mapping of `map` back after the last transfer to an output stream; a body source is
    /// not told. Unless overridden it does nothing.
    virtual void unmap(const Mapping& mapping);
};

/// A stream with a length and a position: the source of a request body.
///
/// A source that sends the same body again at the next hop of a redirect stands at its start again
/// once it has been read to its end; the sources of this platform do.
class VORNIK_EXPORT Stripe : public virtual Stream {
public:
    /// Moves the position. @return The position that results.
    virtual std::uint64_t setPosition(std::uint64_t position) = 0;
    /// Answers the current position, in elements.
    virtual std::uint64_t position() = 0;
    /// Answers the total length, in elements.
    virtual std::uint64_t length() = 0;
    /// Answers the size of an element in bytes. Unless overridden: 1.
    virtual std::uint64_t elementSize();
};

}  // namespace Interfaces

/// A growing memory stream: what is written collects in one block.
///
/// A write that finds no memory takes nothing and answers 0 with the error code; what was collected
/// stays.
class VORNIK_EXPORT MemOutStrm : public virtual Interfaces::Stream {
public:
    /// Answers the address of the collected bytes, null when there are none; it changes with every
    /// write.
    [[nodiscard]] virtual const void* data() const noexcept = 0;
    /// Answers the number of collected bytes.
    [[nodiscard]] virtual std::uint64_t size() const noexcept = 0;

    static Ref<MemOutStrm> create();
};

/// A body source over bytes in memory.
class VORNIK_EXPORT MemInStrm {
public:
    /// Copies the bytes.
    static Ref<Interfaces::Stripe> create(std::string_view bytes);
    /// Shares the bytes of a string; null gives null.
    static Ref<Interfaces::Stripe> create(const Ref<String>& bytes);
    /// Copies the bytes of a text such as a `std::string`.
    template <TextLike Text>
    static Ref<Interfaces::Stripe> create(const Text& bytes) {
        return create(viewOf(bytes));
    }
    /// Borrows the bytes: they must stay as long as the stream.
    static Ref<Interfaces::Stripe> borrow(const void* bytes, std::size_t size);
};

/// Streams over files and descriptors of the host.
class VORNIK_EXPORT FileStrm {
public:
    /// Opens a regular file for reading, as a body source too; its length is that of the moment it
    /// is asked.
    ///
    /// @return Null with the code 0x20000 + errno.
    static Ref<Interfaces::Stripe> openForReading(const Ref<String>& path);
    /// Opens a file for writing, created when absent (mode 0666 less the umask) and emptied when
    /// present.
    ///
    /// @return Null with the code 0x20000 + errno.
    static Ref<Interfaces::Stream> openForWriting(const Ref<String>& path);
    /// A stream over an open descriptor such as standard output (1). The descriptor stays the
    /// caller's; it must outlive the stream. A write to a pipe without a reader raises SIGPIPE
    /// unless the program ignores it.
    static Ref<Interfaces::Stream> overDescriptor(int descriptor);
};
