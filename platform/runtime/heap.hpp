/// @file
/// The heap, and operations on raw memory.
#pragma once

#include <cstddef>

#include "platform/runtime/export.hpp"

/// The process's heap: every object and buffer of the platform and of its libraries comes from
/// here.
///
/// An allocation never fails towards its caller: when memory is gone, one line goes to standard
/// error and the process ends.
///
/// @threads Any thread; a block may be freed on another thread than the one that made it.
class VORNIK_EXPORT Heap {
public:
    /// What a block holds. `free` is told the kind that `alloc` was told.
    enum Kind : unsigned {
        Object = 1,  ///< One object.
        Array = 2,   ///< Several, or plain bytes.
    };

    /// Answers a new block, aligned for any object.
    ///
    /// @param size    In bytes; may be 0.
    /// @param kind    What the block will hold.
    /// @param caller  Address of the code that asks, for the line written when memory is gone; may
    ///                be null.
    /// @return The block, never null. The caller owns it and gives it to `free`.
    static void* alloc(std::size_t size, Kind kind, const void* caller = nullptr) noexcept;

    /// As `alloc`, for memory that a program can do without.
    ///
    /// @param size  In bytes; may be 0.
    /// @param kind  What the block will hold.
    /// @return The block, or null when memory is gone.
    [[nodiscard]] static void* tryAlloc(std::size_t size, Kind kind) noexcept;

    /// Takes a block of `alloc` or `tryAlloc` back. The thread's error code stays as it is.
    ///
    /// @param block   The block; null is ignored.
    /// @param kind    What `alloc` was told.
    /// @param caller  Address of the code that asks; may be null.
    static void free(void* block, Kind kind, const void* caller = nullptr) noexcept;
};

/// Operations on raw memory.
///
/// @threads Any thread.
class VORNIK_EXPORT Mem {
public:
    /// Copies bytes; the ranges may overlap. Note the order: source first.
    ///
    /// @param source       Where they are.
    /// @param destination  Where they go.
    /// @param count        How many; with 0, either address may be null.
    static void copy(const void* source, void* destination, std::size_t count) noexcept;

    /// Finds a byte.
    ///
    /// @param bytes  Where to look.
    /// @param value  The byte that is sought.
    /// @param count  How many bytes there are; with 0, `bytes` may be null.
    /// @return The index of the first one, or exactly `count` when there is none.
    static std::size_t search8(const void* bytes, unsigned char value, std::size_t count) noexcept;
};

/// Frees an array of `Heap::alloc`: the deleter of a unique_ptr.
struct HeapArrayDelete {
    /// @param array  A block of kind `Array`, or null.
    void operator()(void* array) const noexcept { Heap::free(array, Heap::Array); }
};

/// The standard containers' way to the heap, so that they too never throw when memory is gone.
///
/// @tparam T  What the container holds.
/// @threads Any thread: it has no state.
template <class T>
class HeapAllocator {
public:
    using value_type = T;  ///< As allocators call it.

    /// All allocators are the same one.
    HeapAllocator() noexcept = default;
    /// Makes an allocator of another one, of which there is nothing to take.
    template <class U>
    // NOLINTNEXTLINE(google-explicit-constructor): required of allocators
    HeapAllocator(const HeapAllocator<U>&) noexcept {}

    /// @param count  How many objects there must be room for.
    /// @return A block for them, never null; the process ends when memory is gone.
    T* allocate(std::size_t count) noexcept {
        const bool fits = count <= static_cast<std::size_t>(-1) / sizeof(T);
        const std::size_t size = fits ? count * sizeof(T) : static_cast<std::size_t>(-1);
        return static_cast<T*>(Heap::alloc(size, Heap::Array));
    }
    /// Takes a block back; its size is not needed.
    ///
    /// @param block  Of `allocate`.
    void deallocate(T* block, std::size_t) noexcept { Heap::free(block, Heap::Array); }

    /// Always equal: what one allocates, any other frees.
    friend bool operator==(const HeapAllocator&, const HeapAllocator&) noexcept { return true; }
};
