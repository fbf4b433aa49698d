/// @file
/// Streams, body sources, and the buffers that pass through them.
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
    Ref<SharedMemory> memory;              ///< What was offered; a source may answer its own.
    std::array<std::uint64_t, 4> words{};  ///< Whatever the stream wants to find again.

    /// @return Whether anything is mapped.
    explicit operator bool() const noexcept { return static_cast<bool>(memory); }
};

/// Names the memory of one transfer; passed by value. The fields stand in this order for good.
struct TransferBuffer {
    /// What the memory is.
    enum Kind : std::uint64_t {
        None = 0,    ///< No memory at all.
        Mapped = 1,  ///< Memory that the stream has mapped.
        Plain = 2,   ///< An address, and nothing else.
    };

    std::uint64_t kind = None;             ///< One of `Kind`.
    std::uint64_t offset = 0;              ///< Added to `base`; in bytes.
    std::uint8_t* base = nullptr;          ///< Where the memory begins.
    Ref<RefCount> owner;                   ///< Owns mapped memory; null for plain memory.
    std::array<std::uint64_t, 4> words{};  ///< Those of the mapping; zero for plain memory.
    Ref<RefCount> second;                  ///< Once more the owner of mapped memory.

    /// Names plain memory, which the caller keeps alive.
    ///
    /// @param address  Where it begins; null gives a buffer of kind `None`.
    /// @return The buffer.
    static TransferBuffer plain(const void* address) noexcept {
        TransferBuffer buffer;
        buffer.kind = address != nullptr ? Plain : None;
        // A transfer writes only where its caller gave writable memory.
        buffer.base = static_cast<std::uint8_t*>(const_cast<void*>(address));
        return buffer;
    }
    /// Names the memory of a mapping.
    ///
    /// @param mapping  Of `Stream::map`; an empty one gives a buffer of kind `None`.
    /// @return The buffer, which keeps the memory.
    static TransferBuffer mapped(const Mapping& mapping) {
        TransferBuffer buffer;
        buffer.kind = mapping ? Mapped : None;
        buffer.base = mapping ? mapping.memory->address() : nullptr;
        buffer.owner = mapping.memory;
        buffer.words = mapping.words;
        buffer.second = mapping.memory;
        return buffer;
    }

    /// @return Where the data is, null for kind `None`.
    [[nodiscard]] std::uint8_t* data() const noexcept {
        return kind != None ? base + offset : nullptr;
    }
};

namespace Interfaces {

/// A stream of bytes. An application derives its own streams from it and overrides what they offer;
/// none of it may throw.
///
/// @threads One thread at a time, unless a class says otherwise.
class VORNIK_EXPORT Stream : public virtual RefCount {
public:
    /// Reads at most `size` bytes into the buffer.
    ///
    /// @param buffer   Takes the bytes; its memory is borrowed for the call.
    /// @param size     How many there is room for.
    /// @param timeout  Always `NoTimeout`.
    /// @return The number of bytes, which may be smaller than `size`; 0 at the end or on failure,
    ///         with the thread's error code set on failure. Unless overridden: 0,
    ///         `ErrNotSupported`.
    virtual std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout);
    /// Writes `size` bytes of the buffer.
    ///
    /// @param buffer   Where the bytes are; its memory is borrowed for the call.
    /// @param size     How many.
    /// @param timeout  Always `NoTimeout`.
    /// @return How many were taken; fewer than `size` is a failure, with the thread's error code
    ///         set. Unless overridden: 0, `ErrNotSupported`.
    virtual std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout);
    /// Offers the memory through which the following transfers pass, so that the stream may map it.
    ///
    /// @param memory  Its content means nothing yet; the stream may keep the reference.
    /// @return A mapping, or an empty one: with `ErrNotSupported` when the stream does not map (so
    ///         unless overridden), with another code when mapping failed.
    virtual Mapping map(const Ref<SharedMemory>& memory);
    /// Takes a mapping of `map` back after the last transfer to an output stream; a body source is
    /// not told. Unless overridden it does nothing. The thread's error code survives.
    ///
    /// @param mapping  As `map` answered it.
    virtual void unmap(const Mapping& mapping);
};

/// A stream with a length and a position: the source of a request body.
///
/// A source that sends the same body again at the next hop of a redirect stands at its start again
/// once it has been read to its end; the sources of this platform do.
class VORNIK_EXPORT Stripe : public virtual Stream {
public:
    /// Moves the position. The library itself never does.
    ///
    /// @param position  In elements, from the start.
    /// @return The position that results.
    virtual std::uint64_t setPosition(std::uint64_t position) = 0;
    /// @return The current position, in elements.
    virtual std::uint64_t position() = 0;
    /// @return The total length, in elements, wherever the position is.
    virtual std::uint64_t length() = 0;
    /// @return The size of an element in bytes. Unless overridden: 1.
    virtual std::uint64_t elementSize();
};

}  // namespace Interfaces

/// A growing memory stream: what is written collects in one block.
///
/// A write that finds no memory takes nothing and answers 0 with the code 0x20000 + `ENOMEM`; what
/// was collected stays.
///
/// @threads One thread at a time.
class VORNIK_EXPORT MemOutStrm : public virtual Interfaces::Stream {
public:
    /// @return The address of the collected bytes, null when there are none; every write may change
    ///         it.
    [[nodiscard]] virtual const void* data() const noexcept = 0;
    /// @return The number of collected bytes.
    [[nodiscard]] virtual std::uint64_t size() const noexcept = 0;

    /// @return A new stream without bytes, never null.
    static Ref<MemOutStrm> create();
};

/// Makes body sources over bytes in memory. They stand at their start again once they have been
/// read to their end.
///
/// @threads Any thread; a source by one thread at a time.
class VORNIK_EXPORT MemInStrm {
public:
    /// Makes a source that keeps a copy.
    ///
    /// @param bytes  Copied.
    /// @return A new source, never null.
    static Ref<Interfaces::Stripe> create(std::string_view bytes);
    /// Makes a source that shares a string.
    ///
    /// @param bytes  Kept by a reference; null gives null.
    /// @return A new source, or null for null.
    static Ref<Interfaces::Stripe> create(const Ref<String>& bytes);
    /// Makes a source that keeps a copy of a text such as a `std::string`.
    ///
    /// @param bytes  Copied.
    /// @return A new source, never null.
    template <TextLike Text>
    static Ref<Interfaces::Stripe> create(const Text& bytes) {
        return create(viewOf(bytes));
    }
    /// Makes a source that borrows.
    ///
    /// @param bytes  Must stay as long as the source.
    /// @param size   How many there are.
    /// @return A new source, never null.
    static Ref<Interfaces::Stripe> borrow(const void* bytes, std::size_t size);
};

/// Streams over files and descriptors of the host. A read or a write that fails answers what moved
/// before, with the code 0x20000 + errno.
///
/// @threads Any thread; a stream by one thread at a time.
class VORNIK_EXPORT FileStrm {
public:
    /// Opens a regular file for reading, as a body source too; its length is that of the moment it
    /// is asked at the start of the file (0 for those of /proc, which tell none). At its start again
    /// once that much of it has been read.
    ///
    /// @param path  Of the host; null is refused.
    /// @return A new source, which closes the file at its end; null with the code 0x20000 + errno.
    static Ref<Interfaces::Stripe> openForReading(const Ref<String>& path);
    /// Opens a file for writing, created when absent (mode 0666 less the umask) and emptied when
    /// present.
    ///
    /// @param path  Of the host; null is refused.
    /// @return A new stream, which closes the file at its end; null with the code 0x20000 + errno.
    static Ref<Interfaces::Stream> openForWriting(const Ref<String>& path);
    /// Makes a stream over an open descriptor such as standard output (1). A write to a pipe
    /// without a reader raises SIGPIPE unless the program ignores it.
    ///
    /// @param descriptor  Stays the caller's; it must outlive the stream.
    /// @return A new stream, never null.
    static Ref<Interfaces::Stream> overDescriptor(int descriptor);
};
