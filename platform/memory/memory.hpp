#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/runtime/export.hpp"
#include "platform/runtime/object.hpp"

/// A page-aligned block of memory through which bulk data passes. Its address holds as long as the
/// object.
class VORNIK_EXPORT SharedMemory : public virtual RefCount {
public:
    [[nodiscard]] virtual std::uint8_t* address() const noexcept = 0;
    /// Answers the size in bytes, as it was asked for.
    [[nodiscard]] virtual std::size_t size() const noexcept = 0;
};

/// Private anonymous memory.
///
/// Memory that nobody references any more may be kept for the calling thread's next request of the
/// same size, one block at the most: its content is whatever was there.
class VORNIK_EXPORT PMem {
public:
    /// @return New memory of `size` bytes, or null with the code 0x20000 + errno.
    static Ref<SharedMemory> create(std::size_t size);
};

/// A memory file, which another process could map. Kept for the next request like `PMem`, unless
/// its descriptor was asked for.
class VORNIK_EXPORT ShMem {
public:
    /// @return New memory of `size` bytes, or null with the code 0x20000 + errno.
    static Ref<SharedMemory> create(std::size_t size);
    /// Answers the descriptor of a memory file, owned by the object; -1 for any other memory.
    static int descriptor(const Ref<SharedMemory>& memory) noexcept;
};
