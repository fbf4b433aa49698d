// Where a request body comes from: the command line, a file, or standard input.

#include "body_source.hpp"

#include <utility>
#include <vector>

#include "platform/runtime/error.hpp"

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
    if (*options.bodyFile == standardStreamName) {
        return readStandardInput();
    }
    stripe_ = FileStrm::openForReading(stringOf(*options.bodyFile));
    if (!stripe_) {
        complainOfFile(*options.bodyFile, Error::get());
    }
    return static_cast<bool>(stripe_);
}

bool BodySource::readStandardInput() {
    constexpr std::size_t pieceSize = 0x10000;
    std::vector<char> piece(pieceSize);
    collected_ = MemOutStrm::create();
    const Ref<Interfaces::Stream> input = FileStrm::overDescriptor(0);
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
        complainOfFile("standard input", Error::get());
        return false;
    }
    stripe_ = MemInStrm::borrow(collected_->data(), collected_->size());
    return true;
}

}  // namespace cli
