// Transfer memory. Making and filling a block anew costs more than a small exchange, so each thread
// keeps the last block of each kind for its next request.

#include "platform/memory/memory.hpp"

#include <cerrno>
#include <optional>

#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include "platform/posix/descriptor.hpp"

namespace {

/// Owns a mapped range of pages and, for a memory file, its descriptor.
class Pages {
public:
    static std::optional<Pages> makePrivate(std::size_t size) noexcept {
        return map(Host::Descriptor(), size, MAP_PRIVATE | MAP_ANONYMOUS);
    }
    static std::optional<Pages> makeFile(std::size_t size) noexcept {
        // A file beyond the process's limit would not fail: it would raise SIGXFSZ.
        rlimit most = {};
        if (getrlimit(RLIMIT_FSIZE, &most) == 0 && size > most.rlim_cur) {
            Error::set(ErrHostBase + EFBIG);
            return std::nullopt;
        }
        Host::Descriptor file(memfd_create("nethttp", MFD_CLOEXEC));
        if (!file || Host::withoutInterruption(
                         [&] { return ftruncate(file.number(), static_cast<off_t>(size)); }) != 0) {
            Host::setErrorFromErrno();
            return std::nullopt;
        }
        return map(std::move(file), size, MAP_SHARED);
    }

    Pages(const Pages&) = delete;
    Pages(Pages&& other) noexcept
        : file_(std::move(other.file_)),
          address_(std::exchange(other.address_, nullptr)),
          size_(other.size_) {}
    Pages& operator=(const Pages&) = delete;
    Pages& operator=(Pages&& other) noexcept {
        std::swap(file_, other.file_);
        std::swap(address_, other.address_);
        std::swap(size_, other.size_);
        return *this;
    }
    ~Pages() {
        if (address_ != nullptr) {
            munmap(address_, size_);
        }
    }

    [[nodiscard]] std::uint8_t* address() const noexcept {
        return static_cast<std::uint8_t*>(address_);
    }
    [[nodiscard]] std::size_t size() const noexcept { return size_; }
    [[nodiscard]] int descriptor() const noexcept { return file_.number(); }

private:
    Pages(Host::Descriptor file, void* address, std::size_t size) noexcept
        : file_(std::move(file)), address_(address), size_(size) {}

    static std::optional<Pages> map(Host::Descriptor file, std::size_t size, int flags) noexcept {
        void* const address = mmap(nullptr, size, PROT_READ | PROT_WRITE, flags, file.number(), 0);
        if (address == MAP_FAILED) {
            Host::setErrorFromErrno();
            return std::nullopt;
        }
        return Pages(std::move(file), address, size);
    }

    Host::Descriptor file_;
    void* address_;
    std::size_t size_;
};

/// What a thread keeps, one entry for each kind. Objects can outlive it: they then free their own.
struct Kept {
    std::optional<Pages> privatePages;
    std::optional<Pages> file;

    Kept() noexcept;
    Kept(const Kept&) = delete;
    Kept& operator=(const Kept&) = delete;
    ~Kept() { alive = false; }

    static thread_local bool alive;
};

thread_local bool Kept::alive = false;
thread_local Kept kept;

/// A child process shares the pages of a memory file with its parent: it must make its own.
void dropFileInChild() noexcept {
    if (Kept::alive) {
        kept.file.reset();
    }
}

Kept::Kept() noexcept {
    static const int registered = pthread_atfork(nullptr, nullptr, dropFileInChild);
    alive = registered == 0;  // where a child cannot be told, nothing is kept
}

class MemoryBlock final : public Object, public virtual SharedMemory {
public:
    MemoryBlock(Pages pages, bool isFile) noexcept : pages_(std::move(pages)), isFile_(isFile) {}
    MemoryBlock(const MemoryBlock&) = delete;
    MemoryBlock& operator=(const MemoryBlock&) = delete;
    ~MemoryBlock() override {
        // Another process may still look into a file whose descriptor was handed out: never reused.
        if (Kept::alive && !descriptorGiven_) {
            (isFile_ ? kept.file : kept.privatePages).emplace(std::move(pages_));
        }
    }

    [[nodiscard]] std::uint8_t* address() const noexcept override { return pages_.address(); }
    [[nodiscard]] std::size_t size() const noexcept override { return pages_.size(); }
    int giveDescriptor() noexcept {
        descriptorGiven_ = true;
        return pages_.descriptor();
    }

private:
    Pages pages_;
    bool isFile_;
    bool descriptorGiven_ = false;
};

Ref<SharedMemory> createBlock(std::size_t size, std::optional<Pages>& last, bool isFile) {
    if (Kept::alive && last && last->size() == size) {
        Pages pages = std::move(*last);
        last.reset();
        return Ref<MemoryBlock>::make(std::move(pages), isFile);
    }
    std::optional<Pages> pages = isFile ? Pages::makeFile(size) : Pages::makePrivate(size);
    return pages ? Ref<MemoryBlock>::make(std::move(*pages), isFile) : Ref<MemoryBlock>();
}

}  // namespace

Ref<SharedMemory> PMem::create(std::size_t size) {
    return createBlock(size, kept.privatePages, false);
}

Ref<SharedMemory> ShMem::create(std::size_t size) {
    return createBlock(size, kept.file, true);
}

int ShMem::descriptor(const Ref<SharedMemory>& memory) noexcept {
    const Ref<MemoryBlock> block = memory.as<MemoryBlock>();
    return block ? block->giveDescriptor() : -1;
}
