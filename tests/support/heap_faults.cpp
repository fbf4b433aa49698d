#include "tests/support/heap_faults.hpp"

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include "platform/runtime/heap.hpp"

namespace {

constinit std::atomic<long> live{0};

}  // namespace

namespace HeapFaults {

constinit const FaultPoints::Kind TryAlloc = {"Heap::tryAlloc", {ENOMEM}};

long liveBlocks() noexcept {
    return live;
}

}  // namespace HeapFaults

void* Heap::alloc(std::size_t size, Kind, const void*) noexcept {
    void* const block = std::malloc(size != 0 ? size : 1);
    if (block == nullptr) {
        std::abort();
    }
    ++live;
    return block;
}

void* Heap::tryAlloc(std::size_t size, Kind) noexcept {
    if (FaultPoints::next(HeapFaults::TryAlloc).fails()) {
        return nullptr;
    }
    void* const block = std::malloc(size != 0 ? size : 1);
    live += block != nullptr ? 1 : 0;
    return block;
}

void Heap::free(void* block, Kind, const void*) noexcept {
    live -= block != nullptr ? 1 : 0;
    std::free(block);
}
