/// @file
/// The memory through which bodies pass.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/runtime/export.hpp"
#include "platform/runtime/object.hpp"

/// A page-aligned block of memory through which bulk data passes. Its address holds as long as the
/// object.
///
/// @threads Any thread may ask; who reads and writes the bytes when, its users agree upon.
class VORNIK_EXPORT SharedMemory : public virtual RefCount {
public:
    /// @return Where the bytes are: page-aligned, readable and writable, never null.
    [[nodiscard]] virtual std::uint8_t* address() const noexcept = 0;
    /// @return The size in bytes, as it was asked for.
    [[nodiscard]] virtual std::size_t size() const noexcept = 0;
};

/// Private anonymous memory.
///
/// Memory that nobody references any more may be kept for the calling thread's next request of the
/// same size, one block at the most: its content is whatever was there.
///
/// @threads Any thread.
class VORNIK_EXPORT PMem {
public:
    /// Makes a block, or takes the one that was kept.
    ///
    /// @param size  In bytes, not 0.
    /// @return New memory of `size` bytes, or null with the code 0x20000 + errno.
    static Ref<SharedMemory> create(std::size_t size);
};

/// A memory file, which another process could map. Kept for the next request like `PMem`, unless
/// its descriptor was asked for.
///
/// @threads Any thread; `descriptor` for one object by one thread at a time.
class VORNIK_EXPORT ShMem {
public:
    /// Makes a memory file, or takes the one that was kept.
    ///
    /// @param size  In bytes, not 0.
    /// @return New memory of `size` bytes, or null with the code 0x20000 + errno.
    static Ref<SharedMemory> create(std::size_t size);
    /// Answers the descriptor of a memory file, to be handed to another process.
    ///
    /// @param memory  Any memory; not null.
    /// @return The descriptor, which the object owns and closes; -1 for any other memory.
    static int descriptor(const Ref<SharedMemory>& memory) noexcept;
};
