// Bodies and texts on their way to a file or to standard output.

#include "output.hpp"

#include <cerrno>
#include <utility>

#include "platform/runtime/error.hpp"

#include "host.hpp"
#include "messages.hpp"
#include "text.hpp"

namespace cli {

namespace {

constexpr const char* standardOutputText = "standard output";

}  // namespace

bool writeToStandardOutput(std::string_view text) {
    const Ref<Output> output = Output::open(standardStreamName, {});
    if (!output) {
        return false;
    }
    (void)output->writeAll(text.data(), text.size());  // a failure is complained of at once
    return !output->complainOfFailure();
}

Ref<Output> Output::open(const std::string& name, Observer observer) {
    if (name == standardStreamName) {
        if (!host::standardOutputIsOpen()) {
            complainOfFile(standardOutputText, ErrHostBase + EBADF);
            return nullptr;
        }
        return Ref<Output>::make(FileStrm::overDescriptor(1), standardOutputText,
                                 std::move(observer));
    }
    Ref<Interfaces::Stream> file = FileStrm::openForWriting(stringOf(name));
    if (!file) {
        complainOfFile(name, Error::get());
        return nullptr;
    }
    return Ref<Output>::make(std::move(file), name, std::move(observer));
}

Ref<Output> Output::openBeside(const std::string& name, Observer observer) {
    std::unique_ptr<PartialFile> partial =
        name == standardStreamName ? nullptr : PartialFile::create(name);
    if (!partial) {
        return open(name, std::move(observer));
    }
    Ref<Interfaces::Stream> stream = FileStrm::overDescriptor(partial->descriptor());
    return Ref<Output>::make(std::move(stream), name, std::move(observer), std::move(partial));
}

Output::Output(Ref<Interfaces::Stream> stream, std::string name, Observer observer,
               std::unique_ptr<PartialFile> partial)
    : partial_(std::move(partial)),
      stream_(std::move(stream)),
      name_(std::move(name)),
      observer_(std::move(observer)) {}

std::int64_t Output::write(TransferBuffer buffer, std::uint64_t size, std::uint32_t timeout) {
    const std::int64_t written = stream_->write(std::move(buffer), size, timeout);
    written_ += static_cast<std::uint64_t>(written);
    if (!std::cmp_equal(written, size)) {
        failure_ = Error::get();
        failed_ = true;
    } else if (observer_) {
        observer_(size);
    }
    return written;
}

bool Output::writeAll(const void* bytes, std::uint64_t size) {
    return size == 0 || std::cmp_equal(write(TransferBuffer::plain(bytes), size, NoTimeout), size);
}

bool Output::complainOfFailure() {
    if (failed_) {
        complainOfFile(name_, failure_);
    }
    return std::exchange(failed_, false);
}

bool Output::keep() {
    const int error = partial_ ? partial_->complete() : 0;
    if (error != 0) {
        complainOfFile(name_, ErrHostBase + static_cast<std::uint32_t>(error));
        abandon();
    }
    return error == 0;
}

void Output::abandon() {
    if (partial_ && written_ == 0) {
        partial_->remove();
    } else if (partial_ ||
               (written_ != 0 && name_ != standardOutputText && host::isRegularFile(name_))) {
        complain((partial_ ? partial_->path() : name_) + ": holds the " + std::to_string(written_) +
                 " bytes that came");
    }
}

}  // namespace cli
