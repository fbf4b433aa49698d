// Where a request body comes from: the command line, a file, or standard input.

#include "body_source.hpp"

#include <cerrno>
#include <utility>
#include <vector>

#include <unistd.h>

#include "platform/runtime/error.hpp"

#include "host.hpp"
#include "messages.hpp"
#include "output.hpp"
#include "text.hpp"

namespace cli {

bool BodySource::open(const Options& options) {
    if (options.body) {
        // The options outlive the exchange, so the bytes need no copy.
        stripe_ = MemInStrm::borrow(options.body->data(), options.body->size());
        return true;
    }
    if (!options.bodyFile) {
        return true;
    }
    const std::string& file = *options.bodyFile;
    if (file == standardStreamName) {
        return collect(STDIN_FILENO, "standard input");
    }
    if (host::isPipeOrDevice(file)) {  // a pipe that is opened twice loses its writer
        return collectFile(file);
    }
    stripe_ = FileStrm::openForReading(stringOf(file));
    if (stripe_ && stripe_->length() == 0) {
        return collectFile(file);
    }
    if (!stripe_) {
        complainOfFile(file, Error::get());
    }
    return static_cast<bool>(stripe_);
}

/// Reads what is no regular file, or one that tells no size, such as those of /proc.
bool BodySource::collectFile(const std::string& file) {
    const int descriptor = host::openForReading(file);
    if (descriptor < 0) {
        complainOfFile(file, ErrHostBase + static_cast<std::uint32_t>(errno));
        return false;
    }
    const bool complete = collect(descriptor, file);
    host::close(descriptor);
    return complete;
}

bool BodySource::collect(int descriptor, const std::string& name) {
    constexpr std::size_t pieceSize = 0x10000;
    std::vector<char> piece(pieceSize);
    collected_ = MemOutStrm::create();
    const Ref<Interfaces::Stream> input = FileStrm::overDescriptor(descriptor);
    Error::set(0);  // the end of the input leaves the code alone, a failure sets it
    for (;;) {
        const std::int64_t count =
            input->read(TransferBuffer::plain(piece.data()), piece.size(), NoTimeout);
        if (count <= 0) {
            break;
        }
        const auto size = static_cast<std::uint64_t>(count);
        if (collected_->write(TransferBuffer::plain(piece.data()), size, NoTimeout) != count) {
            break;
        }
    }
    if (Error::get() != 0) {
        complainOfFile(name, Error::get());
        return false;
    }
    stripe_ = MemInStrm::borrow(collected_->data(), collected_->size());
    return true;
}

}  // namespace cli
