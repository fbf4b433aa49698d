// Streams over files and descriptors.

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/posix/descriptor.hpp"
#include "platform/streams/streams.hpp"

namespace {

/// Waits on a descriptor that its owner has made non-blocking.
bool waitIfBlocking(int descriptor, short events) noexcept {
    if (errno != EAGAIN && errno != EWOULDBLOCK) {
        return false;
    }
    pollfd entry = {descriptor, events, 0};
    return Host::withoutInterruption([&] { return poll(&entry, 1, -1); }) > 0;
}

std::int64_t readSome(int descriptor, std::uint8_t* bytes, std::uint64_t size) noexcept {
    for (;;) {
        const ssize_t count =
            Host::withoutInterruption([&] { return read(descriptor, bytes, size); });
        if (count >= 0) {
            return count;
        }
        if (!waitIfBlocking(descriptor, POLLIN)) {
            Host::setErrorFromErrno();
            return 0;
        }
    }
}

std::int64_t writeAll(int descriptor, const std::uint8_t* bytes, std::uint64_t size) noexcept {
    std::uint64_t written = 0;
    while (written < size) {
        const ssize_t count = Host::withoutInterruption(
            [&] { return write(descriptor, bytes + written, size - written); });
        if (count >= 0) {
            written += static_cast<std::uint64_t>(count);
        } else if (!waitIfBlocking(descriptor, POLLOUT)) {
            Host::setErrorFromErrno();
            break;
        }
    }
    return static_cast<std::int64_t>(written);
}

class DescriptorStream final : public Object, public virtual Interfaces::Stream {
public:
    /// @param owner  Owns the descriptor, or holds none when it stays the caller's.
    DescriptorStream(Host::Descriptor owner, int descriptor) noexcept
        : owner_(std::move(owner)), descriptor_(descriptor) {}

    std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        return readSome(descriptor_, buffer.data(), size);
    }
    std::int64_t write(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        return writeAll(descriptor_, buffer.data(), size);
    }

private:
    Host::Descriptor owner_;
    int descriptor_;
};

/// A body source over a file. It counts its position itself, to be at its start again once it has
/// been read to its end: the one that `length` told, even when the file has grown since.
class FileSource final : public Object, public virtual Interfaces::Stripe {
public:
    FileSource(Host::Descriptor file, std::uint64_t length) noexcept
        : file_(std::move(file)), length_(length) {}

    std::int64_t read(TransferBuffer buffer, std::uint64_t size, std::uint32_t) override {
        const std::uint64_t wanted = std::min(size, length_ - position_);
        const ssize_t count = Host::withoutInterruption([&] {
            return pread(file_.number(), buffer.data(), wanted, static_cast<off_t>(position_));
        });
        if (count < 0) {
            Host::setErrorFromErrno();
            return 0;
        }
        position_ += static_cast<std::uint64_t>(count);
        if (count == 0 || position_ == length_) {
            position_ = 0;  // at the start again for the next hop or exchange
        }
        return count;
    }
    std::uint64_t setPosition(std::uint64_t position) override {
        position_ = 0;
        position_ = std::min(position, length());
        return position_;
    }
    std::uint64_t position() override { return position_; }
    std::uint64_t length() override {
        struct stat facts = {};
        // A file that cannot be asked keeps its length: no body at all would pass for an upload.
        if (position_ == 0 && fstat(file_.number(), &facts) == 0) {
            length_ = static_cast<std::uint64_t>(facts.st_size);
        }
        return length_;
    }

private:
    Host::Descriptor file_;
    std::uint64_t position_ = 0;  // never behind `length_`
    std::uint64_t length_;
};

Host::Descriptor openFile(const Ref<String>& path, int flags) noexcept {
    if (!path || path->find('\0') != String::npos) {
        errno = EINVAL;
        return {};
    }
    constexpr mode_t mode = 0666;
    return Host::Descriptor(
        Host::withoutInterruption([&] { return open(path->cText(), flags | O_CLOEXEC, mode); }));
}

}  // namespace

Ref<Interfaces::Stripe> FileStrm::openForReading(const Ref<String>& path) {
    // Not blocking, so that a pipe without a writer is refused below instead of waited for.
    Host::Descriptor file = openFile(path, O_RDONLY | O_NONBLOCK);
    struct stat facts = {};
    if (file && fstat(file.number(), &facts) == 0) {
        if (S_ISREG(facts.st_mode)) {
            const auto length = static_cast<std::uint64_t>(facts.st_size);
            return Ref<FileSource>::make(std::move(file), length);
        }
        errno = S_ISDIR(facts.st_mode) ? EISDIR : ESPIPE;
    }
    Host::setErrorFromErrno();
    return nullptr;
}

Ref<Interfaces::Stream> FileStrm::openForWriting(const Ref<String>& path) {
    Host::Descriptor file = openFile(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file) {
        Host::setErrorFromErrno();
        return nullptr;
    }
    const int number = file.number();
    return Ref<DescriptorStream>::make(std::move(file), number);
}

Ref<Interfaces::Stream> FileStrm::overDescriptor(int descriptor) {
    return Ref<DescriptorStream>::make(Host::Descriptor(), descriptor);
}
