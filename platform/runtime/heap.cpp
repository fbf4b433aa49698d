// The heap is the C library's; what it adds is the promise never to answer null.

#include "platform/runtime/heap.hpp"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

[[noreturn]] void endWithoutMemory(std::size_t size, const void* caller) noexcept {
    // Standard error is unbuffered: nothing is allocated for this line.
    std::fprintf(stderr, "out of memory: %zu bytes asked for by %p\n", size, caller);
    std::abort();
}

}  // namespace

void* Heap::alloc(std::size_t size, Kind kind, const void* caller) noexcept {
    void* const block = tryAlloc(size, kind);
    if (block == nullptr) {
        endWithoutMemory(size, caller != nullptr ? caller : __builtin_return_address(0));
    }
    return block;
}

void* Heap::tryAlloc(std::size_t size, Kind) noexcept {
    return std::malloc(size != 0 ? size : 1);
}

void Heap::free(void* block, Kind, const void*) noexcept {
    std::free(block);
}

void Mem::copy(const void* source, void* destination, std::size_t count) noexcept {
    if (count != 0) {
        std::memmove(destination, source, count);
    }
}

std::size_t Mem::search8(const void* bytes, unsigned char value, std::size_t count) noexcept {
    const void* const found = count != 0 ? std::memchr(bytes, value, count) : nullptr;
    if (found == nullptr) {
        return count;
    }
    return static_cast<std::size_t>(static_cast<const char*>(found) -
                                    static_cast<const char*>(bytes));
}
