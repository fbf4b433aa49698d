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
    enum Kind : unsigned { Object = 1, Array = 2 };

    /// Answers a new block of `size` bytes, aligned for any object. Never null, also for size 0.
    ///
    /// @param caller  Address of the code that asks, for the line written when memory is gone; may
    ///                be null.
    static void* alloc(std::size_t size, Kind kind, const void* caller = nullptr) noexcept;

    /// As `alloc`, but answers null when memory is gone.
    [[nodiscard]] static void* tryAlloc(std::size_t size, Kind kind) noexcept;

    /// Takes a block of `alloc` back; null is ignored. The thread's error code stays as it is.
    static void free(void* block, Kind kind, const void* caller = nullptr) noexcept;
};

/// Operations on raw memory.
class VORNIK_EXPORT Mem {
public:
    /// Copies `count` bytes; the ranges may overlap. Note the order: source first.
    static void copy(const void* source, void* destination, std::size_t count) noexcept;

    /// Answers the index of the first byte equal to `value` among `count` bytes, or exactly
    /// `count`.
    static std::size_t search8(const void* bytes, unsigned char value, std::size_t count) noexcept;
};

/// Frees an array of `Heap::alloc`: the deleter of a unique_ptr.
struct HeapArrayDelete {
    void operator()(void* array) const noexcept { Heap::free(array, Heap::Array); }
};

/// The standard containers' way to the heap, so that they too never throw when memory is gone.
template <class T>
class HeapAllocator {
public:
    using value_type = T;

    HeapAllocator() noexcept = default;
    template <class U>
    // NOLINTNEXTLINE(google-explicit-constructor): required of allocators
    HeapAllocator(const HeapAllocator<U>&) noexcept {}

    T* allocate(std::size_t count) noexcept {
        const bool fits = count <= static_cast<std::size_t>(-1) / sizeof(T);
        const std::size_t size = fits ? count * sizeof(T) : static_cast<std::size_t>(-1);
        return static_cast<T*>(Heap::alloc(size, Heap::Array));
    }
    void deallocate(T* block, std::size_t) noexcept { Heap::free(block, Heap::Array); }

    friend bool operator==(const HeapAllocator&, const HeapAllocator&) noexcept { return true; }
};
