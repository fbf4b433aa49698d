// The receiving half of a hop: head bytes go to the parser, body bytes to the output stream.

#include "net/http/engine/download.hpp"

#include <utility>

#include "net/http/engine/failure.hpp"
#include "net/http/engine/progress.hpp"
#include "net/http/transport/log.hpp"

namespace Libraries::Networks::HTTP::Client {

using Utils::Channel;
using Utils::Level;
using Utils::LogRecord;

Download::Download(const RequestObj& request, Utils::NetStream& stream,
                   Ref<Interfaces::Stream> output, ResponseHead& head)
    : request_(request),
      stream_(stream),
      head_(head),
      memoryBody_(output ? Ref<MemOutStrm>() : MemOutStrm::create()),
      output_(output ? std::move(output) : Ref<Interfaces::Stream>(memoryBody_)),
      memory_(BufferSize,
              memoryBody_ ? TransferMemory::First::Shared : TransferMemory::First::Private, false) {
    memory_.offerTo(output_,
                    "Failed to map stream for transfer; error: ", TransferMemory::HandBack::Yes);
    writeBuffer_ = memory_.streamBuffer();
}

bool Download::run() {
    for (;;) {
        const std::uint64_t room = BufferSize - fill_;
        // A line that fills the buffer leaves no room: the head then ends as if the server had
        // closed.
        const std::int64_t count =
            room != 0
                ? stream_.read(TransferBuffer::plain(memory_.address() + fill_), room, NoTimeout)
                : 0;
        if (count <= 0) {
            return endOfData(Error::get());
        }
        auto fresh = static_cast<std::uint64_t>(count);
        if (head_.inHead()) {
            if (!takeHeadBytes(fresh)) {
                return false;
            }
            if (head_.inHead()) {
                continue;
            }
            fresh = 0;  // what followed the head already waits at the buffer's start
        } else if (lineFeedAwaited_) {
            fresh = dropAwaitedLineFeed(fresh);
        }
        if (!deliver(fresh)) {
            return false;
        }
        if (isComplete()) {
            return true;
        }
    }
}

/// Parses the lines that `count` new bytes complete and moves the bytes behind them to the buffer's
/// start.
bool Download::takeHeadBytes(std::uint64_t count) {
    const std::string_view bytes(reinterpret_cast<const char*>(memory_.address()), fill_ + count);
    if (head_.consume(bytes) == ResponseHead::State::Failed) {
        return false;
    }
    const std::string_view rest = head_.rest();
    if (rest.size() != bytes.size()) {
        Mem::copy(rest.data(), memory_.address(), rest.size());
    }
    fill_ = rest.size();
    lineFeedAwaited_ = !head_.inHead() && head_.awaitsLineFeed();
    return true;
}

/// The head ended with a CR as the last byte of a read: its LF, if there is one, is no body byte.
std::uint64_t Download::dropAwaitedLineFeed(std::uint64_t count) {
    lineFeedAwaited_ = false;
    std::uint8_t* const bytes = memory_.address();
    if (bytes[0] != '\n') {
        return count;
    }
    Mem::copy(bytes + 1, bytes, count - 1);
    return count - 1;
}

bool Download::deliver(std::uint64_t count) {
    const std::uint64_t size = std::exchange(fill_, 0) + count;
    if (head_.skipping() || size == 0) {
        return true;
    }
    if (!std::cmp_equal(output_->write(writeBuffer_, size, NoTimeout), size)) {
        return failTransfer("Failed to write data to output stream; error: ", Error::get());
    }
    written_ += size;
    if (head_.contentLength() != ResponseHead::Absent) {
        reportProgress(request_.downloadProgress_, written_, head_.contentLength());
    }
    if (isCancelRequested(request_)) {
        if (LogRecord record{Channel::HttpClient, Level::Trace}) {
            record << "User cancelled download";
        }
        Error::set(ErrCancelled);
        return false;
    }
    return true;
}

bool Download::isComplete() const noexcept {
    if (head_.contentLength() == ResponseHead::Absent) {
        return false;
    }
    return written_ >= head_.contentLength() || head_.skipping();
}

/// @param code  The thread's error code as the read that answered 0 left it.
bool Download::endOfData(std::uint32_t code) const {
    if (!head_.inHead() && head_.contentLength() == ResponseHead::Absent) {
        return true;
    }
    if (head_.inHead() && head_.dataSeen()) {
        if (LogRecord record{Channel::HttpClient, Level::Warning}) {
            record << "No more data before headers were fully read";
        }
        return true;
    }
    return failTransfer("Could not receive data; error: ", code);
}

}  // namespace Libraries::Networks::HTTP::Client
