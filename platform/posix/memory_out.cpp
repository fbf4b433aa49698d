// The growing memory stream. Small bodies live on the heap; large ones in pages of their own, which
// the kernel moves by their table entries instead of copying them.
//
// It is the first touch of a page that costs most. Huge pages cost a third of small ones, unless the
// host of a virtual machine has taken their memory back: then they cost five times as much, and the
// first one tells. Small pages cost less when they are made many at a time.

#include <algorithm>
#include <cerrno>
#include <chrono>

#include <sys/mman.h>

#include "platform/posix/descriptor.hpp"
#include "platform/streams/streams.hpp"

namespace {

constexpr std::uint64_t SmallestBlock = 4096;
constexpr std::uint64_t LargestHeapBlock = std::uint64_t{256} * 1024;
constexpr std::uint64_t PageSize = 4096;
constexpr std::uint64_t HugePageSize = std::uint64_t{2} << 20U;
constexpr std::uint64_t SmallestHugeBlock = 2 * HugePageSize;
constexpr std::chrono::microseconds LongestForHugePage(1000);  // small ones for as much: 700 us
constexpr std::uint64_t SmallPagesAtOnce = std::uint64_t{256} * 1024;
constexpr std::uint64_t LargestBody = std::uint64_t{1} << 47U;  // beyond any address space

class MemoryOutput final : public Object, public virtual MemOutStrm {
public:
    MemoryOutput() noexcept = default;
    MemoryOutput(const MemoryOutput&) = delete;
    MemoryOutput& operator=(const MemoryOutput&) = delete;
    ~MemoryOutput() override { freeBlock(); }

    [[nodiscard]] const void* data() const noexcept override {
        return size_ != 0 ? block_ : nullptr;
    }
    [[nodiscard]] std::uint64_t size() const noexcept override { return size_; }

    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        if (size > LargestBody - size_ || !reserve(size_ + size)) {
            Error::set(ErrHostBase + ENOMEM);
            return 0;
        }
        makePages(size_ + size);
        Mem::copy(buffer.data(), bytes() + size_, size);
        size_ += size;
        return static_cast<std::int64_t>(size);
    }

private:
    [[nodiscard]] std::uint8_t* bytes() const noexcept {
        return static_cast<std::uint8_t*>(block_);
    }

    /// Makes the pages of the block that are to be written next. What cannot be made here is made by
    /// the first touch.
    void makePages(std::uint64_t end) noexcept {
        while (mapped_ && made_ < end) {
            const std::uint64_t rest =
                HugePageSize - reinterpret_cast<std::uintptr_t>(bytes() + made_) % HugePageSize;
            const bool huge = hugePages_ && rest == HugePageSize && capacity_ >= SmallestHugeBlock;
            const std::uint64_t count =
                std::min({huge ? HugePageSize : SmallPagesAtOnce, rest, capacity_ - made_});
            const auto begin = std::chrono::steady_clock::now();
            (void)madvise(bytes() + made_, count, MADV_POPULATE_WRITE);
            made_ += count;
            if (huge && std::chrono::steady_clock::now() - begin > LongestForHugePage) {
                hugePages_ = false;
                (void)madvise(block_, capacity_, MADV_NOHUGEPAGE);  // a part could not be moved
            }
        }
    }

    /// Doubles the block, or takes just what is needed when there is no room for twice as much.
    bool reserve(std::uint64_t needed) noexcept {
        if (needed <= capacity_) {
            return true;
        }
        std::uint64_t capacity = capacity_ != 0 ? capacity_ : SmallestBlock;
        while (capacity < needed) {
            capacity *= 2;
        }
        const std::uint64_t least = (needed + PageSize - 1) / PageSize * PageSize;
        return grow(capacity) || grow(least);
    }

    bool grow(std::uint64_t capacity) noexcept {
        if (capacity > LargestHeapBlock) {
            return mapped_ ? remap(capacity) : moveTo(mapPages(capacity), capacity, true);
        }
        return moveTo(Heap::tryAlloc(capacity, Heap::Array), capacity, false);
    }

    bool remap(std::uint64_t capacity) noexcept {
        // Where huge pages fit, the kernel moves them whole.
        const bool huge = hugePages_ && capacity >= SmallestHugeBlock;
        void* const place = huge ? mapPages(capacity) : nullptr;
        const int flags = MREMAP_MAYMOVE | (place != nullptr ? MREMAP_FIXED : 0);
        void* const block = mremap(block_, capacity_, capacity, flags, place);
        if (block == MAP_FAILED) {
            if (place != nullptr) {
                munmap(place, capacity);
            }
            return false;
        }
        adviseHugePages(block, place != nullptr ? capacity : 0);
        block_ = block;
        capacity_ = capacity;
        return true;
    }

    bool moveTo(void* block, std::uint64_t capacity, bool isMapped) noexcept {
        if (block == nullptr) {
            return false;
        }
        Mem::copy(block_, block, size_);
        freeBlock();
        block_ = block;
        capacity_ = capacity;
        mapped_ = isMapped;
        made_ = (size_ + PageSize - 1) / PageSize * PageSize;
        return true;
    }

    static void* mapPages(std::uint64_t size) noexcept {
        const bool huge = size >= SmallestHugeBlock;
        const std::uint64_t spare = huge ? HugePageSize : 0;
        void* const range =
            mmap(nullptr, size + spare, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (range == MAP_FAILED) {
            return nullptr;
        }
        return huge ? alignedPart(static_cast<std::uint8_t*>(range), size) : range;
    }

    /// Gives back what a range has beyond `size` bytes from the first place where a huge page can be.
    static void* alignedPart(std::uint8_t* range, std::uint64_t size) noexcept {
        const std::uint64_t before = -reinterpret_cast<std::uintptr_t>(range) % HugePageSize;
        if (before != 0) {
            munmap(range, before);
        }
        munmap(range + before + size, HugePageSize - before);
        adviseHugePages(range + before, size);
        return range + before;
    }

    static void adviseHugePages(void* block, std::uint64_t size) noexcept {
        if (size != 0) {
            (void)madvise(block, size, MADV_HUGEPAGE);  // without them, small ones do
        }
    }

    void freeBlock() noexcept {
        if (mapped_) {
            munmap(block_, capacity_);
        } else {
            Heap::free(block_, Heap::Array);
        }
    }

    void* block_ = nullptr;
    std::uint64_t size_ = 0;
    std::uint64_t capacity_ = 0;
    std::uint64_t made_ = 0;  // bytes of a mapped block that have their pages
    bool mapped_ = false;
    bool hugePages_ = true;
};

}  // namespace

Ref<MemOutStrm> MemOutStrm::create() {
    return Ref<MemoryOutput>::make();
}
